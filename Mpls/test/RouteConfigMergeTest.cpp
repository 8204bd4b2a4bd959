#include "Mpls/MplsRouteConfigMergeSm.h"
#include "Mpls/test/MergeFixture.h"
#include "Mpls/test/RouteKeys.h"

#include <map>
#include <random>
#include <set>

namespace Mpls {
namespace {

struct RouteMerge {
   using Sm = RouteConfigMergeSm;
   using Input = RouteConfigInput;
   using Output = RouteConfig;
   static constexpr const char* facility = "MplsRouteConfigMergeSm";
   static inline const std::string folder = "routing/mpls/route/input/dynamic";
   static constexpr auto factory = routeConfigMergeSmFactory;
   static constexpr auto mounterFactory = routeConfigMounterFactory;
   static constexpr auto inputFactory = routeConfigInputFactory;
   static constexpr auto outputFactory = routeConfigFactory;
   static constexpr auto entityTypes = mplsEntityTypes;
   static RouteKeyAndMetric key() { return routeKey(100); }
};

class RouteConfigMergeTest : public MergeFixture<RouteMerge> {};

TEST_F(RouteConfigMergeTest, sourcesAreFoundInTheDatabase) {
   const auto group = manager->mountGroup();
   group->doMount(RouteMerge::folder, "Vok::Dir", Hubdb::MountFilter::names());
   group->close(
       [&](Hubdb::MountStatus, Hubdb::EntityManager& em) { dir = em.get<Vok::Dir>(RouteMerge::folder); });
   const std::string path = RouteMerge::folder + "/a";
   manager->own<RouteConfigInput>(path)->routeIs(routeKey(100));
   settle();
   smIs();
   settle();
   EXPECT_TRUE(output->ready() && output->routeHas(routeKey(100)));
   manager->own<RouteConfigInput>(RouteMerge::folder + "/late")->routeIs(routeKey(101));
   settle();
   EXPECT_TRUE(output->routeHas(routeKey(101)));
   EXPECT_DEATH(manager->del(path), "unhandled config-input removal of entry a");
}

TEST_F(RouteConfigMergeTest, readinessComesOnceWhenAllMountsHave) {
   expectReadinessAfterAllMounts();
}

TEST_F(RouteConfigMergeTest, brokenRulesStopTheProcess) {
   cli->routeIs(routeKey(100));
   smIs();
   EXPECT_DEATH(smIs(),
                "assertion failed: !mergedConfig\\(\\)->routes\\(\\): merged config should not have any "
                "routes on startup");
   sm->sourceSet(routeKey(100))->sourceIs("cli", false);
   sm->sourceSet(routeKey(100))->sourceIs("nobody", true);
   EXPECT_DEATH(sm->setOutputForEntry(routeKey(100)), "assertion failed: activeEntry");
   expectStops();
}

TEST_F(RouteConfigMergeTest, aConflictIsWithheldAndSaysSo) {
   const Vok::Ptr<RouteConfigInput> a = sourceIs("a");
   smIs();
   settle();
   Vok::TraceCapture capture("MplsRouteConfigMergeSm/1");
   const Vok::Ptr<Route> route = a->routeIs(routeKey(100));
   cli->routeIs(routeKey(100));
   cli->routeIs(routeKey(100, 2));
   a->routeDel(routeKey(100));
   const std::string key = "TOP ( 100 ) BOTTOM [1]", other = "TOP ( 100 ) BOTTOM [2]";
   EXPECT_EQ(capture.lines(),
             (std::vector<std::string>{
                 "setOutputForEntry add merged config entry for " + key + " from source a",
                 "setOutputForEntry removed merge confict entry for " + key + " with source count 2",
                 "setOutputForEntry add merged config entry for " + other + " from source cli",
                 "setOutputForEntry add merged config entry for " + key + " from source cli"}));
   EXPECT_EQ(output->routes(), 2u);
}

TEST_F(RouteConfigMergeTest, aSourceTakenFromTheMachineLeavesItsRoutes) {
   smIs();
   EXPECT_TRUE(output->ready()); // nothing to wait for
   cli->routeIs(routeKey(100));
   sm->configDel("cli");
   cli->routeIs(routeKey(101));
   EXPECT_TRUE(output->routeHas(routeKey(100)) && !output->routeHas(routeKey(101)));
   sm = nullptr; // and its reactors
   cli->routeDelAll();
   EXPECT_TRUE(output->routeHas(routeKey(100)));
}

/// Whatever is given and taken in whatever order, mounts completing in between: the output is what a plain
/// map of sources says.
TEST_F(RouteConfigMergeTest, everyOrderOfEventsLeadsToTheSameResult) {
   std::mt19937 random(7);
   std::vector<Vok::Ptr<RouteConfigInput>> sources = {cli};
   std::map<RouteKeyAndMetric, std::set<std::size_t>> givenBy;
   smIs();
   for (int step = 0; step < 20000; ++step) {
      if (step % 4000 == 100)
         sources.push_back(sourceIs("source" + std::to_string(step)));
      if (random() % 16 == 0)
         settle();
      const std::size_t source = random() % sources.size();
      const RouteKeyAndMetric key = routeKey(random() % 12, 1 + random() % 2);
      if (random() % 2) {
         sources[source]->routeIs(key);
         givenBy[key].insert(source);
      } else {
         sources[source]->routeDel(key);
         givenBy[key].erase(source);
      }
      if (step % 64 != 0)
         continue;
      settle();
      std::size_t expected = 0, sets = 0;
      for (const auto& [merged, givers] : givenBy) {
         sets += !givers.empty();
         expected += givers.size() == 1;
         const auto route = givers.size() == 1 ? sources[*givers.begin()]->route(merged) : nullptr;
         ASSERT_EQ(output->route(merged), route) << merged.stringValue() << " at step " << step;
      }
      ASSERT_EQ(output->routes(), expected);
      ASSERT_EQ(sm->sourceSets(), sets);
   }
}

} // namespace
} // namespace Mpls
