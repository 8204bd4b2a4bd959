#pragma once

#include "tools/mplsctl/lfib/LfibTables.h"

#include <functional>
#include <vector>

/// Routes with all that they lead to: route, via set, vias.

namespace mplsctl {

/// One route as it stood at some moment while it was read.
struct Chain {
   struct Link {
      Mpls::LfibViaKey key;
      std::optional<ViaRow> row; ///< nothing when the key names no row
   };
   Mpls::LfibRoute route;
   bool hasViaSet = false;
   std::vector<Link> vias;     ///< in the order of their slots
   Mpls::LfibViaSetKey backup; ///< that the via set names; null when there is none

   bool isWhole() const;
};

/// Reads one route. Returns false when there is none. Beside a changing writer it reads anew until all hangs
/// together: what then still misses a link is broken and no change under way.
bool readChain(const LfibTables& tables, const Mpls::RouteKey& key, Chain& chain);

/// The route as it leads to the backup of its via set, to the backup of that, and so on: chains of its key
/// with another via set each. They may be broken as any chain; a via set that comes again ends them. Beside a
/// changing writer route and backups are read anew until all hangs together.
std::vector<Chain> backupsOf(const LfibTables& tables, Chain chain);

/// Which routes to show.
struct RouteFilter {
   std::optional<Mpls::LFib::Source> source;
   Vok::U32 lowest = 0; ///< of the top label
   Vok::U32 highest = ~Vok::U32(0);

   bool accepts(const Mpls::LfibRoute& route) const;
};

/// Visits every route in the order of the keys: one walk over the route table, then lookups in batches.
/// The chain is the visitor's until it returns. Raises Vok::CorruptionDetectedError.
void eachChain(const LfibTables& tables, const RouteFilter& filter,
               const std::function<void(const Chain&)>& visit);

} // namespace mplsctl
