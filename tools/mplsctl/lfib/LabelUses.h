#pragma once

#include "tools/mplsctl/lfib/Chain.h"

/// The routes that have to do with a label, wherever it stands in their stacks.

namespace mplsctl {

struct LabelUse {
   bool matches = false;  ///< the label stands in the stack that the route matches
   bool pushes = false;   ///< a next hop imposes it
   bool isBackup = false; ///< by way of a backup: the chain is the route as it leads there
   Chain chain;           ///< where the route does not match, with those vias alone that push
};

/// In the order of the routes' keys, a route before its backups. One walk over the routes; backups are looked
/// up. Raises Vok::CorruptionDetectedError.
std::vector<LabelUse> labelUses(const LfibTables& tables, Kinet::MplsLabel label);

} // namespace mplsctl
