// Readable forms and helpers of the value types, and the dumps of the entities.
#include "Mpls/Mpls.h"

#include "Mpls/MplsTypes.h"
#include "Vok/Assert.h"

namespace Mpls {

namespace {

using Vok::String;

String number(Vok::U64 value) {
   return std::to_string(value);
}

} // namespace

String Via::stringValue() const {
   String text = "nextHop: " + nextHop_.stringValue();
   text += ", nexthopGroup: " + nexthopGroup_;
   text += ", labelAction: " + Vok::stringValue(labelAction_);
   text += ", outLabel: " + Vok::stringValue(outLabel_);
   text += ", intf: " + intf_.stringValue();
   text += ", payloadType: " + Vok::stringValue(payloadType_);
   text += ", skipEgressAcl: " + number(skipEgressAcl_);
   text += ", ttlMode:" + Vok::stringValue(ttlMode_); // no blank: clients match on it
   text += ", weight: " + number(weight_);
   return text;
}

String ViaSet::dumpState(Vok::U32 indent) const {
   String text;
   for (const auto& [via, count] : via_) {
      text.append(indent, ' ').append(via.stringValue());
      text.append(", count: ").append(std::to_string(count)).append("\n");
   }
   return text;
}

String PwVia::stringValue() const {
   return "pwIntfId: " + pwIntfId_.stringValue() + ", controlWordPresent: " + number(controlWordPresent_) +
          ", pwType: " + Vok::stringValue(pwType_);
}

// Route keys.

Kinet::MplsLabel RouteKey::topLabel() const {
   const Vok::U8 count = labelStack_.count();
   return count == 0 ? Kinet::MplsLabel() : labelStack_.label(Kinet::MplsStackEntryIndex(count - 1));
}

RouteKey RouteKey::fromLabel(Kinet::MplsLabel label) {
   return RouteKey(Kinet::BoundedMplsLabelStack(label));
}

std::strong_ordering RouteKey::operator<=>(const RouteKey& other) const {
   if (const auto order = labelStack_.count() <=> other.labelStack_.count(); order != 0)
      return order;
   for (int slot = labelStack_.count() - 1; slot >= 0; --slot) {
      const Kinet::MplsStackEntryIndex index(slot);
      if (const auto order = labelStack_.label(index) <=> other.labelStack_.label(index); order != 0)
         return order;
   }
   return std::strong_ordering::equal;
}

Vok::U32 RouteKey::hash() const {
   Vok::Hash mixed;
   if (labelStack_.count() == 0) {
      mixed.mix(Vok::U32(0));
      return mixed.result();
   }
   Vok::U32 h = 0;
   for (Vok::U8 slot = 0; slot < labelStack_.count(); ++slot) {
      const Vok::U32 label = labelStack_.label(Kinet::MplsStackEntryIndex(slot)).value();
      for (int shift = 0; shift < 32; shift += 8) {
         h += label >> shift & 0xff;
         h += h << 10;
         h ^= h >> 6;
      }
   }
   h += h << 3;
   h ^= h >> 11;
   h += h << 15;
   mixed.mix(h);
   return mixed.result();
}

String RouteKey::stringValue() const {
   String text = "TOP ( ";
   for (int slot = labelStack_.count() - 1; slot >= 0; --slot)
      text += Vok::stringValue(labelStack_.label(Kinet::MplsStackEntryIndex(slot))) + " ";
   return text + ") BOTTOM";
}

Kinet::MplsLabel RouteKeyAndMetric::topLabel() const {
   return routeKey_.topLabel();
}

RouteKeyAndMetric RouteKeyAndMetric::fromKey(const RouteKey& routeKey, RouteMetric metric) {
   return RouteKeyAndMetric(routeKey, metric);
}

RouteKeyAndMetric RouteKeyAndMetric::fromLabel(Kinet::MplsLabel label, RouteMetric metric) {
   return RouteKeyAndMetric(RouteKey::fromLabel(label), metric);
}

RouteKeyAndMetric RouteKeyAndMetric::fromLabelStack(const Kinet::BoundedMplsLabelStack& stack,
                                                    RouteMetric metric) {
   return RouteKeyAndMetric(RouteKey(stack), metric);
}

String RouteKeyAndMetric::stringValue() const {
   return routeKey_.stringValue() + " [" + Vok::stringValue(metric_) + "]";
}

// The LFIB as entities.

namespace LFib {

namespace {

/// What the readable forms of both kinds of route end with.
String routeTail(const AdjacencyKey& adjKey, Source source, const FwdEqvClass& fec) {
   return "adjKey: (index: " + number(adjKey.index()) + ", type: " + Vok::stringValue(adjKey.adjType()) +
          "), source: " + Vok::stringValue(source) + ", fec: " + fec.stringValue();
}

} // namespace

String Route::stringValue() const {
   return "labelStack: " + routeKey_.stringValue() + ", metric: " + Vok::stringValue(metric_) + ", " +
          routeTail(adjKey_, source_, fec_);
}

String ProtocolRoute::stringValue() const {
   return "labelStack: " + routeKey_.stringValue() + ", " + routeTail(adjKey_, source_, fec_);
}

AdjacencyType AdjacencyBase::adjType() const {
   return AdjacencyType::mplsUnknown;
}
AdjacencyType Adjacency::adjType() const {
   return AdjacencyType::mplsIp;
}
AdjacencyType PwAdjacency::adjType() const {
   return AdjacencyType::mplsPseudowire;
}
AdjacencyType ExtFecAdjacency::adjType() const {
   return AdjacencyType::mplsExternalFec;
}
AdjacencyType MulticastAdjacency::adjType() const {
   return AdjacencyType::mplsMulticast;
}

String ExtFecAdjacency::stringValue() const {
   return "index: " + number(index()) + ", fecId: " + Vok::valueToStrep(fecId()) +
          ", labelAction: " + Vok::stringValue(labelAction()) +
          ", payloadType: " + Vok::stringValue(payloadType()) + ", adjType: " + Vok::stringValue(adjType());
}

} // namespace LFib

Vok::Ptr<LFib::AdjacencyBase> LfibBase::getAdjacencyBase(const AdjacencyKey& adjKey) const {
   switch (adjKey.adjType()) {
   case AdjacencyType::mplsIp:
      return lfibAdjacency(adjKey.index());
   case AdjacencyType::mplsPseudowire:
      return lfibPwAdjacency(adjKey.index());
   case AdjacencyType::mplsExternalFec:
      return lfibExtFecAdjacency(adjKey.index());
   case AdjacencyType::mplsMulticast:
      return lfibMulticastAdjacency(adjKey.index());
   default:
      vokAssert(0 && "Invalid adjType: mplsUnknown");
      return nullptr;
   }
}

Vok::Ptr<LFib::Adjacency> LfibBase::getAdjacency(const AdjacencyKey& adjKey) const {
   vokAssert(adjKey.adjType() == mplsIp_);
   return lfibAdjacency(adjKey.index());
}

Vok::Ptr<LFib::PwAdjacency> LfibBase::getPwAdjacency(const AdjacencyKey& adjKey) const {
   vokAssert(adjKey.adjType() == mplsPseudowire_);
   return lfibPwAdjacency(adjKey.index());
}

Vok::Ptr<LFib::ExtFecAdjacency> LfibBase::getExtFecAdjacency(const AdjacencyKey& adjKey) const {
   vokAssert(adjKey.adjType() == mplsExternalFec_);
   return lfibExtFecAdjacency(adjKey.index());
}

Vok::Ptr<LFib::MulticastAdjacency> LfibBase::getMulticastAdjacency(const AdjacencyKey& adjKey) const {
   vokAssert(adjKey.adjType() == mplsMulticast_);
   return lfibMulticastAdjacency(adjKey.index());
}

// The text dump. Multicast adjacencies and agentEnabled are no part of it.

namespace {

/// One line at an indent.
void line(String& out, Vok::U32 indent, const String& text) {
   out.append(indent, ' ').append(text).append("\n");
}

void lineOfDefaultRoute(String& out, Vok::U32 indent, bool allowed) {
   line(out, indent,
        allowed ? "nexthopResolutionAllowDefaultRoute: True" : "nexthopResolutionAllowDefaultRoute: False");
}

String indexAndType(const LFib::AdjacencyBase& adjacency) {
   return "index: " + number(adjacency.index()) + ", adjType: " + Vok::stringValue(adjacency.adjType());
}

} // namespace

String LfibBase::dumpState(Vok::U32 indent) const {
   String text;
   lineOfDefaultRoute(text, indent, nexthopResolutionAllowDefaultRoute());
   line(text, indent, "lfibAdjacencies #" + number(lfibAdjacencys()));
   for (const auto& entry : lfibAdjacencyEach()) {
      line(text, indent + 2, indexAndType(*entry.value));
      line(text, indent + 2, "viaSet:");
      text += entry.value->viaSet().dumpState(indent + 4);
   }
   line(text, indent, "");
   line(text, indent, "lfibPwAdjacencies #" + number(lfibPwAdjacencys()));
   for (const auto& entry : lfibPwAdjacencyEach()) {
      line(text, indent + 2, indexAndType(*entry.value));
      line(text, indent + 2, "via: " + entry.value->via().stringValue());
   }
   line(text, indent, "");
   line(text, indent, "lfibExtFecAdjacencies #" + number(lfibExtFecAdjacencys()));
   for (const auto& entry : lfibExtFecAdjacencyEach())
      line(text, indent + 2, entry.value->stringValue());
   line(text, indent, "");
   return text;
}

namespace {

/// The routes of either view, which follow its adjacencies.
template <class Lfib>
void dumpRoutes(String& text, Vok::U32 indent, const Lfib& lfib) {
   line(text, indent, "lfibRoutes #" + number(lfib.lfibRoutes()));
   for (const auto& entry : lfib.lfibRouteEach())
      line(text, indent + 2, entry.value.stringValue());
   line(text, indent, "");
}

} // namespace

String Status::dumpState(Vok::U32 indent) const {
   String text = LfibBase::dumpState(indent);
   dumpRoutes(text, indent, *this);
   return text;
}

String ProtocolLfib::dumpState(Vok::U32 indent) const {
   String text = LfibBase::dumpState(indent);
   dumpRoutes(text, indent, *this);
   return text;
}

// The configuration.

String Config::dumpState(Vok::U32 indent) const {
   String text;
   line(text, indent, mplsRouting() ? "mplsRouting: True" : "mplsRouting: False");
   lineOfDefaultRoute(text, indent, nexthopResolutionAllowDefaultRoute());
   line(text, indent, "mplsRoutingDisabledIntfs:");
   for (const Kinet::IntfId& intf : mplsRoutingDisabledIntfEach())
      text.append(indent + 2, ' ').append(intf.stringValue());
   return text;
}

} // namespace Mpls
