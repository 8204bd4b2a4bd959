#pragma once

#include "tools/mplsctl/lfib/LfibTables.h"

#include <map>
#include <vector>

/// Who uses what in the LFIB. Rows lead downwards only, from a route to its via set and on to the vias: what
/// lies below a key is looked up, what lies above it takes a walk over a table. Both raise
/// Vok::CorruptionDetectedError.

namespace mplsctl {

/// The routes of each of these via sets, in the order of their keys; an empty list where no route uses one.
/// One walk over the routes, however many via sets there are.
std::map<Mpls::LfibViaSetKey, std::vector<Mpls::RouteKey>>
routesUsing(const LfibTables& tables, const std::vector<Mpls::LfibViaSetKey>& viaSets);

/// The via sets that list the via, in the order of their keys. One walk over the via sets.
std::vector<Mpls::LfibViaSetKey> viaSetsListing(const LfibTables& tables, const Mpls::LfibViaKey& via);

} // namespace mplsctl
