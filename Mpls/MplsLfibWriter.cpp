#include "Mpls/MplsLfibWriter.h"

#include "Vok/Assert.h"
#include "Vok/InlineVector.h"
#include "Vok/Trace.h"

#include <algorithm>
#include <vector>

namespace Mpls {

namespace {

constinit Vok::TraceFacility trace("MplsLfibWriter");

constexpr Vok::U32 viaLimit = LfibViaIndexRange::range;

/// What the writer asks of the via table that a via row type lives in.
template <class ViaRow>
struct ViaTable;

template <>
struct ViaTable<LfibMplsVia> {
   static const auto& viasOf(const ConsolidatedLfibRoute& route) { return route.mplsViaEach(); }
   static LfibMplsVia lookup(const LfibStatus& lfib, const LfibViaKey& key) { return lfib.mplsVia(key); }
   static void write(LfibStatus& lfib, const LfibMplsVia& via) { lfib.mplsViaIs(via); }
};

template <>
struct ViaTable<LfibPwVia> {
   static const auto& viasOf(const ConsolidatedLfibRoute& route) { return route.pwViaEach(); }
   static LfibPwVia lookup(const LfibStatus& lfib, const LfibViaKey& key) { return lfib.pwVia(key); }
   static void write(LfibStatus& lfib, const LfibPwVia& via) { lfib.pwViaIs(via); }
};

template <>
struct ViaTable<LfibExtFecVia> {
   static const auto& viasOf(const ConsolidatedLfibRoute& route) { return route.extFecViaEach(); }
   static LfibExtFecVia lookup(const LfibStatus& lfib, const LfibViaKey& key) { return lfib.extFecVia(key); }
   static void write(LfibStatus& lfib, const LfibExtFecVia& via) { lfib.extFecViaIs(via); }
};

/// A via carries a positive weight: one that says 0 counts as 1.
template <class ViaRow>
Vok::U32 weightOf(const ViaRow& via) {
   if constexpr (requires { via.weight(); })
      return std::max<Vok::U32>(via.weight(), 1);
   else
      return 1;
}

void viaWeightIs(LfibMplsVia& via, Vok::U32 weight) {
   if (auto line = trace.at(8))
      line << "viaWeightIs"
           << " mplsvia. wt " << weight;
   via.weightIs(weight);
}

template <class ViaRow>
void viaWeightIs(ViaRow&, Vok::U32) {
   if (auto line = trace.at(8))
      line << "viaWeightIs"
           << " default";
}

/// The vias that a route had before: which of them stay, and the keys of those to retire.
template <class ViaRow>
class OldVias {
  public:
   OldVias(const LfibStatus& lfib, const LfibViaSet& viaSet) {
      for (const auto [slot, key] : viaSet.viaKeyEach()) {
         ViaRow row = ViaTable<ViaRow>::lookup(lfib, key);
         if (row.key() == key) {
            row.keyIs(LfibViaKey());
            vias_.append({row, key, true});
         } else {
            strangers_.append(key); // of another via type, when the route had one
         }
      }
      std::ranges::sort(vias_, {}, &Old::row);
   }

   /// The key of the old via equal to `via`, which then stays; the unset key when there is none.
   LfibViaKey keep(const ViaRow& via) {
      for (Old& old : std::ranges::equal_range(vias_, via, {}, &Old::row)) {
         if (old.retire) {
            old.retire = false;
            return old.key;
         }
      }
      return LfibViaKey();
   }

   void retire(LfibWriter& writer) const {
      for (const Old& old : vias_)
         if (old.retire)
            writer.lfibViaDel(old.key);
      for (const LfibViaKey& key : strangers_)
         writer.lfibViaDel(key);
   }

