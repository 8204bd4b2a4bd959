#include "tools/mpls-agent/labels/ReturningClients.h"

#include <gtest/gtest.h>

#include <set>

namespace agent {

namespace {

struct ReturningClientsTest : testing::Test {
   ReturningClientsTest() {
      config->mplsRoutingIs(true);
      for (const char* name : {"a", "b", "c"})
         comes(name);
   }

   /// A client appears with all that it asks for, as a mounted directory tells it.
   void comes(const char* name, bool asks = true) {
      const auto client = Mpls::clientLabelRequestFactory(name);
      if (asks)
         client->labelRequestIs(Mpls::LabelRequest("r"));
      dir->entityPtrIs(client);
   }
   Vok::U32 block(const char* name) const {
      const auto allocation = status->labelBlockAllocation(name);
      return allocation ? allocation->block("r").blockStart().value() : 0;
   }
   void timePasses(double seconds) {
      clock.advance(seconds);
      wheel->advance();
   }

   static constexpr Vok::U32 none = 0, withoutBlock = 1048576;
   static constexpr Vok::U32 first = 100000, second = 116384, third = 132768, fourth = 149152;
   Vok::ManualClock clock;
   const Vok::Ptr<Bolk::TimerWheel> wheel = Vok::make<Bolk::TimerWheel>(clock);
   const Vok::Ptr<Vok::Dir> dir = Vok::make<Vok::Dir>("labelRequest");
   const Vok::Ptr<Mpls::Config> config = Mpls::configFactory("global");
   const Vok::Ptr<Mpls::Api::Status> status = Mpls::Api::statusFactory("api");
};

TEST_F(ReturningClientsTest, ClientsThatComeBackInTimeKeepTheirBlocks) {
   const auto machine = Mpls::LabelManagerSmIs(wheel, nullptr, dir, config, status);
   ReturningClients returning(machine, 30);
   const Vok::U32 a = block("a"), b = block("b"), c = block("c");
   EXPECT_EQ((std::set<Vok::U32>{a, b, c}), (std::set<Vok::U32>{first, second, third}));

   returning.connectedIs(false);
   timePasses(1000); // however long there is no server
   returning.connectedIs(true);
   dir->entityPtrDelAll(); // it knows nobody
   comes("d");
   EXPECT_EQ(block("d"), fourth);
   comes("b");
   timePasses(20);
   returning.connectedIs(false); // lost again: the time counts anew
   returning.connectedIs(true);
   dir->entityPtrDel("b");
   comes("b");
   timePasses(29);
   comes("c", false); // it does not ask any more
   EXPECT_EQ(block("a"), a);
   EXPECT_EQ(block("b"), b);
   EXPECT_EQ(block("c"), withoutBlock);
   timePasses(2);
   EXPECT_EQ(block("a"), none);
   EXPECT_EQ(block("b"), b);
   EXPECT_EQ(machine->pendingClientMounts(), 0u);
   dir->entityPtrDel("b"); // from now on whoever goes has gone
   EXPECT_EQ(block("b"), none);
   EXPECT_EQ(block("d"), fourth);
}

TEST_F(ReturningClientsTest, WithoutBlocksToKeepNothingIsTakenBack) {
   const auto machine = Mpls::LabelManagerSmIs(wheel, nullptr, dir, config, status);
   ReturningClients returning(machine, 30);
   returning.connectedIs(false);
   dir->entityPtrDelAll();
   config->mplsRoutingIs(false);
   returning.connectedIs(true);
   timePasses(31);
   EXPECT_EQ(status->labelBlockAllocations(), 0u);
   config->mplsRoutingIs(true);
   config->labelRangeIs("dynamic", Mpls::LabelRange(Kinet::MplsLabel(16), 0));
   comes("a");
   returning.connectedIs(false);
   dir->entityPtrDelAll();
   config->labelRangeIs("dynamic", Mpls::LabelRange(Kinet::MplsLabel(17), 0)); // which forgets all clients
   returning.connectedIs(true);
   timePasses(31);
   EXPECT_EQ(status->labelBlockAllocations(), 0u);
   EXPECT_EQ(machine->clientInfos(), 0u);
}

} // namespace

} // namespace agent
