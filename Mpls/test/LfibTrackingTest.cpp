#include "Mpls/LfibTrackingSm.h"
#include "Mpls/test/ReadingFixture.h"
#include "Pooltab/test/TestTables.h"
#include "Vok/Trace.h"

#include <map>
#include <sys/wait.h>

namespace Mpls {
namespace {

template <class From, class To>
using Links = std::map<From, std::set<To>>;

/// What the tables say of themselves: the maps, and what leads to what.
struct Graph {
   explicit Graph(const LfibStatus& lfib) {
      for (const LfibRoute& route : lfib.lfibRouteEach()) {
         viaSetOf[route.key()] = route.viaSetKey();
         routes[route.viaSetKey()].insert(route.key());
      }
      for (const LfibViaSet& viaSet : lfib.viaSetEach())
         for (const auto [slot, viaKey] : viaSet.viaKeyEach()) {
            vias[viaSet.key()].insert(viaKey);
            viaSets[viaKey].insert(viaSet.key());
         }
   }
   std::map<RouteKey, LfibViaSetKey> viaSetOf;
   Links<LfibViaSetKey, RouteKey> routes;
   Links<LfibViaSetKey, LfibViaKey> vias;
   Links<LfibViaKey, LfibViaSetKey> viaSets;
};

/// A machine, and a plain model of its backlogs.
struct Tracked {
   Tracked(const Vok::Ptr<LfibStatus>& lfib, Vok::U32 mode)
       : sm(lfibTrackingSmFactory(lfib, status, LfibTrackingMode(mode), "test")) {
      const Graph graph(*lfib);
      for (const auto& [key, viaSetKey] : graph.viaSetOf)
         routes.insert(key);
      for (const LfibViaSet& viaSet : lfib->viaSetEach())
         viaSets.insert(viaSet.key());
   }
   void viaSetChanged(const Graph& graph, const LfibViaSetKey& key) {
      viaSets.insert(key);
      if (const auto users = graph.routes.find(key); users != graph.routes.end())
         routes.insert(users->second.begin(), users->second.end());
   }
   void viaChanged(const Graph& graph, const LfibViaKey& key) {
      if (const auto users = graph.viaSets.find(key); users != graph.viaSets.end())
         for (const LfibViaSetKey& viaSet : users->second)
            viaSetChanged(graph, viaSet);
   }
   void drain() {
      status->routeKeyBacklogDelAll();
      status->viaSetKeyBacklogDelAll();
      routes.clear();
      viaSets.clear();
   }
   template <class Key, class Each>
   static std::set<Key> keys(const Each& each) {
      std::set<Key> found;
      for (const auto& key : each)
         found.insert(key);
      return found;
   }
   void check(const Graph& graph) const {
      std::map<RouteKey, LfibViaSetKey> viaSetOf;
      for (const auto& [key, viaSetKey] : sm->routeKeyToViaSetKeyEach())
         viaSetOf[key] = viaSetKey;
      EXPECT_EQ(viaSetOf, graph.viaSetOf);
      Graph found(*lfibStatusFactory("empty"));
      for (const auto& [key, set] : status->viaSetKeyToRouteKeySetEach())
         found.routes[key] = keys<RouteKey>(set->routeKeyEach());
      for (const auto& [key, set] : sm->viaSetKeyToViaKeySetEach())
         found.vias[key] = keys<LfibViaKey>(set->viaKeyEach());
      for (const auto& [key, set] : sm->viaKeyToViaSetKeySetEach())
         found.viaSets[key] = keys<LfibViaSetKey>(set->viaSetKeyEach());
      EXPECT_EQ(found.routes, graph.routes);
      EXPECT_EQ(found.vias, graph.vias);
      EXPECT_EQ(found.viaSets, graph.viaSets);
      const bool byRoute = sm->trackingMode().backlogRoutes(), byViaSet = sm->trackingMode().backlogViaSets();
      EXPECT_EQ(keys<RouteKey>(status->routeKeyBacklogEach()), byRoute ? routes : std::set<RouteKey>());
      EXPECT_EQ(keys<LfibViaSetKey>(status->viaSetKeyBacklogEach()),
                byViaSet ? viaSets : std::set<LfibViaSetKey>());
   }

