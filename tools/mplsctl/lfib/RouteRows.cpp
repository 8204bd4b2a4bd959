#include "tools/mplsctl/lfib/RouteRows.h"

#include "tools/common/RouteRows.h"

#include <algorithm>

namespace mplsctl {

Mpls::RouteKey keyOf(const FileRoute& route) {
   return Mpls::RouteKey::fromLabel(Kinet::MplsLabel(route.label));
}

bool isPublished(const Mpls::LfibStatus& tables, const Mpls::LfibRoute& row, const RouteFile& file,
                 const FileRoute& route) {
   const auto wished = file.hopsOf(route);
   return tools::isPublished(
       tables, row, route.source, Mpls::RouteMetric(route.metric), wished.size(),
       [&](const Mpls::LfibMplsVia& via) { return std::ranges::find(wished, via) != wished.end(); });
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
