#include "tools/mpls-agent/forward/HardwareReport.h"

#include "tools/common/AdjacencyIndex.h"

#include <algorithm>

namespace agent {

namespace Hardware = Mpls::Hardware;
using Kinet::MplsLabelAction;
using Mpls::AdjacencyType;
using tools::adjacencyKeyOf;
using tools::ViaRow;

namespace {

// A via of any kind as the hardware's. Those that lead to no next hop take the label off, and hand over what
// is below it.

void fill(const Mpls::LfibMplsVia& row, Hardware::Via& via, Hardware::L2Via& l2Via) {
   via.recursiveNextHopIs(row.nextHop());
   via.resolvedNextHopIs(row.nextHop());
   via.l3IntfIs(row.intf());
   l2Via.labelActionIs(row.labelAction());
   l2Via.outLabelIs(row.labelStack().topLabel());
   l2Via.payloadTypeIs(row.payloadType());
   l2Via.ttlModeIs(row.ttlMode());
   l2Via.skipEgressAclIs(row.skipEgressAcl());
}

template <class Row>
void fill(const Row& row, Hardware::Via& via, Hardware::L2Via& l2Via) {
   l2Via.labelActionIs(MplsLabelAction::pop);
   if constexpr (requires { row.payloadType(); })
      l2Via.payloadTypeIs(row.payloadType());
   if constexpr (requires { row.vlanId(); })
      l2Via.vlanIdIs(row.vlanId().value());
   if constexpr (requires { row.intfId(); })
      via.l3IntfIs(row.intfId());
}

Hardware::Via hardwareVia(const ViaRow& row) {
   Hardware::Via via;
   Hardware::L2Via l2Via;
   std::visit([&](const auto& kind) { fill(kind, via, l2Via); }, row);
   via.l2ViaIs(l2Via);
   return via;
}

Mpls::Via multicastVia(const ViaRow& row) {
   const Hardware::Via via = hardwareVia(row);
   Mpls::Via result(via.resolvedNextHop(), via.l2Via().labelAction(), via.l2Via().outLabel(),
                    via.l2Via().skipEgressAcl());
   result.intfIs(via.l3Intf());
   result.payloadTypeIs(via.l2Via().payloadType());
   result.ttlModeIs(via.l2Via().ttlMode());
   if (const auto* mpls = std::get_if<Mpls::LfibMplsVia>(&row))
      result.weightIs(mpls->weight());
   return result;
}

// What the kinds of adjacency hold.

void contentIs(Hardware::Adjacency& adjacency, const std::vector<ViaRow>& vias) {
   std::vector<Hardware::Via> wanted;
   for (const ViaRow& row : vias)
      wanted.push_back(hardwareVia(row));
   for (const Hardware::Via& via : adjacency.viaEach())
      if (std::ranges::find(wanted, via) == wanted.end())
         adjacency.viaDel(via);
   for (const Hardware::Via& via : wanted)
      adjacency.viaIs(via);
}

void contentIs(Hardware::PwAdjacency& adjacency, const std::vector<ViaRow>& vias) {
   const auto* row = vias.empty() ? nullptr : std::get_if<Mpls::LfibPwVia>(&vias.front());
   adjacency.viaIs(row ? Mpls::PwVia(row->pwIntfId(), row->controlWordPresent(), row->pwType())
                       : Mpls::PwVia());
}

void contentIs(Hardware::ExtFecAdjacency& adjacency, const std::vector<ViaRow>& vias) {
   const auto* row = vias.empty() ? nullptr : std::get_if<Mpls::LfibExtFecVia>(&vias.front());
   const Mpls::LfibExtFecVia via = row ? *row : Mpls::LfibExtFecVia();
   adjacency.fecIdIs(via.fecId());
   adjacency.labelActionIs(via.labelAction());
   adjacency.payloadTypeIs(via.payloadType());
}

void contentIs(Hardware::MulticastAdjacency& adjacency, const std::vector<ViaRow>& vias) {
   Mpls::ViaSet viaSet;
   for (const ViaRow& row : vias) {
      const Mpls::Via via = multicastVia(row);
      viaSet.viaIs(via, viaSet.via(via) + 1);
   }
   adjacency.viaSetIs(viaSet);
}

/// Removes the members that have no adjacency in the table.
template <class Entries, class Del>
void forget(const ForwardingTable& table, AdjacencyType type, const Entries& entries, Del del) {
   for (const auto& entry : entries) {
      const auto viaSetKey = tools::viaSetKeyOf(entry.key);
      if (!viaSetKey || tools::adjacencyTypeOf(*viaSetKey) != type || !table.adjacency(*viaSetKey))
         del(entry.key);
   }
}

} // namespace

void HardwareReport::onRoute(const Mpls::RouteKey& key, const ForwardingTable::Route* route) {
   const bool isProgrammed = route && route->code == ForwardingTable::ReturnCode::programmed;
   if (!route)
      status_->routeDel(key);
   else
      status_->routeIs({key, adjacencyKeyOf(route->viaSetKey), !isProgrammed, route->metric});
   if (!route || isProgrammed)
      rows_->unprogrammedRouteDel(key);
   else
      rows_->unprogrammedRouteIs({key, route->metric, route->code});
}

void HardwareReport::onAdjacency(const Mpls::LfibViaSetKey& key,
                                 const ForwardingTable::Adjacency* adjacency) {
   const auto [index, type] = std::pair(adjacencyKeyOf(key).index(), adjacencyKeyOf(key).adjType());
   const auto report = [&](const auto& member) {
      contentIs(*member, adjacency->vias);
      member->unprogrammedIs(!adjacency->isWhole);
   };
   switch (type) {
   case AdjacencyType::mplsPseudowire:
      return adjacency ? report(status_->pwAdjacencyIs(index)) : status_->pwAdjacencyDel(index);
   case AdjacencyType::mplsExternalFec:
      return adjacency ? report(status_->extFecAdjacencyIs(index)) : status_->extFecAdjacencyDel(index);
   case AdjacencyType::mplsMulticast:
      return adjacency ? report(status_->multicastAdjacencyIs(index)) : status_->multicastAdjacencyDel(index);
   default:
      return adjacency ? report(status_->adjacencyIs(index)) : status_->adjacencyDel(index);
   }
}

void HardwareReport::forgetAllBut(const ForwardingTable& table) {
   for (const auto& entry : status_->routeEach())
      if (!table.route(entry.key))
         status_->routeDel(entry.key);
   for (const Mpls::RouteInfo& row : rows_->unprogrammedRouteEach())
      if (!table.route(row.key()) || table.forward(row.key()))
         rows_->unprogrammedRouteDel(row.key());
   forget(table, AdjacencyType::mplsIp, status_->adjacencyEach(),
          [&](Vok::U64 index) { status_->adjacencyDel(index); });
   forget(table, AdjacencyType::mplsPseudowire, status_->pwAdjacencyEach(),
          [&](Vok::U64 index) { status_->pwAdjacencyDel(index); });
   forget(table, AdjacencyType::mplsExternalFec, status_->extFecAdjacencyEach(),
          [&](Vok::U64 index) { status_->extFecAdjacencyDel(index); });
   forget(table, AdjacencyType::mplsMulticast, status_->multicastAdjacencyEach(),
          [&](Vok::U64 index) { status_->multicastAdjacencyDel(index); });
   status_->l2AdjacencyDelAll();
}

void capabilityIs(Hardware::Capability& capability) {
   capability.mplsSupportedIs(true);
   capability.mplsStaticVrfLabelSupportedIs(true);
   capability.mplsMultiLabelLookupSupportedIs(true);
   capability.mplsLookupLabelMaxCountIs(Kinet::BoundedMplsLabelStack::maxLabels);
   capability.mplsMulticastSupportedIs(true);
}

} // namespace agent
