#include "Mpls/LfibRouteRows.h"

#include "Vok/Assert.h"
#include "Vok/InlineVector.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace Mpls {

namespace {

constexpr Vok::U32 viaLimit = LfibViaIndexRange::range;

/// What the writer asks of the via table that a via row type lives in.
template <class ViaRow>
struct ViaTable;

template <>
struct ViaTable<LfibMplsVia> {
   static const auto& viasOf(const ConsolidatedLfibRoute& route) { return route.mplsViaEach(); }
   static auto& table(LfibStatus& lfib) { return lfib.mplsViaTable(); }
   static void write(LfibStatus& lfib, const LfibMplsVia& via) { lfib.mplsViaIs(via); }
};

template <>
struct ViaTable<LfibPwVia> {
   static const auto& viasOf(const ConsolidatedLfibRoute& route) { return route.pwViaEach(); }
   static auto& table(LfibStatus& lfib) { return lfib.pwViaTable(); }
   static void write(LfibStatus& lfib, const LfibPwVia& via) { lfib.pwViaIs(via); }
};

template <>
struct ViaTable<LfibExtFecVia> {
   static const auto& viasOf(const ConsolidatedLfibRoute& route) { return route.extFecViaEach(); }
   static auto& table(LfibStatus& lfib) { return lfib.extFecViaTable(); }
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
   if (auto line = lfibWriterTrace.at(8))
      line << "viaWeightIs"
           << " mplsvia. wt " << weight;
   via.weightIs(weight);
}

template <class ViaRow>
void viaWeightIs(ViaRow&, Vok::U32) {
   if (auto line = lfibWriterTrace.at(8))
      line << "viaWeightIs"
           << " default";
}

/// The vias that a route had before: which of them stay, and the keys of those to retire. They are compared
/// as they stand packed in their table, where equal vias are equal bytes.
template <class ViaRow>
class OldVias {
  public:
   OldVias(LfibStatus& lfib, const LfibViaSet& viaSet) : table_(ViaTable<ViaRow>::table(lfib)) {
      for (const auto [slot, key] : viaSet.viaKeyEach()) {
         const auto spot = table_.spot(key);
         if (const auto row = table_.tableWriter()->peek(spot))
            vias_.append({Body(row->words), spot, key, true});
         else
            strangers_.append(key); // of another via type, when the route had one
      }
      std::ranges::sort(vias_, {}, &Old::body);
   }

