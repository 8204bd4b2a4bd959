// How soon a client comes back.

#include "Hubdb/test/Database.h"

#include "Vok/Trace.h"

namespace HubdbTest {
namespace {

using Hubdb::MountStatus;

/// A client whose records no server takes, while it is bad.
struct Sender : Hubdb::LinkClient {
   Hubdb::Link* link = nullptr;
   bool bad = true;
   int connections = 0;
   void onConnected() override {
      ++connections;
      link->mount({1, "a", "HubdbRoutes::Plain", Hubdb::fingerprint(HubdbRoutes::Plain::vokType()),
                   Hubdb::MountFilter::own(), false});
   }
   void onMountStatus(Hubdb::MountId mount, MountStatus, const Vok::String&) override {
      const Vok::U8 unknownOperation = 99;
      if (bad)
         link->records(mount, &unknownOperation, 1);
   }
   void onDisconnected() override {}
   void onWritable() override {}
   void onSnapshotBegin(Hubdb::MountId) override {}
   void onSnapshotEnd(Hubdb::MountId) override {}
   void onRecords(Hubdb::MountId, const Vok::U8*, std::size_t) override {}
   void onEntry(Hubdb::MountId, const Vok::String&, bool, const Vok::String&) override {}
   void onGone(Hubdb::MountId) override {}
};

TEST(RetryTest, whoIsRefusedComesBackEverMoreSlowly) {
   const Vok::TraceCapture quiet("HubdbServer/1,HubdbClient/1");
   TemporaryFolder folder;
   Vok::ManualClock clock;
   Vok::Activity activity(clock);
   std::optional<Hubdb::Server> server(std::in_place, activity, catalogue());
   server->listen(folder / "socket");
   Sender sender;
   Hubdb::Client client(activity, sender, folder / "socket", "bad");
   sender.link = &client;
   const auto settle = [&] {
      while (activity.turn(0))
         ;
   };
   /// In twentieths of a second, and a little for rounding.
   const auto pause = [&] {
      const int before = sender.connections;
      int steps = 0;
      while (sender.connections == before && steps < 1000) {
         clock.advance(0.0501);
         settle();
         ++steps;
      }
      return steps;
   };
   settle();
   ASSERT_EQ(sender.connections, 1);
   for (const int steps : {1, 2, 4, 8, 16, 32, 64, 100, 100})
      EXPECT_EQ(pause(), steps);

   sender.bad = false;
   EXPECT_EQ(pause(), 100);
   EXPECT_TRUE(client.isConnected());
   server.reset(); // it goes by itself, and so it is worth a quick try
   settle();
   server.emplace(activity, catalogue());
   server->listen(folder / "socket");
   EXPECT_EQ(pause(), 1);
}

} // namespace
} // namespace HubdbTest
