#pragma once

#include "tools/mplsctl/segment-routing/SegmentRoutingFile.h"

/// What `mplsctl segment-routing load` does to the tables: a file is the complete wish for those that it
/// tells of.

namespace mplsctl {

struct SrCounts {
   std::string_view table;
   Vok::U32 added = 0, changed = 0, removed = 0, unchanged = 0;
};

/// Tells what would be done. A file with bad lines removes nothing. Raises
/// Vok::CorruptionDetectedError.
std::vector<SrCounts> compareSegmentRouting(const SegmentRoutingFile& file, const SrTables::Status& tables);

/// Does it: new and changed rows of all tables first, then removals.
std::vector<SrCounts> applySegmentRouting(const SegmentRoutingFile& file, SrTables::Status& tables);

} // namespace mplsctl
