#pragma once

#include "Mpls/MplsLfib.h"

/// Routes as rows of the tables.

namespace tools {

/// True when `row` of the tables leads to exactly so many next hops, all of which `isWished`, and says the
/// same of itself. The next hops' keys are unset, and each is wished once.
template <class IsWished>
bool isPublished(const Mpls::LfibStatus& tables, const Mpls::LfibRoute& row, Mpls::LFib::Source source,
                 Mpls::RouteMetric metric, std::size_t hops, const IsWished& isWished) {
   const Mpls::LfibViaSetKey& viaSetKey = row.viaSetKey();
   if (row.source() != source || row.metric() != metric || row.fec() != Mpls::FwdEqvClass() ||
       viaSetKey.viaType() != Mpls::LfibMplsVia::viaType ||
       viaSetKey.viaSetType() != Mpls::LfibViaSetType::unicast)
      return false;
   const Mpls::LfibViaSet viaSet = tables.viaSet(viaSetKey);
   if (viaSet.viaKeys() != hops)
      return false;
   // Both sides hold each next hop once, so that as many of them, all wished, are the same ones.
   for (const auto [slot, key] : viaSet.viaKeyEach()) {
      Mpls::LfibMplsVia via = tables.mplsVia(key);
      via.keyIs(Mpls::LfibViaKey());
      if (!isWished(via))
         return false;
   }
   return true;
}

} // namespace tools
