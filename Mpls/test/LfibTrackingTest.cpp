#include "Mpls/LfibTrackingSm.h"
#include "Mpls/test/ReadingFixture.h"
#include "Pooltab/test/TestTables.h"
#include "Vok/Trace.h"

#include <sys/wait.h>

namespace Mpls {
namespace {

/// Who uses what: a route its via set, a via set its vias; by their texts.
class Links {
  public:
   explicit Links(const LfibStatus& lfib) {
      for (const LfibRoute& route : lfib.lfibRouteEach())
         link(route.key(), route.viaSetKey());
      for (const LfibViaSet& viaSet : lfib.viaSetEach())
         for (const auto [slot, viaKey] : viaSet.viaKeyEach())
            link(viaSet.key(), viaKey);
   }
   /// As the maps say it downwards, or as the reverse maps do.
   Links(const LfibTrackingSm& sm, bool reverse) {
      if (reverse) {
         for (const auto& [key, set] : sm.lfibTrackingStatus()->viaSetKeyToRouteKeySetEach())
            for (const RouteKey& user : set->routeKeyEach())
               link(user, key);
         for (const auto& [key, set] : sm.viaKeyToViaSetKeySetEach())
            for (const LfibViaSetKey& user : set->viaSetKeyEach())
               link(user, key);
      } else {
         for (const auto& [routeKey, viaSetKey] : sm.routeKeyToViaSetKeyEach())
            link(routeKey, viaSetKey);
         for (const auto& [key, set] : sm.viaSetKeyToViaKeySetEach())
            for (const LfibViaKey& viaKey : set->viaKeyEach())
               link(key, viaKey);
      }
   }
   bool operator==(const Links&) const = default;

  private:
   void link(const auto& user, const auto& used) {
      links_.emplace(Vok::valueToStrep(user), Vok::valueToStrep(used));
   }
   std::set<std::pair<std::string, std::string>> links_;
};

/// A machine, and a plain model of its backlogs.
struct Tracked {
   Tracked(const Vok::Ptr<LfibStatus>& seen, Vok::U32 mode)
       : lfib(seen), sm(lfibTrackingSmFactory(seen, status, LfibTrackingMode(mode), "test")) {
      for (const LfibRoute& route : lfib->lfibRouteEach())
         routes.insert(route.key());
      for (const LfibViaSet& viaSet : lfib->viaSetEach())
         viaSets.insert(viaSet.key());
   }
   void changed(const RouteKey& key) { routes.insert(key); }
   void changed(const LfibViaSetKey& key) {
      viaSets.insert(key);
      for (const LfibRoute& route : lfib->lfibRouteEach())
         if (route.viaSetKey() == key)
            routes.insert(route.key());
   }
   void changed(const LfibViaKey& changedKey) {
      for (const LfibViaSet& viaSet : lfib->viaSetEach())
         for (const auto [slot, key] : viaSet.viaKeyEach())
            if (key == changedKey && key.viaType() == viaTypeMplsPseudowire_)
               changed(viaSet.key());
   }
   void drain() {
      status->routeKeyBacklogDelAll();
      status->viaSetKeyBacklogDelAll();
      routes.clear();
      viaSets.clear();
   }
   static auto keys(const auto& each) {
      std::set<std::remove_cvref_t<decltype(*each.begin())>> found;
      for (const auto& key : each)
         found.insert(key);
      return found;
   }
   void check() const {
      ASSERT_EQ(Links(*sm, false), Links(*lfib));
      ASSERT_EQ(Links(*sm, true), Links(*lfib));
      for (const auto& [key, set] : status->viaSetKeyToRouteKeySetEach())
         ASSERT_GT(set->routeKeys(), 0u);
      const LfibTrackingMode mode = sm->trackingMode();
      ASSERT_EQ(keys(status->routeKeyBacklogEach()), mode.backlogRoutes() ? routes : decltype(routes)());
      ASSERT_EQ(keys(status->viaSetKeyBacklogEach()), mode.backlogViaSets() ? viaSets : decltype(viaSets)());
   }

