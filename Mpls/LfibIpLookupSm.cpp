#include "Mpls/LfibIpLookupSm.h"

#include "Pooltab/CheckedRead.h"
#include "Vok/Assert.h"
#include "Vok/Trace.h"

namespace Mpls {

namespace {

constinit Vok::TraceFacility trace("LfibIpLookupSm");

} // namespace

void LfibIpLookupSm::handleInitialized() {
   if (auto line = trace.entry(8))
      line << " trackingStatus " << trackingStatus()->name();
   vrfAfDelAll();
   ipLookupStatus()->labelVrfAfDelAll();
   handleRouteKeyBacklog();
}

/// Told of a key that came, or that went: then it is settled, or somebody else's business.
void LfibIpLookupSm::onRouteKeyBacklog(const RouteKey& routeKey) {
   if (trackingStatus()->routeKeyBacklogHas(routeKey))
      handleRouteKeyBacklog(routeKey);
}

void LfibIpLookupSm::handleRouteKeyBacklog() {
   if (auto line = trace.entry(8))
      line << " routeKeys " << trackingStatus()->routeKeyBacklogs();
   for (const RouteKey& routeKey : trackingStatus()->routeKeyBacklogEach())
      handleRouteKeyBacklog(routeKey);
}

void LfibIpLookupSm::handleRouteKeyBacklog(const RouteKey& routeKey) {
   if (auto line = trace.entry(8))
      line << " routeKey " << routeKey;
   trackingStatus()->routeKeyBacklogDel(routeKey);
   const Kinet::MplsLabel label = routeKey.topLabel();
   const LfibIpLookupStatusLabelVrfAf none, old = vrfAf(label), mapping = mappingOf(routeKey);
   const auto traceUpdate = [](const LfibIpLookupStatusLabelVrfAf& to) {
      if (auto line = trace.entry(1))
         line << " updating mapping label=" << to.label() << " vrfName=" << to.vrfName()
              << " af=" << to.payloadType();
   };
   if (mapping != none) {
      if (mapping == old) {
         if (auto line = trace.entry(1))
            line << " no change for label=" << label;
         return;
      }
      traceUpdate(mapping);
      vrfAfIs(mapping);
      if (old != none)
         ipLookupStatus()->labelVrfAfDel(old);
      ipLookupStatus()->labelVrfAfIs(mapping, true);
   } else if (old != none) {
      traceUpdate(old);
      vrfAfDel(label);
      ipLookupStatus()->labelVrfAfDel(old);
   }
}

LfibIpLookupStatusLabelVrfAf LfibIpLookupSm::mappingOf(const RouteKey& routeKey) const {
   const LfibStatus& lfib = *lfibStatus();
   LfibRoute route;
   if (!Pooltab::checkedFind(lfib.lfibRouteTable(), routeKey, route) ||
       route.viaSetKey().viaType() != viaTypeIpLookup_)
      return {};
   LfibViaSet viaSet;
   if (!Pooltab::checkedFind(lfib.viaSetTable(), route.viaSetKey(), viaSet))
      return {};
   vokAssert(viaSet.viaKeys() == 1);
   const LfibViaKey viaKey = (*viaSet.viaKeyEach().begin()).value;
   vokAssert(!!viaKey);
   LfibIpLookupVia via;
   if (!Pooltab::checkedFind(lfib.ipLookupViaTable(), viaKey, via))
      return {};
   return {routeKey.topLabel(), via.vrfName(), via.payloadType()};
}

} // namespace Mpls
