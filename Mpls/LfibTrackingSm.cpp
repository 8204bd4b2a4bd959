#include "Mpls/LfibTrackingSm.h"

#include "Mpls/LfibViaTables.h"
#include "Pooltab/CheckedRead.h"
#include "Vok/Assert.h"
#include "Vok/Trace.h"

namespace Mpls {

namespace {

constinit Vok::TraceFacility trace("LfibTrackingSm");

/// Calls settle( key, find ) for every key of `known` that has no row any more, and then for every row of the
/// table; find() gives the row, or null.
template <class Row, class Known, class Settle>
void settleAll(const Pooltab::Collection<Row>& table, const Known& known, Settle settle) {
   Row row;
   for (const auto& entry : known)
      if (const bool exists = Pooltab::checkedFind(table, entry.key, row); !exists)
         settle(entry.key, [&] { return exists ? &std::as_const(row) : nullptr; });
   Pooltab::checkedWalk(table, [&](const Row& row) { settle(row.key(), [&row] { return &row; }); });
}

template <class Find>
void settleRoute(LfibTrackingSm& sm, const RouteKey& routeKey, Find find) {
   if (auto line = trace.at(8, sm.smTraceName()))
      line << "handleLfibRoute"
           << " routeKey " << routeKey;
   sm.delRouteKeyViaSetKeyMapping(routeKey);
   if (const LfibRoute* const route = find())
      sm.addRouteKeyViaSetKeyMapping(routeKey, route->viaSetKey());
   sm.addRouteKeyBacklog(routeKey);
}

template <class Find>
void settleViaSet(LfibTrackingSm& sm, const LfibViaSetKey& viaSetKey, Find find) {
   if (auto line = trace.at(8, sm.smTraceName()))
      line << "handleViaSet"
           << " viaSetKey " << viaSetKey;
   sm.delViaSetKeyViaKeyMapping(viaSetKey);
   if (const LfibViaSet* const viaSet = find())
      for (const auto [slot, viaKey] : viaSet->viaKeyEach())
         sm.addViaSetKeyViaKeyMapping(viaSetKey, viaKey);
   sm.maybeAddBacklogByViaSetKey(viaSetKey);
}

} // namespace

Vok::Ptr<LfibTrackingStatus> LfibTrackingStatus::nameIsFromBackup(const Vok::Name& name) {
   return lfibTrackingStatusFactory(name);
}

void LfibTrackingSm::handleInitialized() {
   if (auto line = trace.entry(8, smTraceName()))
      line << " lfibStatus " << lfibStatus()->name() << " trackingMode " << trackingMode();
   vokAssert(!lfibTrackingStatus()->routeKeyBacklogs());
   vokAssert(!lfibTrackingStatus()->viaSetKeyBacklogs());
   vokAssert(!lfibTrackingStatus()->viaSetKeyToRouteKeySets());
   initializedIs(true);
   handleLfibRoutes(); // first: each via set then finds the routes that use it
   handleViaSets();
}

// What the tables tell.

void LfibTrackingSm::handleLfibRoute(const RouteKey& routeKey) {
   vokAssert(initialized());
   LfibRoute route;
   settleRoute(*this, routeKey, [&] {
      return Pooltab::checkedFind(lfibStatus()->lfibRouteTable(), routeKey, route) ? &route : nullptr;
   });
}

void LfibTrackingSm::handleViaSet(const LfibViaSetKey& viaSetKey) {
   if (!initialized())
      return;
   LfibViaSet viaSet;
   settleViaSet(*this, viaSetKey, [&] {
      return Pooltab::checkedFind(lfibStatus()->viaSetTable(), viaSetKey, viaSet) ? &viaSet : nullptr;
   });
}

void LfibTrackingSm::handleVia(const LfibViaKey& viaKey) {
   if (!initialized())
      return;
   if (auto line = trace.at(8, smTraceName()))
      line << "handleVia"
           << " viaKey " << viaKey;
   maybeAddBacklogByViaKey(viaKey);
}

void LfibTrackingSm::handleLfibRoutes() {
   vokAssert(initialized());
   settleAll(lfibStatus()->lfibRouteTable(), routeKeyToViaSetKeyEach(),
             [this](const RouteKey& routeKey, auto find) { settleRoute(*this, routeKey, find); });
}

void LfibTrackingSm::handleViaSets() {
   vokAssert(initialized());
   settleAll(lfibStatus()->viaSetTable(), viaSetKeyToViaKeySetEach(),
             [this](const LfibViaSetKey& viaSetKey, auto find) { settleViaSet(*this, viaSetKey, find); });
}

void LfibTrackingSm::handleVias() {
   vokAssert(initialized());
   forEachViaTable(*lfibStatus(), [this](const auto& table) {
      Pooltab::checkedWalk(table, [this](const auto& via) { handleVia(via.key()); });
   });
}

// The reverse maps.

void LfibTrackingSm::addRouteKeyViaSetKeyMapping(const RouteKey& routeKey, const LfibViaSetKey& viaSetKey) {
   vokAssert(initialized());
   routeKeyToViaSetKeyIs(routeKey, viaSetKey);
   lfibTrackingStatus()->viaSetKeyToRouteKeySetIs(viaSetKey)->routeKeyIs(routeKey, true);
}

void LfibTrackingSm::delRouteKeyViaSetKeyMapping(const RouteKey& routeKey) {
   vokAssert(initialized());
   const LfibViaSetKey* const mapped = routeKeyToViaSetKey_.find(routeKey);
   if (!mapped)
      return;
   const LfibViaSetKey viaSetKey = *mapped;
   routeKeyToViaSetKeyDel(routeKey);
   const auto viaSetToRouteMap = lfibTrackingStatus()->viaSetKeyToRouteKeySet(viaSetKey);
   vokAssert(!!viaSetToRouteMap);
   viaSetToRouteMap->routeKeyDel(routeKey);
   if (viaSetToRouteMap->routeKeys() == 0)
      lfibTrackingStatus()->viaSetKeyToRouteKeySetDel(viaSetKey);
}

void LfibTrackingSm::addViaSetKeyViaKeyMapping(const LfibViaSetKey& viaSetKey, const LfibViaKey& viaKey) {
   vokAssert(initialized());
   viaSetKeyToViaKeySetIs(viaSetKey)->viaKeyIs(viaKey, true);
   viaKeyToViaSetKeySetIs(viaKey)->viaSetKeyIs(viaSetKey, true);
}

void LfibTrackingSm::delViaSetKeyViaKeyMapping(const LfibViaSetKey& viaSetKey) {
   vokAssert(initialized());
   const auto viaSetToViaMap = viaSetKeyToViaKeySet(viaSetKey);
   if (!viaSetToViaMap)
      return;
   for (const LfibViaKey& viaKey : viaSetToViaMap->viaKeyEach()) {
      const auto viaToViaSetMap = viaKeyToViaSetKeySet(viaKey);
      vokAssert(!!viaToViaSetMap);
      viaToViaSetMap->viaSetKeyDel(viaSetKey);
      if (viaToViaSetMap->viaSetKeys() == 0)
         viaKeyToViaSetKeySetDel(viaKey);
   }
   viaSetToViaMap->viaKeyDelAll();
   viaSetKeyToViaKeySetDel(viaSetKey);
}

// The backlogs.

void LfibTrackingSm::addRouteKeyBacklog(const RouteKey& routeKey) {
   vokAssert(initialized());
   if (trackingMode().backlogRoutes())
      lfibTrackingStatus()->routeKeyBacklogIs(routeKey, true);
}

void LfibTrackingSm::addViaSetKeyBacklog(const LfibViaSetKey& viaSetKey) {
   vokAssert(initialized());
   if (trackingMode().backlogViaSets())
      lfibTrackingStatus()->viaSetKeyBacklogIs(viaSetKey);
}

void LfibTrackingSm::maybeAddBacklogByViaSetKey(const LfibViaSetKey& viaSetKey) {
   vokAssert(initialized());
   addViaSetKeyBacklog(viaSetKey);
   if (const auto routes = lfibTrackingStatus()->viaSetKeyToRouteKeySet(viaSetKey))
      for (const RouteKey& routeKey : routes->routeKeyEach())
         addRouteKeyBacklog(routeKey);
}

void LfibTrackingSm::maybeAddBacklogByViaKey(const LfibViaKey& viaKey) {
   vokAssert(initialized());
   if (const auto viaSets = viaKeyToViaSetKeySet(viaKey))
      for (const LfibViaSetKey& viaSetKey : viaSets->viaSetKeyEach())
         maybeAddBacklogByViaSetKey(viaSetKey);
}

} // namespace Mpls
