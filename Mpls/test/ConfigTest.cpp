#include "Mpls/Mpls.h"
#include "Vok/Errors.h"

#include <gtest/gtest.h>

namespace Mpls {
namespace {

RouteKeyAndMetric routeKey(Vok::U32 label, Vok::U32 metric = 1) {
   return RouteKeyAndMetric::fromLabel(Kinet::MplsLabel(label), RouteMetric(metric));
}

TEST(ConfigTest, defaultsAreThoseOfTheModel) {
   struct Case {
      const Vok::EntityType& type;
      std::string attributes;
   };
   const Case cases[] = {
       {Config::vokType(),
        "mplsRouting=False mplsRoutingDisabledIntf nexthopResolutionAllowDefaultRoute=False "
        "mplsLookupLabelCount=1 labelRange labelRangeDefault labelTerminationTtlMode=uniform "
        "labelPhpTtlMode=undefinedTtlMode"},
       {RoutingInfo::vokType(), "mplsRouting=False mplsRoutingDisabledIntf mplsLookupLabelCount=1 "
                                "labelTerminationTtlMode=uniform labelPhpTtlMode=uniform"},
       {Route::vokType(), "dynamic=False via"},
       {RouteConfig::vokType(), "ready=False route"},
       {Api::Status::vokType(),
        "labelBlockAllocation dynamicLabelRange=Value('Mpls::LabelRange', ** {'base': 0, 'size': 0}) "
        "commonLib dsMappingSourceColl"},
       {CliChurnTestHelper::vokType(), "flushCount=0"},
   };
   for (const Case& item : cases) {
      std::string attributes;
      for (const Vok::Attribute& attribute : item.type.attributes())
         attributes.append(attributes.empty() ? "" : " ")
             .append(attribute.name)
             .append(attribute.defaultText.empty() ? "" : "=" + attribute.defaultText);
      EXPECT_EQ(attributes, item.attributes) << item.type.name();
   }
   EXPECT_EQ(Vok::valueToStrep(CommonLibTableNames()), "");
   EXPECT_EQ(CommonLibTableNames(), CommonLibTableNames());
}

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
