#include "Mpls/MplsLfibWriter.h"

#include "Mpls/LfibRouteRows.h"
#include "Mpls/LfibViaTables.h"
#include "Vok/Assert.h"

#include <algorithm>
#include <vector>

namespace Mpls {

void ConsolidatedLfibRoute::verifyVia(const LfibViaKey& vk) const {
   vokAssertMessage(vk == LfibViaKey(), "Vias in ConsolidatedLfibRoute should have an unset key only");
}

void LfibWriter::handleInitialized() {
   if (auto line = lfibWriterTrace.entry(8))
      line << " lfib " << lfib()->name();
}

Vok::Ptr<LfibViaIndexAllocator> LfibWriter::indexAllocator(LFib::Source source) {
   Vok::Ptr<LfibViaIndexAllocator> allocator = indexAllocatorInternal(source);
   if (!allocator) {
      allocator = Vok::make<LfibViaIndexAllocator>(source, lfib());
      indexAllocatorInternalIs(source, allocator);
   }
   return allocator;
}

void LfibWriter::lfibRouteIs(const ConsolidatedLfibRoute& route) {
   if (auto line = lfibWriterTrace.entry(8))
      line << " key " << route.key() << " viaType " << route.viaType();
   routeRowsIs(*this, lfib()->lfibRouteTable().spot(route.key()), route);
}

void LfibWriter::lfibRouteDel(const RouteKey& routeKey) {
   if (auto line = lfibWriterTrace.entry(8))
      line << " key " << routeKey;
   routeRowsDel(*this, lfib()->lfibRouteTable().spot(routeKey), routeKey);
}

void LfibWriter::lfibRouteDelAll() {
   if (auto line = lfibWriterTrace.entry(8))
      line << " routes " << lfib()->lfibRoutes();
   for (const LfibRoute& route : lfib()->lfibRouteEach())
      lfibRouteDel(route.key());
}

namespace {

/// Every route that this writer wrote has a via set of its own, and every via stands in one via set: where
/// the numbers agree, nothing is left over.
bool numbersAgree(const LfibStatus& lfib) {
   Vok::U64 listed = 0;
   for (const LfibViaSet& viaSet : lfib.viaSetEach())
      listed += viaSet.viaKeys();
   Vok::U64 vias = 0;
   forEachViaTable(lfib, [&](const auto& table) { vias += table.size(); });
   return lfib.viaSets() == lfib.lfibRoutes() && listed == vias;
}

} // namespace

Vok::U32 LfibWriter::orphanDelAll() {
   if (numbersAgree(*lfib()))
      return 0;
   std::vector<LfibViaSetKey> named;
   for (const LfibRoute& route : lfib()->lfibRouteEach())
      named.push_back(route.viaSetKey());
   for (const LfibViaSet& viaSet : lfib()->viaSetEach())
      if (!!viaSet.backupViaSetKey())
         named.push_back(viaSet.backupViaSetKey());
   std::ranges::sort(named);

   Vok::U32 deleted = 0;
   std::vector<LfibViaKey> listed;
   for (const LfibViaSet& viaSet : lfib()->viaSetEach()) {
      if (std::ranges::binary_search(named, viaSet.key())) {
         for (const auto [slot, key] : viaSet.viaKeyEach())
            listed.push_back(key);
      } else {
         lfib()->viaSetDel(viaSet.key());
         ++deleted;
      }
   }
   std::ranges::sort(listed);

   forEachViaTable(*lfib(), [&](const auto& table) {
      for (const auto& via : table.each()) {
         if (!std::ranges::binary_search(listed, via.key())) {
            lfibViaDel(via.key());
            ++deleted;
         }
      }
   });
   if (auto line = lfibWriterTrace.at(1))
      line << "orphanDelAll"
           << " deleted " << deleted;
   return deleted;
}

void LfibWriter::lfibViaDel(const LfibViaKey& viaKey) {
   switch (viaKey.viaType()) {
   case LfibViaType::viaTypeMplsIp:
      return lfib()->mplsViaDel(viaKey);
   case LfibViaType::viaTypeMplsPseudowire:
      return lfib()->pwViaDel(viaKey);
   case LfibViaType::viaTypeIpLookup:
      return lfib()->ipLookupViaDel(viaKey);
   case LfibViaType::viaTypeVlan:
      return lfib()->vlanViaDel(viaKey);
   case LfibViaType::viaTypeEvpnVlanAware:
      return lfib()->evpnVlanAwareViaDel(viaKey);
   case LfibViaType::viaTypeEvpnEthernetSegment:
      return lfib()->evpnEthernetSegmentFilterViaDel(viaKey);
   case LfibViaType::viaTypeEvpnVlanFlood:
      return lfib()->evpnVlanFloodViaDel(viaKey);
   case LfibViaType::viaTypeEvpnVlanAwareFlood:
      return lfib()->evpnVlanAwareFloodViaDel(viaKey);
   case LfibViaType::viaTypeExternalFec:
      return lfib()->extFecViaDel(viaKey);
   default:
      return;
   }
}

} // namespace Mpls
