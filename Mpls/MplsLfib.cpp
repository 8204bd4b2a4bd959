// Rows of the LFIB tables: what they derive, what the tables check, and the via index allocator.
#include "Mpls/MplsLfib.h"

#include "Mpls/LfibRules.h"
#include "Vok/Assert.h"

namespace Mpls {

LfibViaType LfibViaSet::viaType() const {
   return key_.viaType();
}

LfibViaSetType LfibViaSet::viaSetType() const {
   return key_.viaSetType();
}

L3::VrfName LfibIpLookupVia::vrfName() const {
   Vok::String text;
   for (std::size_t i = 0; i < vrfNameBuffer_.limit() && vrfNameBuffer_.at(i) != 0; ++i)
      text += static_cast<char>(vrfNameBuffer_.at(i));
   return L3::VrfName(text);
}

void LfibIpLookupVia::vrfNameIs(const L3::VrfName& vrfName) {
   vrfNameBuffer_.delAll();
   for (std::size_t i = 0; i < vrfName.text().size(); ++i)
      vrfNameBuffer_.is(LfibVrfNameIndexRange(i), static_cast<Vok::U8>(vrfName.text()[i]));
}

// Checks of the tables. They name the broken rule to the writer; the row stays as it was written.

void LfibStatus::verifyViaTypeMplsIp(const LfibViaKey& key) const {
   vokRequire(key.viaType() == viaTypeMplsIp_, "via key and via coll type mismatch");
}

void LfibStatus::verifyViaTypeMplsPseudowire(const LfibViaKey& key) const {
   vokRequire(key.viaType() == viaTypeMplsPseudowire_, "via key and via coll type mismatch");
}

void LfibStatus::verifyViaTypeIpLookup(const LfibViaKey& key) const {
   vokRequire(key.viaType() == viaTypeIpLookup_, "via key and via coll type mismatch");
}

void LfibStatus::verifyViaTypeVlan(const LfibViaKey& key) const {
   vokRequire(key.viaType() == viaTypeVlan_, "via key and via coll type mismatch");
}

void LfibStatus::verifyViaTypeEvpnVlanAware(const LfibViaKey& key) const {
   vokRequire(key.viaType() == viaTypeEvpnVlanAware_, "via key and via coll type mismatch");
}

void LfibStatus::verifyViaTypeEvpnEthernetSegment(const LfibViaKey& key) const {
   vokRequire(key.viaType() == viaTypeEvpnEthernetSegment_, "via key and via coll type mismatch");
}

void LfibStatus::verifyViaTypeEvpnVlanFlood(const LfibViaKey& key) const {
   vokRequire(key.viaType() == viaTypeEvpnVlanFlood_, "via key and via coll type mismatch");
}

void LfibStatus::verifyViaTypeEvpnVlanAwareFlood(const LfibViaKey& key) const {
   vokRequire(key.viaType() == viaTypeEvpnVlanAwareFlood_, "via key and via coll type mismatch");
}

void LfibStatus::verifyViaTypeExternalFec(const LfibViaKey& key) const {
   vokRequire(key.viaType() == viaTypeExternalFec_, "via key and via coll type mismatch");
}

void LfibStatus::handleRoute(const RouteKey& routeKey) const {
   handleRoute(lfibRoute(routeKey));
}

void LfibStatus::handleRoute(const LfibRoute& route) const {
   if (isEvpnViaType(route.viaSetKey().viaType()))
      vokRequire(route.metric() == 0, "EVPN lfib routes must have metric set to 0");
}

void LfibStatus::handleViaSet(const LfibViaSetKey& viaSetKey) const {
   handleViaSet(viaSet(viaSetKey));
}

void LfibStatus::handleViaSet(const LfibViaSet& vs) const {
   const LfibViaType viaType = vs.viaType();
   for (const auto [slot, key] : vs.viaKeyEach()) {
      const LfibViaType viaKeyType = key.viaType();
      vokRequire(viaKeyType == viaType, "Vias in a viaSet must always be homogeneous");
   }
   if (isEvpnViaType(viaType))
      vokRequire(vs.viaKeys() <= 1, "EVPN via sets must contain at most 1 via key");
}

// Via and via-set keys.

namespace {

/// True when a via row has the key. False for via types without a table: nothing can be in use there.
bool viaInUse(const LfibStatus& lfib, const LfibViaKey& key) {
   switch (key.viaType()) {
   case LfibViaType::viaTypeMplsIp:
      return lfib.mplsViaHas(key);
   case LfibViaType::viaTypeMplsPseudowire:
      return lfib.pwViaHas(key);
   case LfibViaType::viaTypeIpLookup:
      return lfib.ipLookupViaHas(key);
   case LfibViaType::viaTypeVlan:
      return lfib.vlanViaHas(key);
   case LfibViaType::viaTypeEvpnVlanAware:
      return lfib.evpnVlanAwareViaHas(key);
   case LfibViaType::viaTypeEvpnEthernetSegment:
      return lfib.evpnEthernetSegmentFilterViaHas(key);
   case LfibViaType::viaTypeEvpnVlanFlood:
      return lfib.evpnVlanFloodViaHas(key);
   case LfibViaType::viaTypeEvpnVlanAwareFlood:
      return lfib.evpnVlanAwareFloodViaHas(key);
   case LfibViaType::viaTypeExternalFec:
      return lfib.extFecViaHas(key);
   default:
      return false;
   }
}

} // namespace

LfibViaKey LfibViaIndexAllocator::getViaKey(LfibViaType viaType) {
   Vok::U32 index = viaKeyIndexInc(viaType, 1);
   for (const Vok::U32 start = index - 1;; index = viaKeyIndexInc(viaType, 1)) {
      const LfibViaKey key(source(), viaType, index);
      if (!viaInUse(*pooltabLfib(), key))
         return key;
      if (index == start)
         vokAssert(0 && "No via keys left");
   }
}

LfibViaSetKey LfibViaIndexAllocator::getViaSetKey(LfibViaType viaType, LfibViaSetType viaSetType) {
   const ViaSetKeyIndexDomain domain(viaType, viaSetType);
   Vok::U32 index = viaSetKeyIndexInc(domain, 1);
   for (const Vok::U32 start = index - 1;; index = viaSetKeyIndexInc(domain, 1)) {
      const LfibViaSetKey key(source(), index, viaType, viaSetType);
      if (!pooltabLfib()->viaSetHas(key))
         return key;
      if (index == start)
         vokAssert(0 && "No via set keys left");
   }
}

} // namespace Mpls
