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
   if (mapping == old) {
      if (mapping != none)
         if (auto line = trace.entry(1))
            line << " no change for label=" << label;
      return;
   }
   const LfibIpLookupStatusLabelVrfAf& told = mapping != none ? mapping : old;
   if (auto line = trace.entry(1))
      line << " updating mapping label=" << told.label() << " vrfName=" << told.vrfName()
           << " af=" << told.payloadType();
   if (mapping != none)
      vrfAfIs(mapping);
   else
      vrfAfDel(label);
   if (old != none)
      ipLookupStatus()->labelVrfAfDel(old);
   if (mapping != none)
      ipLookupStatus()->labelVrfAfIs(mapping, true);
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