   Vok::Ptr<LfibStatus> lfib;
   Vok::Ptr<LfibTrackingStatus> status = lfibTrackingStatusFactory("status");
   Vok::Ptr<LfibTrackingSm> sm;
   std::set<RouteKey> routes;
   std::set<LfibViaSetKey> viaSets;
};

/// Numbers stand for keys; the odd ones are pseudowires'.
class LfibTrackingTest : public ReadingFixture {
  protected:
   static LfibViaKey viaKey(Vok::U32 number) { return {source, typeOf(number), number}; }
   static LfibViaSetKey viaSetKey(Vok::U32 number) {
      return {source, number, typeOf(number), LfibViaSetType::unicast};
   }
   void route(Vok::U32 label, Vok::U32 viaSet) const {
      lfib->lfibRouteIs({labelKey(label), viaSetKey(viaSet), source, FwdEqvClass(), RouteMetric(1)});
   }
   void viaSet(Vok::U32 number, const std::vector<Vok::U32>& vias) const {
      LfibViaSet row;
      row.keyIs(viaSetKey(number));
      for (Vok::U32 slot = 0; slot < vias.size(); ++slot)
         row.viaKeyIs(LfibViaIndexRange(slot), viaKey(vias[slot]));
      lfib->viaSetIs(row);
   }
   void fill(Vok::U32 from, Vok::U32 to) {
      for (Vok::U32 number = from; number < to; ++number) {
         viaSet(number, {number});
         route(number, number);
      }
      deliver();
   }
   static LfibViaType typeOf(Vok::U32 number) {
      return number % 2 != 0 ? viaTypeMplsPseudowire_ : viaTypeMplsIp_;
   }
   static constexpr auto source = LFib::Source::lfibSourceLdp;
};

TEST_F(LfibTrackingTest, mapsAndBacklogsEqualAPlainModel) {
   fill(2, 8);
   std::vector<Tracked> tracked;
   for (Vok::U32 mode = 0; mode < 4; ++mode)
      tracked.emplace_back(seen, mode);
   const auto all = [&](const auto& key) {
      for (Tracked& each : tracked)
         each.changed(key);
   };
   for (int step = 0; step < 2000; ++step) {
      const Vok::U32 label = 2 + random() % 12, set = 2 + random() % 6, via = set % 2 + 2 * (random() % 5);
      Tracked& one = tracked[random() % 4];
      LfibPwVia pw;
      LfibMplsVia mpls;
      switch (random() % 8) {
      case 0:
         if (lfib->lfibRouteHas(labelKey(label)))
            all(labelKey(label));
         lfib->lfibRouteDel(labelKey(label));
         break;
      case 1:
         if (lfib->viaSetHas(viaSetKey(set)))
            all(viaSetKey(set));
         lfib->viaSetDel(viaSetKey(set));
         break;
      case 2:
      case 3:
         viaSet(set,
                random() % 4 != 0 ? std::vector<Vok::U32>{via, (via + 2) % 10} : std::vector<Vok::U32>());
         all(viaSetKey(set));
         break;
      case 4:
         pw.keyIs(viaKey(via));
         mpls.keyIs(viaKey(via));
         via % 2 != 0 ? lfib->pwViaIs(pw) : lfib->mplsViaIs(mpls);
         all(viaKey(via));
         break;
      case 5:
         random() % 4 != 0 ? one.drain() : void(one = Tracked(seen, one.sm->trackingMode().value()));
         break;
      default:
         route(label, set);
         all(labelKey(label));
      }
      deliver();
      for (const Tracked& each : tracked)
         each.check();
      ASSERT_FALSE(HasFailure()) << "step " << step;
   }
}

TEST_F(LfibTrackingTest, deletionsThatWentUnseenAreSettled) {
   fill(2, 22);
   Tracked tracked(seen, 3);
   tracked.status->routeKeyBacklogDelAll();
   for (Vok::U32 number = 2; number < 12; ++number) {
      lfib->lfibRouteDel(labelKey(number));
      lfib->viaSetDel(viaSetKey(number));
   }
   deliver(); // the log keeps 16 changes
   tracked.check();
}

TEST_F(LfibTrackingTest, tracesAndAssertionsAreItsInterface) {
   fill(2, 3);
   Tracked tracked(seen, 3);
   LfibTrackingSm& sm = *tracked.sm;
   const Vok::TraceCapture capture("LfibTrackingSm/8");
   sm.handleViaSet(viaSetKey(2));
   EXPECT_EQ(capture.lines().front(), "[test] handleViaSet viaSetKey " + Vok::valueToStrep(viaSetKey(2)));
   const auto another = [&] { lfibTrackingSmFactory(seen, tracked.status, LfibTrackingMode(), "another"); };
   EXPECT_DEATH(another(), "failed: !lfibTrackingStatus\\(\\)->routeKeyBacklogs\\(\\)");
   tracked.status->routeKeyBacklogDelAll();
   EXPECT_DEATH(another(), "failed: !lfibTrackingStatus\\(\\)->viaSetKeyBacklogs\\(\\)");
   tracked.status->viaSetKeyBacklogDelAll();
   EXPECT_DEATH(another(), "failed: !lfibTrackingStatus\\(\\)->viaSetKeyToRouteKeySets\\(\\)");
   tracked.status->viaSetKeyToRouteKeySetDelAll();
   EXPECT_DEATH(sm.handleLfibRoute(labelKey(2)), "failed: !!viaSetToRouteMap");
   sm.viaKeyToViaSetKeySetDelAll();
   EXPECT_DEATH(sm.handleViaSet(viaSetKey(2)), "failed: !!viaToViaSetMap");
   sm.initializedIs(false);
   sm.handleViaSet(viaSetKey(2));
   EXPECT_DEATH(sm.handleVias(), "failed: initialized\\(\\)");
}

TEST_F(LfibTrackingTest, whatCannotBeReadCountsAsMissing) {
   fill(2, 6);
   const Tracked tracked(seen, 3);
   const Vok::TraceCapture capture("Pooltab/0,LfibTrackingSm/8");
   damage("lfibRoute");
   tracked.sm->handleLfibRoute(labelKey(2));
   EXPECT_EQ(capture.records().at(0).facility,
             "LfibTrackingSm"); // which tells of the key before it reads the row
   EXPECT_EQ(capture.records().at(1).facility, "Pooltab");
   tracked.sm->handleLfibRoutes();
   EXPECT_EQ(seen->lfibRouteControl().corruptions(), 5u); // that, three known keys, and the walk
   EXPECT_EQ(tracked.sm->routeKeyToViaSetKeys(), 0u);
   damage("lfibRoute");
   tracked.sm->handleLfibRoutes();
   tracked.check();
}

TEST_F(LfibTrackingTest, aReaderInAnotherProcessEndsWithWhatTheTablesSay) {
   const PooltabTest::TestRoot root;
   VokPooltab::ReaderMount reader(seen, root.pool());
   Tracked tracked(seen, 3);
   const pid_t pid = fork();
   if (pid == 0) {
      const Vok::Ptr<LfibStatus> written = lfibStatusFactory("written");
      VokPooltab::WriterMount writing(written, root.pool());
      const auto writer = Vok::make<LfibWriter>(written);
      for (Vok::U32 i = 0; i < 60000; ++i)
         random() % 4 == 0 ? writer->lfibRouteDel(labelKey(16 + random() % 500))
                           : writer->lfibRouteIs(mplsRoute(16 + random() % 500, {mplsVia(random() % 9)}));
      _exit(0);
   }
   int status = -1;
   while (waitpid(pid, &status, WNOHANG) == 0)
      reader.deliver(100);
   while (reader.deliver(1000) == 1000)
      continue;
   EXPECT_EQ(status, 0);
   EXPECT_GT(seen->lfibRoutes(), 300u);
   for (const LfibRoute& route : seen->lfibRouteEach())
      EXPECT_TRUE(
          tracked.status->routeKeyBacklogHas(route.key())); // where nobody drains it, nothing is missed
   EXPECT_EQ(Links(*tracked.sm, false), Links(*seen));
   EXPECT_EQ(Links(*tracked.sm, true), Links(*seen));
}

} // namespace
} // namespace Mpls
