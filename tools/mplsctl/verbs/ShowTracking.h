#pragma once

#include "tools/common/Output.h"
#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/lfib/LfibTables.h"

/// `mplsctl show tracking`: who uses whom in the LFIB.

namespace mplsctl {

/// The via set of a label and the routes that share it; the routes of a via set; the via sets that list a
/// via, with their routes. Keys are written as keyText() writes them. Raise Failure when there is no such
/// thing.
void trackLabel(const LfibTables& tables, const std::string& label, bool inJson, tools::Output& out);
void trackViaSet(const LfibTables& tables, const std::string& key, bool inJson, tools::Output& out);
void trackVia(const LfibTables& tables, const std::string& key, bool inJson, tools::Output& out);

void declareShowTracking(Command show, const Session& session);

} // namespace mplsctl
