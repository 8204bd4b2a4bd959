#include "tools/mpls-agent/labels/ReturningClients.h"

#include <gtest/gtest.h>

#include <map>

namespace agent {

namespace {

struct ReturningClientsTest : testing::Test {
   /// A client appears with all that it asks for, as a mounted directory tells it.
   void comes(const char* name, bool asks = true) {
      const auto client = Mpls::clientLabelRequestFactory(name);
      if (asks)
         client->labelRequestIs(Mpls::LabelRequest("r"));
      dir->entityPtrIs(client);
   }
   /// First labels by client.
   std::map<std::string, Vok::U32> blocks() const {
      std::map<std::string, Vok::U32> all;
      for (const auto& allocation : status->labelBlockAllocationEach())
         for (const auto& block : allocation.value->blockEach())
            all[allocation.key.text()] = block.value.blockStart().value();
      return all;
   }
   void timePasses(double seconds) {
      clock.advance(seconds);
      wheel->advance();
   }

   Vok::ManualClock clock;
   const Vok::Ptr<Bolk::TimerWheel> wheel = Vok::make<Bolk::TimerWheel>(clock);
   const Vok::Ptr<Vok::Dir> dir = Vok::make<Vok::Dir>("labelRequest");
   const Vok::Ptr<Mpls::Config> config = Mpls::configFactory("global");
   const Vok::Ptr<Mpls::Api::Status> status = Mpls::Api::statusFactory("api");
   const Vok::Ptr<Mpls::LabelManagerSm> machine = Mpls::LabelManagerSmIs(wheel, nullptr, dir, config, status);
   ReturningClients returning{machine, 30};
};

TEST_F(ReturningClientsTest, ClientsThatComeBackInTimeKeepTheirBlocks) {
   config->mplsRoutingIs(true);
   for (const char* name : {"a", "b", "c"})
      comes(name);
   auto expected = blocks();
   EXPECT_EQ(expected, (std::map<std::string, Vok::U32>{{"a", 100000}, {"b", 116384}, {"c", 132768}}));

   returning.connectedIs(false);
   timePasses(1000); // however long there is no server
   returning.connectedIs(true);
   dir->entityPtrDelAll(); // it knows nobody
   comes("d");
   comes("b");
   expected["d"] = 149152;
   timePasses(20);
   returning.connectedIs(false); // lost again: the time counts anew
   returning.connectedIs(true);
   dir->entityPtrDel("b");
   timePasses(29);
   EXPECT_EQ(blocks(), expected);
   comes("b");
   comes("c", false); // it does not ask any more
   expected.erase("c");
   EXPECT_EQ(blocks(), expected);
   timePasses(2);
   expected.erase("a");
   EXPECT_EQ(blocks(), expected);
   dir->entityPtrDel("b"); // from now on whoever goes has gone
   expected.erase("b");
   EXPECT_EQ(blocks(), expected);
}

TEST_F(ReturningClientsTest, ManagersThatForgetTheirClientsMeanwhileGoOn) {
   for (const bool routing : {true, false}) {
      config->mplsRoutingIs(true);
      config->labelRangeIs("dynamic", Mpls::LabelRange(Kinet::MplsLabel(0), 0)); // the default
      comes("a");
      returning.connectedIs(false);
      dir->entityPtrDelAll();
      config->mplsRoutingIs(routing);
      config->labelRangeIs("dynamic", Mpls::LabelRange(Kinet::MplsLabel(16), 0)); // no place for clients
      returning.connectedIs(true);
      timePasses(31);
      EXPECT_EQ(machine->pendingClientMounts(), 0u);
      EXPECT_TRUE(blocks().empty());
   }
}

} // namespace

} // namespace agent
