#include "tools/mplsctl/lfib/RouteRows.h"

#include <algorithm>

namespace mplsctl {

Mpls::RouteKey keyOf(const FileRoute& route) {
   return Mpls::RouteKey::fromLabel(Kinet::MplsLabel(route.label));
}

bool isPublished(const Mpls::LfibStatus& tables, const Mpls::LfibRoute& row, const RouteFile& file,
                 const FileRoute& route) {
   const Mpls::LfibViaSetKey& viaSetKey = row.viaSetKey();
   if (row.source() != route.source || row.metric() != Mpls::RouteMetric(route.metric) ||
       row.fec() != Mpls::FwdEqvClass() || viaSetKey.viaType() != Mpls::LfibMplsVia::viaType ||
       viaSetKey.viaSetType() != Mpls::LfibViaSetType::unicast)
      return false;
   const Mpls::LfibViaSet viaSet = tables.viaSet(viaSetKey);
   const auto wished = file.hopsOf(route);
   if (viaSet.viaKeys() != wished.size())
      return false;
   // Both sides hold each next hop once, so that as many of them, all wished, are the same ones.
   for (const auto [slot, key] : viaSet.viaKeyEach()) {
      Mpls::LfibMplsVia via = tables.mplsVia(key);
      via.keyIs(Mpls::LfibViaKey());
      if (std::ranges::find(wished, via) == wished.end())
         return false;
   }
   return true;
}

void consolidate(Mpls::ConsolidatedLfibRoute& consolidated, const RouteFile& file, const FileRoute& route) {
   consolidated.keyIs(keyOf(route));
   consolidated.sourceIs(route.source);
   consolidated.metricIs(Mpls::RouteMetric(route.metric));
   consolidated.viaTypeIs(Mpls::LfibMplsVia::viaType);
   consolidated.viaSetTypeIs(Mpls::LfibViaSetType::unicast);
   consolidated.mplsViaDelAll();
   for (const Mpls::LfibMplsVia& hop : file.hopsOf(route))
      consolidated.mplsViaIs(hop);
}

} // namespace mplsctl
