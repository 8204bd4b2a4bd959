#include "Mpls/Mpls.h"
#include "Mpls/test/RouteKeys.h"
#include "Vok/Errors.h"

#include <gtest/gtest.h>

namespace Mpls {
namespace {

TEST(ConfigTest, dumpsItsSwitchesAndInterfaces) {
   const Vok::Ptr<Config> config = configFactory("config");
   EXPECT_EQ(config->dumpState(0), "mplsRouting: False\nnexthopResolutionAllowDefaultRoute: False\n"
                                   "mplsRoutingDisabledIntfs:\n");
   config->mplsRoutingIs(true);
   config->labelRangeIs("dynamic", LabelRangeInfo::dynamicDefaultRange());
   config->mplsRoutingDisabledIntfIs(Kinet::IntfId("Ethernet2"));
   config->mplsRoutingDisabledIntfIs(Kinet::IntfId("Ethernet1"));
   EXPECT_EQ(config->dumpState(1), " mplsRouting: True\n nexthopResolutionAllowDefaultRoute: False\n"
                                   " mplsRoutingDisabledIntfs:\n   Ethernet2   Ethernet1");
}

TEST(ConfigTest, mergedRoutesAreSharedAndNeverNull) {
   class Told final : public RouteConfig::Notifiee {
     public:
      using RouteConfig::Notifiee::Notifiee;
      void onRoute(const RouteKeyAndMetric&) override { ++count; }
      int count = 0;
   };
   const Vok::Ptr<RouteConfigInput> a = routeConfigInputFactory("a"), b = routeConfigInputFactory("b");
   const Vok::Ptr<RouteConfig> merged = routeConfigFactory("merged");
   Told told(merged);
   const Vok::Ptr<Route> route = a->routeIs(routeKey(100));
   EXPECT_EQ(a->routeIs(routeKey(100)), route);
   merged->routeIs(route);
   merged->routeIs(route);
   EXPECT_EQ(told.count, 1);
   merged->routeIs(b->routeIs(routeKey(100)));
   EXPECT_EQ(told.count, 2);
   EXPECT_EQ(merged->route(routeKey(100)), b->route(routeKey(100)));
   try {
      merged->routeIs(nullptr);
      ADD_FAILURE() << "null was taken";
   } catch (const Vok::RangeError& error) {
      EXPECT_STREQ(error.what(),
                   "null _route parameter to mutator for Mpls::RouteConfig::route not allowed\"");
   }
   EXPECT_EQ(merged->routes(), 1u);
}

} // namespace
} // namespace Mpls