  private:
   struct Old {
      ViaRow row;
      LfibViaKey key;
      bool retire;
   };
   Vok::InlineVector<Old, viaLimit> vias_;
   Vok::InlineVector<LfibViaKey, viaLimit> strangers_;
};

/// Writes the vias of a route and lists their keys in its new via set.
template <class ViaRow>
void writeVias(LfibStatus& lfib, const ConsolidatedLfibRoute& route, LfibViaIndexAllocator& allocator,
               OldVias<ViaRow>& oldVias, LfibViaSet& viaSet) {
   Vok::U32 slot = 0;
   for (const ViaRow& wished : ViaTable<ViaRow>::viasOf(route)) {
      if (slot == viaLimit) {
         if (auto line = trace.at(1))
            line << " Reached via index limit (" << viaLimit << "), ignoring extra vias"
                 << " routeKey " << route.key() << " viaType " << route.viaType();
         return;
      }
      ViaRow via = wished;
      const Vok::U32 weight = weightOf(via);
      viaWeightIs(via, weight);
      if (auto line = trace.at(8))
         line << " add via with wt " << weight;
      const LfibViaKey kept = oldVias.keep(via);
      via.keyIs(!kept ? allocator.getViaKey(route.viaType()) : kept);
      if (!kept)
         ViaTable<ViaRow>::write(lfib, via);
      viaSet.viaKeyIs(LfibViaIndexRange(slot++), via.key());
   }
}

/// True when a replaced route may keep its via-set key and have the row rewritten in place.
bool keepsViaSetKey(const LfibWriter& writer, const ConsolidatedLfibRoute& route, const LfibRoute& oldRoute) {
   const LfibViaSetKey& key = oldRoute.viaSetKey();
   return writer.inPlaceAdjacencyUpdateSupported() && route.viaType() == viaTypeMplsIp_ &&
          key.source() == route.source() && key.viaType() == route.viaType() &&
          key.viaSetType() == route.viaSetType();
}

/// Adds or replaces one route. The order is the promise to readers: vias, via set, route; then the old via
/// set and the old vias, to which nothing points any more.
template <class ViaRow>
void writeRoute(LfibWriter& writer, const ConsolidatedLfibRoute& route) {
   LfibStatus& lfib = *writer.lfib();
   LfibRoute oldRoute;
   LfibViaSet oldViaSet;
   const bool exists = lfib.lfibRouteTable().find(route.key(), oldRoute);
   if (exists) {
      if (auto line = trace.at(8))
         line << ": found old lfib route"
              << " " << route.key();
      oldViaSet = lfib.viaSet(oldRoute.viaSetKey());
      vokAssert(!!oldViaSet);
   }
   OldVias<ViaRow> oldVias(lfib, oldViaSet);

   const auto allocator = writer.indexAllocator(route.source());
   const bool inPlace = exists && keepsViaSetKey(writer, route, oldRoute);
   LfibViaSet viaSet;
   viaSet.keyIs(inPlace ? oldRoute.viaSetKey()
                        : allocator->getViaSetKey(route.viaType(), route.viaSetType()));
   writeVias<ViaRow>(lfib, route, *allocator, oldVias, viaSet);

   lfib.viaSetCommit(viaSet);
   lfib.lfibRouteCommit(LfibRoute(route.key(), viaSet.key(), route.source(), route.fec(), route.metric()));

   if (exists && !inPlace)
      lfib.viaSetDel(oldRoute.viaSetKey());
   oldVias.retire(writer);
}

} // namespace

void ConsolidatedLfibRoute::verifyVia(const LfibViaKey& vk) const {
   vokAssertMessage(vk == LfibViaKey(), "Vias in ConsolidatedLfibRoute should have an unset key only");
}

void LfibWriter::handleInitialized() {
   if (auto line = trace.entry(8))
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
   if (auto line = trace.entry(8))
      line << " key " << route.key() << " viaType " << route.viaType();
   vokAssert(route.viaType() != viaTypeMplsUnknown_ && route.viaType() != viaTypeMax_);
   switch (route.viaType()) {
   case LfibViaType::viaTypeMplsIp:
      return writeRoute<LfibMplsVia>(*this, route);
   case LfibViaType::viaTypeMplsPseudowire:
      return writeRoute<LfibPwVia>(*this, route);
   case LfibViaType::viaTypeExternalFec:
      return writeRoute<LfibExtFecVia>(*this, route);
   default: {
      const bool known = route.viaType() < viaTypeMax_;
      const bool writable = false;
      vokRequire(writable, (known ? "viaType not yet supported " : "invalid viaType ") +
                               std::to_string(static_cast<Vok::U32>(route.viaType())));
   }
   }
}

void LfibWriter::lfibRouteDel(const RouteKey& routeKey) {
   if (auto line = trace.entry(8))
      line << " key " << routeKey;
   const Vok::Ptr<LfibStatus> tables = lfib();
   LfibRoute route;
   if (!tables->lfibRouteTable().find(routeKey, route))
      return;
   tables->lfibRouteDel(routeKey);
   const LfibViaSet viaSet = tables->viaSet(route.viaSetKey());
   if (viaSet.viaKeys() > viaLimit)
      return;
   tables->viaSetDel(route.viaSetKey());
   for (const auto [slot, key] : viaSet.viaKeyEach())
      lfibViaDel(key);
}

void LfibWriter::lfibRouteDelAll() {
   if (auto line = trace.entry(8))
      line << " routes " << lfib()->lfibRoutes();
   for (const LfibRoute& route : lfib()->lfibRouteEach())
      lfibRouteDel(route.key());
}

namespace {

/// Calls visit( table ) for the walk over each via table.
template <class Visit>
void forEachViaTable(const LfibStatus& lfib, Visit visit) {
   visit(lfib.mplsViaEach());
   visit(lfib.pwViaEach());
   visit(lfib.ipLookupViaEach());
   visit(lfib.vlanViaEach());
   visit(lfib.evpnVlanAwareViaEach());
   visit(lfib.evpnEthernetSegmentFilterViaEach());
   visit(lfib.evpnVlanFloodViaEach());
   visit(lfib.evpnVlanAwareFloodViaEach());
   visit(lfib.extFecViaEach());
}

/// Every route that this writer wrote has a via set of its own, and every via stands in one via set: where
/// the numbers agree, nothing is left over.
bool numbersAgree(const LfibStatus& lfib) {
   Vok::U64 listed = 0;
   for (const LfibViaSet& viaSet : lfib.viaSetEach())
      listed += viaSet.viaKeys();
   const Vok::U64 vias = Vok::U64(lfib.mplsVias()) + lfib.pwVias() + lfib.ipLookupVias() + lfib.vlanVias() +
                         lfib.evpnVlanAwareVias() + lfib.evpnEthernetSegmentFilterVias() +
                         lfib.evpnVlanFloodVias() + lfib.evpnVlanAwareFloodVias() + lfib.extFecVias();
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

   forEachViaTable(*lfib(), [&](const auto& vias) {
      for (const auto& via : vias) {
         if (!std::ranges::binary_search(listed, via.key())) {
            lfibViaDel(via.key());
            ++deleted;
         }
      }
   });
   if (auto line = trace.at(1))
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
