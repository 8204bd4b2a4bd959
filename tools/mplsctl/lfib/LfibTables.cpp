#include "tools/mplsctl/lfib/LfibTables.h"

#include "tools/common/Lfib.h"

namespace mplsctl {

namespace {

using Mpls::LfibStatus;

/// Tables are named as the attributes of the LFIB that they stand for.
std::string nameOf(Vok::AttrId attribute) {
   return std::string(LfibStatus::vokType().attribute(attribute)->name);
}

/// Which attribute holds the vias of a row type.
template <class Row>
constexpr Vok::AttrId attributeOf() {
   using namespace Mpls;
   if constexpr (Row::viaType == viaTypeMplsIp_)
      return LfibStatus::mplsViaAttr;
   else if constexpr (Row::viaType == viaTypeMplsPseudowire_)
      return LfibStatus::pwViaAttr;
   else if constexpr (Row::viaType == viaTypeIpLookup_)
      return LfibStatus::ipLookupViaAttr;
   else if constexpr (Row::viaType == viaTypeVlan_)
      return LfibStatus::vlanViaAttr;
   else if constexpr (Row::viaType == viaTypeEvpnVlanAware_)
      return LfibStatus::evpnVlanAwareViaAttr;
   else if constexpr (Row::viaType == viaTypeEvpnEthernetSegment_)
      return LfibStatus::evpnEthernetSegmentFilterViaAttr;
   else if constexpr (Row::viaType == viaTypeEvpnVlanFlood_)
      return LfibStatus::evpnVlanFloodViaAttr;
   else if constexpr (Row::viaType == viaTypeEvpnVlanAwareFlood_)
      return LfibStatus::evpnVlanAwareFloodViaAttr;
   else
      return LfibStatus::extFecViaAttr;
}

template <class... Row>
ViaTablesOf<ViaRow>::Tuple viaTablesOf(Pooltab::PoolReader& pool, const std::variant<Row...>*) {
   return {Pooltab::TableReader<Row>(pool, nameOf(attributeOf<Row>()))...};
}

} // namespace

LfibTables::LfibTables(std::shared_ptr<Pooltab::Folder> folder)
    : pool(std::move(folder)), lfibRoute(pool, nameOf(LfibStatus::lfibRouteAttr)),
      viaSet(pool, nameOf(LfibStatus::viaSetAttr)),
      viaTables(viaTablesOf(pool, static_cast<const ViaRow*>(nullptr))),
      dot1qTagToVlanComposite(pool, nameOf(LfibStatus::dot1qTagToVlanCompositeAttr)) {}

std::optional<ViaRow> LfibTables::via(const Mpls::LfibViaKey& key) const {
   std::optional<ViaRow> found;
   eachViaTable([&]<class Row>(const Pooltab::TableReader<Row>& table) {
      if (key.viaType() == Row::viaType)
         if (auto row = table.find(key))
            found.emplace(*row);
   });
   return found;
}

std::unique_ptr<LfibTables> openTables(std::shared_ptr<Pooltab::Folder> folder) {
   auto tables = std::make_unique<LfibTables>(std::move(folder));
   tables->eachTable([&]<class Row>(const Pooltab::TableReader<Row>& table) {
      // Without routes and via sets there is no LFIB; a kind of via that was never used may be missing.
      constexpr bool needed = std::is_same_v<Row, Mpls::LfibRoute> || std::is_same_v<Row, Mpls::LfibViaSet>;
      if (needed || table.mountStatus() != Pooltab::MountStatus::unmounted)
         tools::requireMounted(*tables->pool.folder(), table.mountStatus(), table.mountText());
   });
   return tables;
}

} // namespace mplsctl
