#include "tools/mplsctl/sources/SourceRoutes.h"

#include "tools/config/RouteProducer.h"
#include "tools/mplsctl/lfib/RouteRows.h"

#include <algorithm>
#include <unordered_set>

namespace mplsctl {

namespace {

bool viaOf(const Mpls::LfibMplsVia& hop, Mpls::Via& via) {
   const Kinet::BoundedMplsLabelStack& labels = hop.labelStack().stack();
   if (labels.count() > 1)
      return false;
   via.nextHopIs(hop.nextHop());
   via.labelActionIs(hop.labelAction());
   via.outLabelIs(labels.topLabel());
   via.intfIs(hop.intf());
   via.payloadTypeIs(hop.payloadType());
   via.skipEgressAclIs(hop.skipEgressAcl());
   via.ttlModeIs(hop.ttlMode());
   via.weightIs(hop.weight());
   return true;
}

} // namespace

std::optional<SourceRoute> sourceRoute(const RouteFile& file, const FileRoute& route,
                                       const Mpls::RouteKey& key, std::string& why) {
   SourceRoute result{Mpls::RouteKeyAndMetric::fromKey(key, Mpls::RouteMetric(route.metric)), {}};
   for (const Mpls::LfibMplsVia& hop : file.hopsOf(route)) {
      if (!viaOf(hop, result.vias.emplace_back())) {
         why = "route with a next hop that imposes several labels: configuration holds one";
         return std::nullopt;
      }
   }
   return result;
}

bool isConfigured(const Mpls::RouteConfigInput& input, const SourceRoute& route) {
   const auto configured = input.route(route.key);
   return configured && !configured->dynamic() && configured->vias() == route.vias.size() &&
          std::ranges::all_of(route.vias, [&](const Mpls::Via& via) { return configured->viaHas(via); });
}

void configure(Mpls::RouteConfigInput& input, const SourceRoute& route) {
   const auto configured = input.routeIs(route.key);
   configured->dynamicIs(false);
   for (const Mpls::Via& via : route.vias)
      configured->viaIs(via);
   for (const Mpls::Via& via : configured->viaEach())
      if (std::ranges::find(route.vias, via) == route.vias.end())
         configured->viaDel(via);
}

SourcePlan::SourcePlan(RouteFile& file, const Mpls::RouteConfigInput& input) {
   std::unordered_set<Mpls::RouteKeyAndMetric, tools::HashOfKey> wished;
   std::string why;
   for (const FileRoute& route : file.routes) {
      std::optional<SourceRoute> wish = sourceRoute(file, route, keyOf(route), why);
      if (!wish) {
         addRemark(file.remarks, Remark::Kind::skipped, route.line, why);
         continue;
      }
      wished.insert(wish->key);
      if (isConfigured(input, *wish)) {
         ++unchanged;
         continue;
      }
      ++(input.routeHas(wish->key) ? changed : added);
      wanted_.push_back(std::move(*wish));
   }
   for (const auto& entry : input.routeEach()) {
      const Mpls::RouteKey& key = entry.key.routeKey();
      const bool bad = key.labelStack().count() == 1 &&
                       std::ranges::find(file.badLabels, key.topLabel().value()) != file.badLabels.end();
      if (!wished.contains(entry.key) && !bad)
         removed_.push_back(entry.key);
   }
}

void SourcePlan::apply(Mpls::RouteConfigInput& input) const {
   for (const SourceRoute& route : wanted_)
      configure(input, route);
   for (const Mpls::RouteKeyAndMetric& key : removed_)
      input.routeDel(key);
}

} // namespace mplsctl
