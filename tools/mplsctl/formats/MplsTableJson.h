#pragma once

#include "tools/mplsctl/formats/RouteFile.h"

namespace mplsctl {

/// Reads the JSON of `show mpls table json`: an object keyed by label. An entry has `inLabel`, `installed`,
/// `nexthops` (each `type`, `outLabel` or `outLabelStack` top first, `nexthop`, `interface`, `distance`,
/// `installed`, `backupIndex`) and `backupNexthops`.
///
/// The type of a route's first next hop chooses its source, the distance there is its metric. Implicit null
/// pops the label, and so does a next hop without outgoing label. Backup next hops are left out and counted.
RouteFile readMplsTableJson(std::string name, std::string_view text);

} // namespace mplsctl
