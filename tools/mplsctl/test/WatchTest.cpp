#include "tools/mplsctl/test/Fixture.h"

#include "tools/mplsctl/lfib/Watcher.h"

#include <algorithm>
#include <map>
#include <poll.h>
#include <random>

using namespace mplsctl;

namespace {

/// Writes down what it is told, and follows the state as a program would that has nothing else.
struct Follower : WatchObserver {
   void onState(Vok::U64 version, Vok::U64) override {
      state.clear();
      told.push_back("state");
      last = version;
   }
   void onStateRoute(const Chain& chain) override { state[labelOf(chain.route.key())] = outLabel(chain); }
   void onCaughtUp(Vok::U64) override {}
   void onChange(Vok::U64 number, Event event, const Mpls::RouteKey& key, const Chain* chain) override {
      constexpr const char* words[] = {"added", "changed", "removed"};
      told.push_back(fmt::format("{} {}", words[static_cast<int>(event)], labelOf(key)));
      EXPECT_GE(number, last);
      EXPECT_EQ(state.contains(labelOf(key)), event != Event::added);
      last = number;
      if (chain)
         state[labelOf(key)] = outLabel(*chain);
      else
         state.erase(labelOf(key));
   }
   void onGap(Vok::U64 first, Vok::U64 end) override {
      EXPECT_GT(first, last);
      told.push_back("gap");
      last = end;
   }
   /// Late, a route may be told of its via set and of its row in the same form: equal neighbours as one.
   std::vector<std::string> toldOnce() const {
      std::vector<std::string> once = told;
      once.erase(std::unique(once.begin(), once.end()), once.end());
      return once;
   }
   static unsigned labelOf(const Mpls::RouteKey& key) { return key.topLabel().value(); }
   static unsigned outLabel(const Chain& chain) {
      EXPECT_TRUE(chain.isWhole());
      return std::get<Mpls::LfibMplsVia>(*chain.vias.at(0).row).labelStack().topLabel().value();
   }

   std::map<unsigned, unsigned> state;
   std::vector<std::string> told;
   Vok::U64 last = 0;
};

struct Watch : LfibFixture {
   explicit Watch(unsigned logEntriesLog2 = 16) : LfibFixture(logEntriesLog2) {}
   void swap(unsigned label, unsigned out) { put(label, {{"10.0.0.1", {out}}}); }
   void catchUp(Watcher& watcher) {
      while (!watcher.deliver())
         ;
   }
   LfibTables tables{folder};
   Follower follower;
};
struct WatchShortLog : Watch {
   WatchShortLog() : Watch(6) {} // 64 changes
};

using Told = std::vector<std::string>;

} // namespace

TEST_F(Watch, StateThenChangesThenNothing) {
   swap(16, 100);
   Watcher watcher(tables, {}, follower);
   watcher.start(std::nullopt);
   catchUp(watcher);
   EXPECT_EQ(follower.told, Told{"state"}) << "what the state holds is not told again";

   swap(17, 200);
   swap(16, 101);
   del(17);
   catchUp(watcher);
   // What came and went before anybody looked is no change to who follows the state.
   EXPECT_EQ(follower.toldOnce(), (Told{"state", "changed 16"}));
   EXPECT_EQ(follower.state, (std::map<unsigned, unsigned>{{16, 101}}));
}

TEST_F(Watch, WakesWhoeverSleepsBehindTheState) {
   Watcher watcher(tables, {}, follower);
   watcher.start(std::nullopt);
   catchUp(watcher);
   swap(16, 100); // before anybody has asked for the descriptor
   pollfd waited{watcher.descriptor(), POLLIN, 0};
   EXPECT_EQ(poll(&waited, 1, 0), 1);
}

TEST_F(Watch, APoolWithoutALogTellsNothing) {
   LfibTables none(Pooltab::privateFolder("none"));
   ASSERT_FALSE(none.pool.hasLog());
   Watcher watcher(none, {}, follower);
   watcher.start(5);
   EXPECT_TRUE(watcher.deliver());
   EXPECT_EQ(follower.told, Told{});
}

