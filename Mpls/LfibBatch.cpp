#include "Mpls/LfibBatch.h"

#include "Mpls/LfibRouteRows.h"
#include "Vok/InlineVector.h"

#include <algorithm>
#include <optional>

namespace Mpls {

namespace {

/// As many as the processor can wait for at the same time, more or less.
constexpr std::size_t groupSize = 16;

template <class Key>
using Spots = Vok::InlineVector<Pooltab::Spot<Key>, groupSize>;

/// Some routes of a batch, whose index lines are on their way from when it is made.
template <class Element>
class Group {
  public:
   template <class KeyOf>
   Group(LfibStatus& lfib, std::span<const Element> elements, KeyOf keyOf)
       : lfib_(lfib), elements_(elements) {
      for (const Element& element : elements)
         routes_.appendMade([&] { return lfib.lfibRouteTable().spot(keyOf(element)); });
      lfib.lfibRouteTable().tableWriter()->fetchIndex(routes_);
   }

   /// Has the routes and their via sets come into the cache.
   void fetchRows() const {
      lfib_.lfibRouteTable().tableWriter()->fetchRows(routes_);
      auto& viaSetTable = lfib_.viaSetTable();
      Spots<LfibViaSetKey> viaSets;
      LfibViaSetKey key;
      for (const Pooltab::Spot<RouteKey>& route : routes_)
         if (findViaSetKey(lfib_, route, key))
            viaSets.appendMade([&] { return viaSetTable.spot(key); });
      if (viaSets.empty())
         return;
      viaSetTable.tableWriter()->fetchIndex(viaSets);
      viaSetTable.tableWriter()->fetchRows(viaSets);
   }

   template <class Work>
   void each(Work work) const {
      for (std::size_t i = 0; i < elements_.size(); ++i)
         work(routes_.begin()[i], elements_[i]);
   }

  private:
   LfibStatus& lfib_;
   std::span<const Element> elements_;
   Spots<RouteKey> routes_;
};

/// Calls work( spot, element ) for each element, group by group, once the routes of the group's keys and
/// their via sets are in the cache. While one group is worked on, the index lines of the next are on their
/// way. `keyOf` gives the route key of an element.
template <class Element, class KeyOf, class Work>
void inGroups(LfibStatus& lfib, std::span<const Element> elements, KeyOf keyOf, Work work) {
   std::optional<Group<Element>> groups[2];
   const auto prepare = [&](auto& group) {
      const auto some = elements.first(std::min(groupSize, elements.size()));
      elements = elements.subspan(some.size());
      group.reset();
      if (!some.empty())
         group.emplace(lfib, some, keyOf);
   };
   prepare(groups[0]);
   for (unsigned now = 0; groups[now]; now = 1 - now) {
      groups[now]->fetchRows();
      prepare(groups[1 - now]);
      groups[now]->each(work);
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