   /// The key of the old via equal to `via`, which then stays; the unset key when there is none.
   LfibViaKey keep(const ViaRow& via) {
      if (vias_.empty())
         return LfibViaKey();
      const Pooltab::Packed<ViaRow> packed(via);
      for (Old& old : std::ranges::equal_range(vias_, Body(packed.words()), {}, &Old::body)) {
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
            table_.del(old.spot, old.key);
      for (const LfibViaKey& key : strangers_)
         writer.lfibViaDel(key);
   }

  private:
   /// A packed via without its key.
   class Body {
     public:
      explicit Body(const Pooltab::Word* row)
          : bytes_(reinterpret_cast<const Vok::U8*>(row) + Vok::rowBytesMax<LfibViaKey>) {}
      std::strong_ordering operator<=>(const Body& other) const {
         return std::memcmp(bytes_, other.bytes_, Vok::rowBytesMax<ViaRow> - Vok::rowBytesMax<LfibViaKey>) <=>
                0;
      }
      bool operator==(const Body& other) const { return (*this <=> other) == 0; }

     private:
      const Vok::U8* bytes_;
   };
   struct Old {
      Body body; ///< in the table: rows of one size stay where they are until they go
      Pooltab::Spot<LfibViaKey> spot;
      LfibViaKey key;
      bool retire;
   };
   Pooltab::Collection<ViaRow>& table_;
   Vok::InlineVector<Old, viaLimit> vias_;
   Vok::InlineVector<LfibViaKey, viaLimit> strangers_;
};

/// Writes the vias of a route and lists their keys in its new via set.
template <class ViaRow>
void writeVias(LfibStatus& lfib, const ConsolidatedLfibRoute& route, LfibViaIndexAllocator& allocator,
               OldVias<ViaRow>& oldVias, LfibViaSet& viaSet) {
   const auto& vias = ViaTable<ViaRow>::viasOf(route);
   for (Vok::U32 slot = 0; slot < vias.size(); ++slot) {
      if (slot == viaLimit) {
         if (auto line = lfibWriterTrace.at(1))
            line << " Reached via index limit (" << viaLimit << "), ignoring extra vias"
                 << " routeKey " << route.key() << " viaType " << route.viaType();
         return;
      }
      ViaRow via = vias.at(slot);
      const Vok::U32 weight = weightOf(via);
      viaWeightIs(via, weight);
      if (auto line = lfibWriterTrace.at(8))
         line << " add via with wt " << weight;
      const LfibViaKey kept = oldVias.keep(via);
      via.keyIs(!kept ? allocator.getViaKey(route.viaType()) : kept);
      if (!kept)
         ViaTable<ViaRow>::write(lfib, via);
      viaSet.viaKeyIs(LfibViaIndexRange(slot), via.key());
   }
}

/// True when a replaced route may keep its via-set key and have the row rewritten in place.
bool keepsViaSetKey(const LfibWriter& writer, const ConsolidatedLfibRoute& route, const LfibViaSetKey& key) {
   return writer.inPlaceAdjacencyUpdateSupported() && route.viaType() == viaTypeMplsIp_ &&
          key.source() == route.source() && key.viaType() == route.viaType() &&
          key.viaSetType() == route.viaSetType();
}

template <class ViaRow>
void writeRoute(LfibWriter& writer, const Pooltab::Spot<RouteKey>& spot, const ConsolidatedLfibRoute& route) {
   LfibStatus& lfib = *writer.lfib();
   auto& viaSets = lfib.viaSetTable();
   LfibViaSet oldViaSet;
   LfibViaSetKey oldKey;
   std::optional<Pooltab::Spot<LfibViaSetKey>> oldSpot;
   const bool exists = findViaSetKey(lfib, spot, oldKey);
   if (exists) {
      if (auto line = lfibWriterTrace.at(8))
         line << ": found old lfib route"
              << " " << route.key();
      oldSpot = viaSets.spot(oldKey);
      viaSets.find(*oldSpot, oldViaSet);
      vokAssert(!!oldViaSet);
   }
   OldVias<ViaRow> oldVias(lfib, oldViaSet);

   const auto allocator = writer.indexAllocator(route.source());
   const bool inPlace = exists && keepsViaSetKey(writer, route, oldKey);
   const LfibViaSetKey viaSetKey =
       inPlace ? oldKey : allocator->getViaSetKey(route.viaType(), route.viaSetType());
   // Made here and written last: by then its stores are through, for which packing would have to wait.
   const LfibRoute row(route.key(), viaSetKey, route.source(), route.fec(), route.metric());
   LfibViaSet viaSet;
   viaSet.keyIs(viaSetKey);
   writeVias<ViaRow>(lfib, route, *allocator, oldVias, viaSet);

   lfib.viaSetCommit(viaSet);
   lfib.lfibRouteTable().commit(spot, row);
   lfib.handleRoute(row);

   if (exists && !inPlace)
      viaSets.del(*oldSpot, oldKey);
   oldVias.retire(writer);
}

} // namespace

constinit Vok::TraceFacility lfibWriterTrace("MplsLfibWriter");

bool findViaSetKey(const LfibStatus& lfib, const Pooltab::Spot<RouteKey>& spot, LfibViaSetKey& key) {
   const std::optional<Pooltab::PackedRow> route = lfib.lfibRouteTable().tableWriter()->peek(spot);
   if (!route)
      return false;
   const auto* bytes = reinterpret_cast<const Vok::U8*>(route->words);
   if (Vok::unpack(key, bytes + Vok::rowBytesMax<RouteKey>, bytes + route->bytes))
      return true;
   LfibRoute damaged;
   lfib.lfibRouteTable().find(spot, damaged); // raises what is raised for such a row
   key = damaged.viaSetKey();
   return true;
}

void routeRowsIs(LfibWriter& writer, const Pooltab::Spot<RouteKey>& spot,
                 const ConsolidatedLfibRoute& route) {
   vokAssert(route.viaType() != viaTypeMplsUnknown_ && route.viaType() != viaTypeMax_);
   switch (route.viaType()) {
   case LfibViaType::viaTypeMplsIp:
      return writeRoute<LfibMplsVia>(writer, spot, route);
   case LfibViaType::viaTypeMplsPseudowire:
      return writeRoute<LfibPwVia>(writer, spot, route);
   case LfibViaType::viaTypeExternalFec:
      return writeRoute<LfibExtFecVia>(writer, spot, route);
   default: {
      const bool known = route.viaType() < viaTypeMax_;
      const bool writable = false;
      vokRequire(writable, (known ? "viaType not yet supported " : "invalid viaType ") +
                               std::to_string(static_cast<Vok::U32>(route.viaType())));
   }
   }
}

void routeRowsDel(LfibWriter& writer, const Pooltab::Spot<RouteKey>& spot, const RouteKey& routeKey) {
   LfibStatus& lfib = *writer.lfib();
   auto& viaSets = lfib.viaSetTable();
   LfibViaSetKey viaSetKey;
   if (!findViaSetKey(lfib, spot, viaSetKey))
      return;
   lfib.lfibRouteTable().del(spot, routeKey);
   const auto viaSetSpot = viaSets.spot(viaSetKey);
   LfibViaSet viaSet;
   viaSets.find(viaSetSpot, viaSet);
   if (viaSet.viaKeys() > viaLimit)
      return;
   viaSets.del(viaSetSpot, viaSetKey);
   for (const auto [slot, key] : viaSet.viaKeyEach())
      writer.lfibViaDel(key);
}

} // namespace Mpls
