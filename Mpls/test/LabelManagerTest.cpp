#include "Mpls/LabelManagerSm.h"
#include "Vok/Trace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

namespace Mpls {
namespace {

using Blocks = std::map<std::pair<Vok::String, Vok::String>, Vok::U32>; // by client and request: first label

LabelRange rangeOf(Vok::U32 base, Vok::U32 size) {
   return LabelRange(Kinet::MplsLabel(base), size);
}

/// Whole blocks below the highest label.
Vok::U32 blocksIn(const LabelRange& range) {
   const Vok::U32 end = std::min<Vok::U32>(range.baseValue() + range.size(), Kinet::MplsLabel::max);
   return range.baseValue() < end ? (end - range.baseValue()) / 16384 : 0;
}

class LabelManagerTest : public testing::Test {
  protected:
   LabelManagerTest() { config->mplsRoutingIs(true); }

   void smIs() { sm = labelManagerSmFactory(wheel, nullptr, dir, config, status); }
   void rangeIs(Vok::U32 base, Vok::U32 size) { config->labelRangeIs("dynamic", rangeOf(base, size)); }
   void timePasses(double seconds) {
      clock.advance(seconds);
      wheel->advance();
   }
   Vok::Ptr<ClientLabelRequest> clientIs(const Vok::Name& name) {
      if (!dir->entityPtrHas(name))
         dir->entityPtrIs(clientLabelRequestFactory(name));
      return Vok::ptrCast<ClientLabelRequest>(dir->entityPtr(name));
   }
   void requestsAre(const Vok::Name& client, std::size_t count) {
      for (std::size_t i = 0; i < count; ++i)
         clientIs(client)->labelRequestIs(LabelRequest("r" + std::to_string(i)));
   }

   Blocks blocks() const {
      Blocks all;
      for (const auto& allocation : status->labelBlockAllocationEach())
         for (const auto& [request, block] : allocation.value->blockEach())
            all[{allocation.key.text(), request}] = block.blockStart().value();
      return all;
   }
   std::size_t requests() const {
      std::size_t all = 0;
      for (const auto& entry : dir->entityPtrEach())
         all += static_cast<const ClientLabelRequest&>(*entry.value).labelRequests();
      return all;
   }

   /// What must hold after every step, `before` being the blocks before it.
   void check(const Blocks& before, const LabelRange& rangeBefore) {
      const Blocks now = blocks();
      if (!config->mplsRouting()) {
         ASSERT_TRUE(now.empty());
         return;
      }
      const LabelRange range = sm->configRange();
      ASSERT_EQ(status->dynamicLabelRange(), range);
      ASSERT_EQ(status->labelBlockAllocations(), dir->entityPtrs());
      std::set<Vok::U32> starts;
      for (const auto& [owner, start] : now) {
         const auto request = Vok::ptrCast<ClientLabelRequest>(dir->entityPtr(Vok::Name(owner.first)));
         ASSERT_TRUE(request && request->labelRequestHas(owner.second)) << "nobody wants it";
         ASSERT_TRUE(starts.insert(start).second) << "granted twice: " << start;
         ASSERT_EQ((start - range.baseValue()) % 16384, 0u);
         ASSERT_LT((start - range.baseValue()) / 16384, blocksIn(range));
         const Vok::U32 idx = sm->clientInfo(Vok::Name(owner.first))->blockIndex(owner.second);
         ASSERT_EQ(sm->blockStart(idx).value(), start);
         ASSERT_TRUE(sm->drAlloc()->isReserved(idx));
      }
      for (const auto& [owner, start] : before) {
         const auto request = Vok::ptrCast<ClientLabelRequest>(dir->entityPtr(Vok::Name(owner.first)));
         const bool wanted = request && request->labelRequestHas(owner.second);
         const bool covered = (start - range.baseValue()) / 16384 < blocksIn(range);
         if (wanted && covered && rangeBefore.base() == range.base()) {
            ASSERT_EQ(now.contains(owner) ? now.at(owner) : 0, start) << "lost its block";
         }
      }
      if (now.size() < requests()) {
         ASSERT_TRUE(sm->rangeExhausted() && sm->requestBacklog()) << "could have been served";
      }
   }

