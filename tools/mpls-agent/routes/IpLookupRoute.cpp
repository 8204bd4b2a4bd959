#include "tools/mpls-agent/routes/IpLookupRoute.h"

#include "tools/config/RouteProducer.h"

namespace agent {

using tools::config::vrfLabelSource;

namespace {

constexpr auto viaType = Mpls::LfibIpLookupVia::viaType;
constexpr auto viaSetType = Mpls::LfibViaSetType::unicast;
constexpr auto payloadType = Mpls::PayloadType::autoDecide;
const Mpls::RouteMetric metric(0);

} // namespace

bool isIpLookupPublished(const Mpls::LfibStatus& tables, const Mpls::LfibRoute& row,
                         const L3::VrfName& vrfName) {
   if (row.source() != vrfLabelSource || row.metric() != metric || row.viaSetKey().viaType() != viaType)
      return false;
   const Mpls::LfibViaSet viaSet = tables.viaSet(row.viaSetKey());
   if (viaSet.viaKeys() != 1)
      return false;
   const Mpls::LfibIpLookupVia via = tables.ipLookupVia(viaSet.viaKey(Mpls::LfibViaIndexRange(0)));
   return !!via && via.payloadType() == payloadType && via.vrfName() == vrfName;
}

void ipLookupRouteIs(Mpls::LfibWriter& writer, const Mpls::RouteKey& key, const L3::VrfName& vrfName) {
   Mpls::LfibStatus& tables = *writer.lfib();
   const Mpls::LfibRoute before = tables.lfibRoute(key);
   const Mpls::LfibViaSet viaSetBefore = !before ? Mpls::LfibViaSet() : tables.viaSet(before.viaSetKey());

   const auto allocator = writer.indexAllocator(vrfLabelSource);
   Mpls::LfibIpLookupVia via(allocator->getViaKey(viaType), payloadType);
   via.vrfNameIs(vrfName);
   tables.ipLookupViaIs(via);
   Mpls::LfibViaSet viaSet;
   viaSet.keyIs(allocator->getViaSetKey(viaType, viaSetType));
   viaSet.viaKeyIs(Mpls::LfibViaIndexRange(0), via.key());
   tables.viaSetIs(viaSet);
   tables.lfibRouteIs(Mpls::LfibRoute(key, viaSet.key(), vrfLabelSource, Mpls::FwdEqvClass(), metric));

   if (!before)
      return;
   tables.viaSetDel(before.viaSetKey());
   for (const auto [slot, viaKey] : viaSetBefore.viaKeyEach())
      writer.lfibViaDel(viaKey);
}

} // namespace agent
