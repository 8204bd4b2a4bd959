#include "tools/mplsctl/verbs/RouteText.h"

#include "tools/mplsctl/formats/Words.h"

#include <fmt/format.h>

namespace mplsctl {

namespace {

constexpr Vok::U32 implicitNull = 3;

void appendNumber(std::string& text, Vok::U64 number) {
   const fmt::format_int digits(number);
   text.append(digits.data(), digits.size());
}

void appendLabel(std::string& text, Kinet::MplsLabel label) {
   if (const std::string_view name = labelName(label.value()); !name.empty())
      text += name;
   else
      appendNumber(text, label.value());
}

void popsOrNothing(Hop& hop, Kinet::MplsLabelAction action) {
   hop.pops = action == Kinet::MplsLabelAction::pop;
   hop.outbound = hop.pops ? labelName(implicitNull) : "-";
}

void fill(const Mpls::LfibMplsVia& via, Hop& hop) {
   if (!!via.nextHop())
      hop.nexthop = via.nextHop().stringValue();
   hop.interface = via.intf().name();
   hop.labels = via.labelStack().stack();
   hop.weight = via.weight();
   if (hop.labels.empty())
      popsOrNothing(hop, via.labelAction());
   else
      appendLabels(hop.outbound, hop.labels);
}

void fill(const Mpls::LfibPwVia& via, Hop& hop) {
   hop.nexthop = "pseudowire";
   hop.interface = via.pwIntfId().name();
   popsOrNothing(hop, Kinet::MplsLabelAction::pop);
}

void fill(const Mpls::LfibIpLookupVia& via, Hop& hop) {
   const std::string vrf = via.vrfName().text();
   hop.nexthop = "vrf " + (vrf.empty() ? "default" : vrf);
   popsOrNothing(hop, Kinet::MplsLabelAction::pop);
}

void fill(const Mpls::LfibExtFecVia& via, Hop& hop) {
   hop.nexthop = "fec ";
   appendNumber(hop.nexthop, via.fecId().value());
   popsOrNothing(hop, via.labelAction());
}

void fill(const Mpls::LfibEvpnEthernetSegmentFilterVia& via, Hop& hop) {
   hop.nexthop = "ethernet-segment";
   hop.interface = via.intfId().name();
   popsOrNothing(hop, Kinet::MplsLabelAction::pop);
}

/// The vias that lead into a bridge: to one VLAN, or to those that the frame's tag maps to.
template <class Row>
void fill(const Row& via, Hop& hop) {
   using enum Mpls::LfibViaType;
   if constexpr (Row::viaType == viaTypeEvpnVlanFlood || Row::viaType == viaTypeEvpnVlanAwareFlood)
      hop.nexthop = "flood ";
   if constexpr (requires { via.vlanId(); }) {
      hop.nexthop += "vlan ";
      appendNumber(hop.nexthop, via.vlanId().value());
   } else {
      hop.nexthop += "vlan-map ";
      appendNumber(hop.nexthop, via.dot1qTagToVlanKey().index());
   }
   popsOrNothing(hop, Kinet::MplsLabelAction::pop);
}

void writeHop(tools::Json& json, const Mpls::LfibRoute& route, const Hop& hop) {
   json.object().field("type", routeType(route.source()));
   if (!hop.labels.empty())
      json.field("outLabel", hop.labels.topLabel().value());
   else if (hop.pops)
      json.field("outLabel", implicitNull);
   if (hop.labels.count() > 1) {
      json.key("outLabelStack").array();
      for (unsigned slot = hop.labels.count(); slot-- > 0;)
         json.value(hop.labels.label(Kinet::MplsStackEntryIndex(slot)).value());
      json.end();
   }
   json.field("installed", true);
   if (!hop.nexthop.empty())
      json.field("nexthop", hop.nexthop);
   if (!hop.interface.empty())
      json.field("interface", hop.interface);
   if (hop.weight != 1)
      json.field("weight", hop.weight);
   json.end();
}

} // namespace

std::string_view Hop::towards() const {
   return !nexthop.empty() ? nexthop : !interface.empty() ? std::string_view(interface) : "-";
}

void describe(const ViaRow& via, Hop& hop) {
   hop.nexthop.clear();
   hop.interface.clear();
   hop.outbound.clear();
   hop.labels = {};
   hop.pops = false;
   hop.weight = 1;
   std::visit([&](const auto& row) { fill(row, hop); }, via);
}

void appendLabels(std::string& text, const Kinet::BoundedMplsLabelStack& stack) {
   for (unsigned slot = stack.count(); slot-- > 0;) {
      appendLabel(text, stack.label(Kinet::MplsStackEntryIndex(slot)));
      if (slot > 0)
         text += '/';
   }
}

std::string labelText(const Mpls::RouteKey& key) {
   std::string text;
   appendLabels(text, key.labelStack());
   return text;
}

std::string keyText(const Mpls::LfibViaKey& key) {
   return fmt::format("{}/{}/{}", stringValue(key.source()), stringValue(key.viaType()), key.index());
}

std::string keyText(const Mpls::LfibViaSetKey& key) {
   return fmt::format("{}/{}/{}/{}", stringValue(key.source()), stringValue(key.viaType()),
                      stringValue(key.viaSetType()), key.index());
}

void writeRoute(tools::Json& json, const Chain& chain) {
   Hop hop;
   const Mpls::RouteKey& key = chain.route.key();
   json.object().field("inLabel", key.topLabel().value());
   if (key.labelStack().count() > 1) {
      json.key("inLabelStack").array();
      for (unsigned slot = key.labelStack().count(); slot-- > 0;)
         json.value(key.labelStack().label(Kinet::MplsStackEntryIndex(slot)).value());
      json.end();
   }
   json.field("installed", chain.isWhole()).key("nexthops").array();
   for (const Chain::Link& link : chain.vias) {
      if (!link.row)
         continue;
      describe(*link.row, hop);
      writeHop(json, chain.route, hop);
   }
   json.end().end();
}

} // namespace mplsctl