   Vok::ManualClock clock;
   const Vok::Ptr<Bolk::TimerWheel> wheel = Vok::make<Bolk::TimerWheel>(clock);
   const Vok::Ptr<Vok::Dir> dir = Vok::make<Vok::Dir>("labelRequest");
   const Vok::Ptr<Config> config = configFactory("config");
   const Vok::Ptr<Api::Status> status = Api::statusFactory("status");
   Vok::Ptr<LabelManagerSm> sm;
};

TEST_F(LabelManagerTest, grantsEveryWholeBlockOfTheRange) {
   smIs();
   requestsAre("a", 70);
   EXPECT_EQ(blocks().size(), 16u); // of the default range
   const std::pair<LabelRange, std::size_t> cases[] = {
       {rangeOf(100000, 262144), 16}, {rangeOf(16, 16383), 0},      {rangeOf(16, 16384), 1},
       {rangeOf(16, 49151), 2},       {rangeOf(0, 0), 16},          {rangeOf(7, 0), 0},
       {rangeOf(0, 1048576), 63},     {rangeOf(1032192, 16384), 0}, {rangeOf(1032191, 16385), 1},
       {rangeOf(1048575, 1), 0},      {rangeOf(950000, 98576), 6}};
   for (const auto& [range, count] : cases) {
      SCOPED_TRACE(Vok::valueToStrep(range));
      config->labelRangeIs("dynamic", range);
      EXPECT_EQ(blocks().size(), count);
      EXPECT_EQ(sm->drAlloc() != nullptr, count != 0);
      for (std::size_t i = 0; i < count; ++i)
         EXPECT_EQ(blocks().at({"a", "r" + std::to_string(i)}), sm->configRangeBase() + i * 16384);
      config->labelRangeIs("static", rangeOf(5, 5)); // is nothing to the manager
   }
}

TEST_F(LabelManagerTest, holdsItsPromisesThroughAnySequence) {
   const LabelRange ranges[] = {rangeOf(0, 0),          rangeOf(100000, 16383),    rangeOf(100000, 16384),
                                rangeOf(99999, 0),      rangeOf(50000, 4 * 16384), rangeOf(1000000, 48576),
                                rangeOf(100000, 98303), rangeOf(100000, 81920),    rangeOf(100000, 49152)};
   std::mt19937 random(5);
   smIs();
   for (int step = 0; step < 20000; ++step) {
      SCOPED_TRACE(step);
      Blocks before = blocks();
      const LabelRange range = sm->configRange();
      const Vok::Name client("c" + std::to_string(random() % 4));
      const Vok::String request = "r" + std::to_string(random() % 5);
      const auto chance = random() % 100;
      if (chance == 0) {
         config->mplsRoutingIs(!config->mplsRouting());
      } else if (chance == 1) {
         smIs();
      } else if (chance < 4) { // the client goes, and may start again with other requests
         dir->entityPtrDel(client);
         std::erase_if(before, [&](const auto& block) { return block.first.first == client.text(); });
         if (chance == 3)
            requestsAre(client, random() % 4);
      } else if (chance < 12) {
         config->labelRangeIs("dynamic", ranges[chance < 6 ? random() % 9 : 6 + random() % 3]);
      } else if (chance < 25) {
         timePasses(0.4);
      } else if (random() % 2 == 0) {
         clientIs(client)->labelRequestIs(LabelRequest(request));
      } else {
         clientIs(client)->labelRequestDel(request);
      }
      ASSERT_NO_FATAL_FAILURE(check(before, range));
      if (random() % 8 == 0) {
         const Blocks kept = blocks();
         timePasses(1.5); // all that was released is free again
         ASSERT_NO_FATAL_FAILURE(check(kept, sm->configRange()));
         ASSERT_EQ(blocks().size(), config->mplsRouting()
                                        ? std::min<std::size_t>(requests(), blocksIn(sm->configRange()))
                                        : 0);
      }
   }
}

TEST_F(LabelManagerTest, startsOverWithConsistentBlocksOrNone) {
   const std::tuple<const char*, Vok::U32, bool> cases[] = {
       {"the next block", 149152, true},  {"no boundary", 149153, false},
       {"below the range", 83616, false}, {"a label below", 99999, false},
       {"the same block", 132768, false}, {"above the range", 165536, false},
       {"no label", 1048576, false}};
   rangeIs(100000, 4 * 16384);
   for (const auto& [what, start, consistent] : cases) {
      SCOPED_TRACE(what);
      dir->entityPtrDelAll();
      status->labelBlockAllocationDelAll();
      sm = nullptr;
      requestsAre("a", 2);
      status->labelBlockAllocationIs("a")->blockIs("r0", LabelBlock(Kinet::MplsLabel(132768)));
      status->labelBlockAllocationIs("a")->blockIs("r1", LabelBlock(Kinet::MplsLabel(start)));
      status->labelBlockAllocationIs("gone")->blockIs("r0", LabelBlock(Kinet::MplsLabel(116384)));
      smIs();
      EXPECT_EQ(blocks().at({"a", "r0"}), consistent ? 132768u : 100000u);
      EXPECT_EQ(blocks().at({"a", "r1"}), consistent ? 149152u : 116384u);
      EXPECT_EQ(status->labelBlockAllocations(), 1u);
   }
}

TEST_F(LabelManagerTest, aClientThatIsBeingMountedKeepsItsBlocks) {
   const Vok::Name name("a");
   smIs();
   requestsAre("a", 2);
   const Blocks before = blocks();
   const bool yes = true;
   LabelManagerSm::vokType().attribute("pendingClientMount")->access.put(*sm, &name, &yes);
   const Vok::TraceCapture capture("LabelManagerSm/1");
   const auto request = dir->entityPtr(name);
   dir->entityPtrDel(name);
   EXPECT_TRUE(capture.lines().back().ends_with(" defer pending client removal: a"));
   EXPECT_EQ(blocks(), before);
   dir->entityPtrIs(request);
   EXPECT_FALSE(sm->pendingClientMountHas(name));
   EXPECT_EQ(blocks(), before);
   dir->entityPtrDel(name);
   EXPECT_EQ(blocks().size(), 0u);
   EXPECT_FALSE(sm->clientInfoHas(name));
}

TEST_F(LabelManagerTest, whatIsReleasedIsGivenToWhoWaits) {
   rangeIs(16, 16384);
   smIs();
   requestsAre("a", 1);
   requestsAre("b", 1);
   const Vok::TraceCapture capture("LabelManagerSm/1");
   clientIs("b")->labelRequestDel("r0");
   EXPECT_TRUE(capture.lines().back().ends_with(" r0 was removed (not allocated)"));
   requestsAre("b", 1);
   EXPECT_TRUE(capture.lines().back().ends_with(" r0 could not be fulfilled."));
   clientIs("a")->labelRequestDel("r0");
   EXPECT_TRUE(capture.lines().back().ends_with(" r0 was removed, index: 0"));
   timePasses(0.999);
   EXPECT_TRUE(blocks().empty());
   timePasses(0.001);
   EXPECT_EQ(blocks(), (Blocks{{{"b", "r0"}, 16}}));
   EXPECT_TRUE(capture.lines().back().ends_with(" r0 was added, index: 0"));
   EXPECT_FALSE(sm->requestBacklog());
   requestsAre("b", 2);
   EXPECT_TRUE(sm->requestBacklog());
   rangeIs(16, 2 * 16384);
   EXPECT_EQ(blocks().size(), 2u);
   EXPECT_FALSE(sm->requestBacklog());
}

TEST_F(LabelManagerTest, brokenRulesStopTheProcessAndBadNumbersDoNot) {
   smIs();
   requestsAre("a", 1);
   EXPECT_DEATH(sm->handleLabelRequest("b", "r0"), "assertion failed: cltReq\n");
   EXPECT_DEATH(sm->allocateLabelBlock("b", "r0"), "assertion failed: alloc\n");
   EXPECT_DEATH(sm->removeLabelBlock("b", "r0"), "assertion failed: alloc\n");
   EXPECT_EQ(sm->blockStart(505).value(), 505u * 16384 + 100000);
   EXPECT_THROW(sm->blockStart(506), Vok::RangeError);
}

} // namespace
} // namespace Mpls
