#include "tools/config/RouteProducer.h"

#include <fmt/core.h>

namespace tools::config {

using Kinet::MplsLabelAction;

namespace {

constexpr Vok::U32 implicitNull = 3;
constexpr Vok::U32 hopLimit = Mpls::LfibViaIndexRange::range;

void produceRoute(const Mpls::RouteKey& key, const Mpls::Route& route, LfibWish& wish) {
   wish.route.keyIs(key);
   wish.route.sourceIs(routeSource);
   wish.route.metricIs(route.key().metric());
   wish.route.viaTypeIs(Mpls::LfibMplsVia::viaType);
   wish.route.viaSetTypeIs(Mpls::LfibViaSetType::unicast);
   wish.route.mplsViaDelAll();
   Mpls::LfibMplsVia row;
   std::string why;
   Vok::U32 beyond = 0;
   for (const Mpls::Via& via : route.viaEach()) {
      if (!produceVia(via, row, why))
         wish.unwritten.push_back(why);
      else if (wish.route.mplsVias() == hopLimit)
         ++beyond;
      else
         wish.route.mplsViaIs(row);
   }
   if (beyond > 0)
      wish.unwritten.push_back(fmt::format("{} next hops beyond the {} of a via set", beyond, hopLimit));
   if (wish.route.mplsVias() > 0)
      wish.kind = LfibWish::Kind::mpls;
   else
      wish.unwritten.push_back("no next hop that the tables can hold");
}

} // namespace

bool LfibWish::operator==(const LfibWish& other) const {
   return kind == other.kind && (kind != Kind::mpls || route == other.route) &&
          (kind != Kind::ipLookup || vrfName == other.vrfName);
}

bool produceVia(const Mpls::Via& via, Mpls::LfibMplsVia& row, std::string& why) {
   if (!via.nexthopGroup().empty()) {
      why = fmt::format("next-hop group '{}': the tables hold next hops alone", via.nexthopGroup());
      return false;
   }
   MplsLabelAction action = via.labelAction();
   Kinet::MplsLabelOperation labels;
   if (action == MplsLabelAction::swap || action == MplsLabelAction::push) {
      const Vok::U32 label = via.outLabel().value();
      if (label > Kinet::MplsLabel::max) {
         why = fmt::format("next hop {} {} is to impose a label, and names none", via.nextHop().stringValue(),
                           via.intf().name());
         return false;
      }
      if (label == implicitNull)
         action = MplsLabelAction::pop;
      else
         labels = Kinet::MplsLabelOperation(via.outLabel());
   }
   row.nextHopIs(via.nextHop());
   row.labelActionIs(action);
   row.labelStackIs(labels);
   row.intfIs(via.intf());
   row.payloadTypeIs(via.payloadType());
   row.skipEgressAclIs(via.skipEgressAcl());
   row.ttlModeIs(via.ttlMode());
   row.weightIs(via.weight() > 0 ? via.weight() : 1);
   return true;
}

void produce(const Mpls::RouteKey& key, const Mpls::Route* route, const Mpls::VrfLabel& vrfLabel,
             LfibWish& wish) {
   wish.kind = LfibWish::Kind::none;
   wish.unwritten.clear();
   wish.vrfLabelWins = route && !!vrfLabel;
   if (!!vrfLabel) {
      wish.kind = LfibWish::Kind::ipLookup;
      wish.vrfName = vrfLabel.vrfName();
   } else if (route) {
      produceRoute(key, *route, wish);
   }
}

LowestRoutes lowestRoutes(const Mpls::RouteConfig& config) {
   LowestRoutes routes;
   routes.reserve(config.routes());
   for (const auto& entry : config.routeEach()) {
      const Mpls::Route*& lowest = routes[entry.key.routeKey()];
      if (!lowest || entry.key.metric() < lowest->key().metric())
         lowest = entry.value.get();
   }
   return routes;
}

} // namespace tools::config