   Vok::Ptr<LfibTrackingStatus> status = lfibTrackingStatusFactory("status");
   Vok::Ptr<LfibTrackingSm> sm;
   std::set<RouteKey> routes;
   std::set<LfibViaSetKey> viaSets;
};

class LfibTrackingTest : public ReadingFixture {
  protected:
   static LfibViaType typeOf(Vok::U32 number) {
      return number % 2 != 0 ? viaTypeMplsPseudowire_ : viaTypeMplsIp_;
   }
   static LfibViaKey viaKey(Vok::U32 number) {
      return LfibViaKey(LFib::Source::lfibSourceLdp, typeOf(number), number);
   }
   static LfibViaSetKey viaSetKey(Vok::U32 number) {
      return LfibViaSetKey(LFib::Source::lfibSourceLdp, number, typeOf(number), LfibViaSetType::unicast);
   }
   void route(Vok::U32 label, Vok::U32 viaSet) const {
      lfib->lfibRouteIs(LfibRoute(labelKey(label), viaSetKey(viaSet), LFib::Source::lfibSourceLdp,
                                  FwdEqvClass(), RouteMetric(random_++ % 200 + 1)));
   }
   void viaSet(Vok::U32 number, const std::vector<Vok::U32>& vias) const {
      LfibViaSet row;
      row.keyIs(viaSetKey(number));
      for (Vok::U32 slot = 0; slot < vias.size(); ++slot)
         row.viaKeyIs(LfibViaIndexRange(slot), viaKey(vias[slot]));
      lfib->viaSetIs(row);
   }
   void via(Vok::U32 number) const {
      LfibMplsVia mpls = mplsVia(number);
      mpls.keyIs(viaKey(number));
      LfibPwVia pw = pwVia(number);
      pw.keyIs(viaKey(number));
      number % 2 != 0 ? lfib->pwViaIs(pw) : lfib->mplsViaIs(mpls);
   }
   mutable Vok::U32 random_ = 0;
};

TEST_F(LfibTrackingTest, mapsAndBacklogsEqualAPlainModel) {
   std::vector<Tracked> tracked;
   for (Vok::U32 mode = 0; mode < 4; ++mode)
      tracked.emplace_back(seen, mode);
   const auto all = [&](auto act) { std::ranges::for_each(tracked, act); };
   for (int step = 0; step < 4000; ++step) {
      const Vok::U32 label = 16 + random() % 12, set = 2 + random() % 6, via1 = set % 2 + 2 * (random() % 5);
      switch (random() % 8) {
      case 0:
      case 1:
         route(label, set);
         deliver();
         all([&](Tracked& each) { each.routes.insert(labelKey(label)); });
         break;
      case 2:
         if (lfib->lfibRouteHas(labelKey(label)))
            all([&](Tracked& each) { each.routes.insert(labelKey(label)); });
         lfib->lfibRouteDel(labelKey(label));
         break;
      case 3:
      case 4:
         random() % 4 != 0 ? viaSet(set, {via1, (via1 + 2) % 10}) : viaSet(set, {});
         all([&](Tracked& each) { each.viaSetChanged(Graph(*lfib), viaSetKey(set)); });
         break;
      case 5:
         if (lfib->viaSetHas(viaSetKey(set)))
            all([&](Tracked& each) { each.viaSetChanged(Graph(*lfib), viaSetKey(set)); });
         lfib->viaSetDel(viaSetKey(set));
         break;
      case 6:
         via(via1);
         if (via1 % 2 != 0)
            all([&](Tracked& each) { each.viaChanged(Graph(*lfib), viaKey(via1)); });
         break;
      default:
         Tracked& one = tracked[random() % 4];
         if (random() % 4 != 0)
            one.drain();
         else
            one = Tracked(seen, one.sm->trackingMode().value());
      }
      deliver();
      const Graph graph(*lfib);
      all([&](const Tracked& each) { each.check(graph); });
      ASSERT_FALSE(HasFailure()) << "step " << step;
   }
}

TEST_F(LfibTrackingTest, whatWentUnseenIsSettledOnceItIsKnown) {
   for (Vok::U32 number = 2; number < 22; ++number) {
      via(number);
      viaSet(number, {number});
      route(number, number);
   }
   deliver();
   Tracked tracked(seen, 3);
   const auto before = tracked.routes;
   tracked.status->routeKeyBacklogDelAll();
   for (Vok::U32 number = 2; number < 12; ++number) {
      lfib->lfibRouteDel(labelKey(number));
      lfib->viaSetDel(viaSetKey(number));
   }
   deliver(); // the log keeps 16 changes
   EXPECT_EQ(tracked.routes, before);
   tracked.check(Graph(*lfib));
}

TEST_F(LfibTrackingTest, tracesAndAssertionsAreItsInterface) {
   route(16, 2);
   deliver();
   Tracked tracked(seen, 3);
   const Vok::TraceCapture capture("LfibTrackingSm/8");
   tracked.sm->handleLfibRoute(labelKey(16));
   tracked.sm->handleViaSet(viaSetKey(2));
   tracked.sm->handleVia(viaKey(3));
   EXPECT_EQ(capture.lines(),
             (std::vector<std::string>{"[test] handleLfibRoute routeKey " + labelKey(16).stringValue(),
                                       "[test] handleViaSet viaSetKey " + Vok::valueToStrep(viaSetKey(2)),
                                       "[test] handleVia viaKey " + Vok::valueToStrep(viaKey(3))}));
   const auto again = [&] { lfibTrackingSmFactory(seen, tracked.status, LfibTrackingMode(), "again"); };
   EXPECT_DEATH(again(), "assertion failed: !lfibTrackingStatus\\(\\)->routeKeyBacklogs\\(\\)");
   tracked.status->routeKeyBacklogDelAll();
   EXPECT_DEATH(again(), "assertion failed: !lfibTrackingStatus\\(\\)->viaSetKeyBacklogs\\(\\)");
   tracked.status->viaSetKeyBacklogDelAll();
   EXPECT_DEATH(again(), "assertion failed: !lfibTrackingStatus\\(\\)->viaSetKeyToRouteKeySets\\(\\)");
   viaSet(2, {4});
   deliver();
   tracked.sm->viaKeyToViaSetKeySetDelAll();
   EXPECT_DEATH(tracked.sm->handleViaSet(viaSetKey(2)), "assertion failed: !!viaToViaSetMap");
   tracked.status->viaSetKeyToRouteKeySetDelAll();
   EXPECT_DEATH(tracked.sm->handleLfibRoute(labelKey(16)), "assertion failed: !!viaSetToRouteMap");
   tracked.sm->initializedIs(false);
   tracked.sm->handleViaSet(viaSetKey(2));
   tracked.sm->handleVia(viaKey(3));
   EXPECT_DEATH(tracked.sm->handleVias(), "assertion failed: initialized\\(\\)");
   EXPECT_THROW(LfibTrackingMode(4), Vok::RangeError);
}

TEST_F(LfibTrackingTest, whatCannotBeReadCountsAsMissing) {
   for (Vok::U32 number = 2; number < 6; ++number) {
      viaSet(number, {number});
      route(number, number);
   }
   deliver();
   const Tracked tracked(seen, 3);
   const Vok::TraceCapture quiet("Pooltab/0");
   for (const std::string table : {"lfibRoute", "viaSet"}) {
      Pooltab::CollectionControl& control =
          table == "viaSet" ? seen->viaSetControl() : seen->lfibRouteControl();
      damage(table);
      tracked.sm->handleLfibRoutes();
      tracked.sm->handleViaSets();
      EXPECT_EQ(control.corruptions(), 5u); // each key that was known, and the walk
      damage(table);
   }
   EXPECT_EQ(tracked.sm->routeKeyToViaSetKeys(), 4u); // read again meanwhile
   EXPECT_EQ(tracked.sm->viaSetKeyToViaKeySets(), 0u);
   tracked.sm->handleViaSets();
   tracked.check(Graph(*lfib));
}

TEST_F(LfibTrackingTest, aReaderInAnotherProcessEndsWithWhatTheTablesSay) {
   const PooltabTest::TestRoot root;
   VokPooltab::ReaderMount reader(seen, root.pool("shared"));
   Tracked tracked(seen, 3);
   const pid_t pid = fork();
   if (pid == 0) {
      const Vok::Ptr<LfibStatus> written = lfibStatusFactory("written");
      VokPooltab::WriterMount writing(written, root.pool("shared"));
      const auto writer = Vok::make<LfibWriter>(written);
      for (Vok::U32 i = 0; i < 60000; ++i)
         random() % 4 == 0 ? writer->lfibRouteDel(labelKey(16 + random() % 500))
                           : writer->lfibRouteIs(mplsRoute(16 + random() % 500, {mplsVia(random() % 9)}));
      _exit(0);
   }
   int status = 0;
   while (waitpid(pid, &status, WNOHANG) == 0) {
      reader.deliver(100);
      tracked.drain();
   }
   EXPECT_EQ(status, 0);
   while (reader.deliver(1000) == 1000)
      continue;
   EXPECT_GT(seen->lfibRoutes(), 300u);
   tracked.drain();
   tracked.check(Graph(*seen));
}

} // namespace
} // namespace Mpls