TEST_F(Watch, EachChangeAsItComes) {
   Watcher watcher(tables, {.source = {}, .lowest = 16, .highest = 19}, follower);
   watcher.start(std::nullopt);
   const auto step = [&](auto&& change) {
      change();
      catchUp(watcher);
   };
   step([&] { swap(17, 200); });
   step([&] { swap(17, 201); });
   step([&] { swap(20, 1); }); // outside the filter
   step([&] { del(17); });
   step([&] { swap(17, 202); });
   EXPECT_EQ(follower.told, (Told{"state", "added 17", "changed 17", "removed 17", "added 17"}));
}

TEST_F(Watch, AViaSetRewrittenInPlaceChangesItsRoutes) {
   writer->inPlaceAdjacencyUpdateSupportedIs(true);
   swap(16, 100);
   const auto viaSetKey = tables.lfibRoute.lookup(key(16)).viaSetKey();
   status->lfibRouteIs(Mpls::LfibRoute(key(17), viaSetKey, Mpls::LFib::Source::lfibSourceLdp, {}, {}));
   mount.flush();
   Watcher watcher(tables, {}, follower);
   watcher.start(std::nullopt);
   swap(16, 101);
   ASSERT_EQ(tables.lfibRoute.lookup(key(16)).viaSetKey(), viaSetKey);
   catchUp(watcher);
   EXPECT_EQ(follower.state, (std::map<unsigned, unsigned>{{16, 101}, {17, 101}}));
}

TEST_F(Watch, ResumesBehindAChange) {
   swap(16, 100);
   const Vok::U64 since = tables.pool.logPosition();
   swap(17, 200);
   {
      Watcher watcher(tables, {}, follower);
      follower.last = since;
      follower.state[16] = 100;
      follower.state[17] = 0;
      watcher.start(since);
      catchUp(watcher);
   }
   EXPECT_EQ(follower.toldOnce(), Told{"changed 17"});
   EXPECT_EQ(follower.state[17], 200u);
}

TEST_F(WatchShortLog, TellsAGapAndCatchesUp) {
   swap(16, 100);
   const Vok::U64 since = tables.pool.logPosition();
   Watcher watcher(tables, {}, follower);
   watcher.start(std::nullopt);
   for (unsigned i = 0; i < 100; ++i)
      swap(16 + i, 300 + i);
   catchUp(watcher);
   EXPECT_EQ(follower.told, (Told{"state", "gap", "state"}));
   EXPECT_EQ(follower.state.size(), 100u);
   swap(16, 7);
   catchUp(watcher);
   EXPECT_EQ(follower.told.back(), "changed 16");
   EXPECT_EQ(follower.state[16], 7u);

   // The same for whoever asks for changes that are long gone, or that never were.
   for (const Vok::U64 asked : {since, since + 1'000'000}) {
      LfibTables others(folder);
      Follower late;
      late.last = asked;
      Watcher resumed(others, {}, late);
      resumed.start(asked);
      catchUp(resumed);
      EXPECT_EQ(late.told, (Told{"gap", "state"}));
      EXPECT_EQ(late.state, follower.state);
   }
}

TEST_F(WatchShortLog, AnyHistoryEndsInTheSameState) {
   std::mt19937 random(7);
   Watcher watcher(tables, {}, follower);
   watcher.start(std::nullopt);
   for (int round = 0; round < 400; ++round) {
      const unsigned label = 16 + random() % 12;
      random() % 3 ? swap(label, 100 + random() % 5) : del(label);
      if (random() % 8 == 0)
         watcher.deliver();
      if (random() % 40 == 0)
         for (unsigned i = 0; i < 30; ++i)
            swap(16 + i % 12, 200 + random() % 50);
   }
   catchUp(watcher);
   std::map<unsigned, unsigned> expected;
   eachChain(tables, {}, [&](const Chain& chain) {
      expected[Follower::labelOf(chain.route.key())] = Follower::outLabel(chain);
   });
   EXPECT_EQ(follower.state, expected);
}
