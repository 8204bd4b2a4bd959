#include "tools/mpls-agent/routes/LfibRoutes.h"

#include "tools/common/RouteRows.h"
#include "tools/mpls-agent/routes/IpLookupRoute.h"

#include "Vok/Observer.h"
#include "Vok/Trace.h"

#include <algorithm>

namespace agent {

using tools::config::isProduced;
using tools::config::LfibWish;
using tools::config::routeSource;
using tools::config::vrfLabelOf;

namespace {

constinit Vok::TraceFacility trace("LfibRoutes");

} // namespace

class LfibRoutes::RouteWatch final : public Vok::Observer<LfibRoutes::RouteWatch, Mpls::Route> {
  public:
   RouteWatch(LfibRoutes& owner, Vok::Ptr<Mpls::Route> route) : Observer(route), owner_(owner) {}
   const Mpls::Route& route() const { return static_cast<const Mpls::Route&>(*vokWatched()); }
   void onVia(const Mpls::Via&) override { owner_.changed(route().key().routeKey()); }

  private:
   LfibRoutes& owner_;
};

class LfibRoutes::RoutesWatch final : public Vok::Observer<LfibRoutes::RoutesWatch, Mpls::RouteConfig> {
  public:
   explicit RoutesWatch(LfibRoutes& owner) : Observer(owner.merge_.routes()), owner_(owner) {}
   void onRoute(const Mpls::RouteKeyAndMetric& key) override {
      owner_.watch(key);
      owner_.changed(key.routeKey());
   }

  private:
   LfibRoutes& owner_;
};

class LfibRoutes::VrfLabelsWatch final
    : public Vok::Observer<LfibRoutes::VrfLabelsWatch, Mpls::VrfLabelConfig> {
  public:
   explicit VrfLabelsWatch(LfibRoutes& owner) : Observer(owner.merge_.vrfLabels()), owner_(owner) {}
   void onVrfLabel(Kinet::MplsLabel label) override { owner_.changed(Mpls::RouteKey::fromLabel(label)); }

  private:
   LfibRoutes& owner_;
};

LfibRoutes::LfibRoutes(Vok::Activity& activity, const tools::config::Merge& merge, tools::Lfib& lfib)
    : merge_(merge), lfib_(lfib), writer_(Mpls::lfibWriterFactory(lfib.status())),
      routesWatch_(std::make_unique<RoutesWatch>(*this)),
      vrfLabelsWatch_(std::make_unique<VrfLabelsWatch>(*this)) {
   converge();
   turnEnd_ = activity.atTurnEnd([this] { turnEnd(); });
}

LfibRoutes::~LfibRoutes() = default;

/// Watches the merged route that now stands under the key, instead of the one that did.
void LfibRoutes::watch(const Mpls::RouteKeyAndMetric& key) {
   Routes& routes = routes_[key.routeKey()];
   const auto metricOf = [](const std::unique_ptr<RouteWatch>& watch) {
      return watch->route().key().metric();
   };
   auto at = std::ranges::lower_bound(routes, key.metric(), {}, metricOf);
   if (at != routes.end() && metricOf(*at) == key.metric())
      at = routes.erase(at);
   if (const Vok::Ptr<Mpls::Route> route = merge_.routes()->route(key))
      routes.insert(at, std::make_unique<RouteWatch>(*this, route));
   if (routes.empty())
      routes_.erase(key.routeKey());
}

void LfibRoutes::converge() {
   writer_->orphanDelAll();
   for (const auto& entry : merge_.routes()->routeEach())
      watch(entry.key);
   for (const auto& [key, routes] : routes_)
      settle(key);
   for (const auto& entry : merge_.vrfLabels()->vrfLabelEach())
      settle(Mpls::RouteKey::fromLabel(entry.key));
   Vok::U32 removed = 0;
   for (const Mpls::LfibRoute& row : lfib_.status()->lfibRouteEach()) {
      if (!isProduced(row.source()) || routes_.contains(row.key()) ||
          !!vrfLabelOf(*merge_.vrfLabels(), row.key()))
         continue;
      writer_->lfibRouteDel(row.key());
      ++removed;
   }
   lfib_.publish();
   if (auto line = trace.at(1))
      line << "converged: " << routes_.size() << " label stacks, " << merge_.vrfLabels()->vrfLabels()
           << " VRF labels; " << removed << " routes of an earlier run removed";
}

void LfibRoutes::turnEnd() {
   if (changed_.empty())
      return;
   for (const Mpls::RouteKey& key : changed_)
      settle(key);
   changed_.clear();
   lfib_.publish();
}

void LfibRoutes::settle(const Mpls::RouteKey& key) {
   const auto routes = routes_.find(key);
   const Mpls::Route* lowest = routes == routes_.end() ? nullptr : &routes->second.front()->route();
   produce(key, lowest, vrfLabelOf(*merge_.vrfLabels(), key), wish_);
   for (const std::string& what : wish_.unwritten)
      if (auto line = trace.at(1))
         line << "not written of " << key << ": " << what;
   if (wish_.vrfLabelWins)
      if (auto line = trace.at(1))
         line << "the route of " << key << " gives way to the VRF label";
   const Mpls::LfibRoute row = lfib_.status()->lfibRoute(key);
   if (!row || isProduced(row.source()))
      return write(key, row);
   if (auto line = trace.at(1))
      line << "label stack " << key << " is held in the tables by " << stringValue(row.source());
}

/// `row` is what stands in the tables, if anything.
void LfibRoutes::write(const Mpls::RouteKey& key, const Mpls::LfibRoute& row) {
   const Mpls::LfibStatus& tables = *lfib_.status();
   switch (wish_.kind) {
   case LfibWish::Kind::none:
      writer_->lfibRouteDel(key);
      break;
   case LfibWish::Kind::mpls:
      if (!row || !tools::isPublished(tables, row, routeSource, wish_.route.metric(), wish_.route.mplsVias(),
                                      [&](const auto& via) { return wish_.route.mplsViaHas(via); }))
         writer_->lfibRouteIs(wish_.route);
      break;
   case LfibWish::Kind::ipLookup:
      if (!row || !isIpLookupPublished(tables, row, wish_.vrfName))
         ipLookupRouteIs(*writer_, key, wish_.vrfName);
      break;
   }
}

} // namespace agent
