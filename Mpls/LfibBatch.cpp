#include "Mpls/LfibBatch.h"

#include "Mpls/LfibRouteRows.h"
#include "Vok/InlineVector.h"

#include <algorithm>

namespace Mpls {

namespace {

/// As many as the processor can wait for at the same time, more or less.
constexpr std::size_t groupSize = 16;

template <class Key>
using Spots = Vok::InlineVector<Pooltab::Spot<Key>, groupSize>;

/// Calls work( spot, element ) for each element, group by group, once the routes of the group's keys and
/// their via sets are in the cache. `keyOf` gives the route key of an element.
template <class Element, class KeyOf, class Work>
void inGroups(LfibStatus& lfib, std::span<const Element> elements, KeyOf keyOf, Work work) {
   while (!elements.empty()) {
      const auto group = elements.first(std::min(groupSize, elements.size()));
      Spots<RouteKey> routes;
      for (const Element& element : group)
         routes.append(lfib.lfibRouteTable().spot(keyOf(element)));
      lfib.lfibRouteTable().tableWriter()->fetch(routes);
      Spots<LfibViaSetKey> viaSets;
      for (const Pooltab::Spot<RouteKey>& route : routes)
         if (const auto key = viaSetKeyOf(lfib, route))
            viaSets.append(lfib.viaSetTable().spot(*key));
      if (!viaSets.empty())
         lfib.viaSetTable().tableWriter()->fetch(viaSets);
      for (std::size_t i = 0; i < group.size(); ++i)
         work(routes.begin()[i], group[i]);
      elements = elements.subspan(group.size());
   }
}

} // namespace

void lfibRoutesIs(LfibWriter& writer, std::span<const ConsolidatedLfibRoute> routes) {
   if (auto line = lfibWriterTrace.entry(8))
      line << " routes " << routes.size();
   inGroups(
       *writer.lfib(), routes, [](const ConsolidatedLfibRoute& route) { return route.key(); },
       [&](const auto& spot, const ConsolidatedLfibRoute& route) { routeRowsIs(writer, spot, route); });
}

void lfibRoutesDel(LfibWriter& writer, std::span<const RouteKey> routeKeys) {
   if (auto line = lfibWriterTrace.entry(8))
      line << " routes " << routeKeys.size();
   inGroups(
       *writer.lfib(), routeKeys, [](const RouteKey& key) { return key; },
       [&](const auto& spot, const RouteKey& key) { routeRowsDel(writer, spot, key); });
}

} // namespace Mpls
