// The server dies and comes back, and so do its clients.

#include "Hubdb/test/Database.h"

#include "Hubdb/Roots.h"

#include "Vok/Trace.h"

#include <fstream>

namespace HubdbTest {
namespace {

using Hubdb::MountFilter;
using HubdbRoutes::Source;

/// Servers are killed under load and start with what they wrote down; readers die and come back; owners are
/// replaced by others. Nobody's entities are rebuilt, and in the end all are the same.
TEST(RestartTest, everyReaderEqualsItsOwnerAfterwards) {
   TemporaryFolder folder;
   for (const char* state : {"", "state"}) {
      const std::string socket = folder / "socket";
      ServerProcess server(catalogue(), socket, *state ? folder / state : "");
      server.start();
      Vok::Activity activity;
      std::mt19937 random(11);
      Program owner(activity, catalogue(), socket), steady(activity, catalogue(), socket);
      std::optional<Program> mortal(std::in_place, activity, catalogue(), socket);
      const auto source = owner.own<Source>("routing/a");
      ASSERT_TRUE(source);
      fill(*source, 200);
      ASSERT_EQ(steady.mounted("routing/a", "HubdbRoutes::Source", MountFilter::read()),
                Hubdb::mountSuccess());
      const auto entity = steady.manager->get<Source>("routing/a");
      const auto route = entity->route(1);
      for (int round = 0; round < 12; ++round) {
         for (int turn = 0; turn < 30; ++turn) {
            change(*source, random, 20);
            activity.turn(0);
         }
         if (round % 3 != 2) {
            server.kill();
            change(*source, random, 20);
            server.start();
         } else {
            mortal.emplace(activity, catalogue(), socket);
            mortal->mount("routing/a", "HubdbRoutes::Source", MountFilter::read());
         }
         source->routeIs(1);
      }
      for (const Program* reader : {&steady, &*mortal})
         EXPECT_TRUE(turnUntil(activity, [&] { return text(*reader, "routing/a") == dump(*source); }));
      EXPECT_EQ(steady.manager->get<Source>("routing/a"), entity);
   }
}

/// A file of the system that can be opened and not read.
TEST(RestartTest, aStateThatCannotBeReadIsNotCut) {
   try {
      Hubdb::StateFile("/proc/self/mem", false, [](Hubdb::JournalKind, Vok::U32, Hubdb::Bytes) {});
      FAIL();
   } catch (const Vok::Error& error) {
      EXPECT_STREQ(error.what(), "state file '/proc/self/mem': reading: Input/output error");
   }
}

/// What was acknowledged is there when owner and server are both gone.
TEST(RestartTest, nothingAcknowledgedIsLost) {
   TemporaryFolder folder;
   const std::string socket = folder / "socket";
   ServerProcess server(catalogue(), socket, folder / "state");
   std::mt19937 random(5);
   std::string was;
   for (int round = 0; round < 6; ++round) {
      server.start();
      Vok::Activity activity;
      Program owner(activity, catalogue(), socket);
      const auto source = owner.own<Source>("routing/a");
      ASSERT_TRUE(source);
      if (round > 0) {
         EXPECT_EQ(dump(*source), was);
      }
      for (int batch = 0; batch < 10; ++batch) {
         change(*source, random, 30);
         activity.turn(0);
      }
      ASSERT_TRUE(owner.safe());
      was = dump(*source);
      server.kill();
   }
}

/// A server that has forgotten an entity tells nobody what is in it before its owner has said so.
TEST(RestartTest, whatComesBackIsToldWhole) {
   struct Withdrawals final : Source::Notifiee {
      explicit Withdrawals(const Vok::Ptr<Source>& source) : Notifiee(source), source(*source) {}
      void onRoute(Vok::U32 key) override { count += !source.routeHas(key); }
      const Source& source;
      int count = 0;
   };
   TemporaryFolder folder;
   const std::string socket = folder / "socket";
   Vok::Activity activity;
   std::optional<Hubdb::Server> server(std::in_place, activity, catalogue());
   server->listen(socket);
   Program owner(activity, catalogue(), socket), reader(activity, catalogue(), socket);
   const auto source = owner.own<Source>("routing/a");
   fill(*source, 20);
   ASSERT_EQ(reader.mounted("routing/a", "HubdbRoutes::Source", MountFilter::read()), Hubdb::mountSuccess());
   ASSERT_TRUE(turnUntil(activity, [&] { return text(reader, "routing/a") == dump(*source); }));
   const Withdrawals withdrawals(reader.manager->get<Source>("routing/a"));
   for (int round = 0; round < 5; ++round) {
      server.reset();
      server.emplace(activity, catalogue());
      server->listen(socket);
      source->countIs(source->count() + 1);
      ASSERT_TRUE(turnUntil(activity, [&] { return text(reader, "routing/a") == dump(*source); }));
   }
   EXPECT_EQ(withdrawals.count, 0);
}

/// A state of many portions, told while the reader takes it at its own pace.
TEST(RestartTest, aLargeStateReachesALateReader) {
   TemporaryFolder folder;
   const std::string socket = folder / "socket";
   ServerProcess server(catalogue(), socket, "");
   server.start();
   Vok::Activity activity;
   Program owner(activity, catalogue(), socket);
   const auto source = owner.own<Source>("routing/a");
   ASSERT_TRUE(source);
   fill(*source, 200000);
   ASSERT_TRUE(owner.safe());
   Program reader(activity, catalogue(), socket);
   ASSERT_EQ(reader.mounted("routing/a", "HubdbRoutes::Source", MountFilter::read()), Hubdb::mountSuccess());
   EXPECT_EQ(reader.manager->get<Source>("routing/a")->routes(), 200000u);
}

/// The file as a crash may leave it, cut at every length, and with every byte of its last part damaged: the
/// server starts, says so, and has the state of some moment of the past.
TEST(RestartTest, aStateFileCutAnywhereIsReadAsFarAsItGoes) {
   TemporaryFolder folder;
   const std::string path = folder / "state";
   std::vector<std::string> past{""};
   {
      Vok::Activity activity;
      Hubdb::Server server(activity, catalogue(), {{}, path, false, 1 << 20});
      auto [ours, theirs] = socketPair();
      server.clientIs(std::move(theirs));
      Program owner(activity, catalogue(), std::move(ours));
      const auto source = owner.own<Source>("a");
      ASSERT_TRUE(source);
      past.push_back(dump(*source));
      std::mt19937 random(3);
      for (int batch = 0; batch < 6; ++batch) {
         change(*source, random, 4);
         ASSERT_TRUE(owner.safe());
         past.push_back(dump(*source));
      }
   }
   const std::string whole = contents(path);
   const Vok::TraceCapture quiet("HubdbRoots/0");
   const auto stateOf = [&](const std::string& bytes) {
      std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
      Vok::Activity activity;
      Hubdb::Server server(activity, catalogue(), {{}, path, false, 1 << 20});
      if (server.roots() == 0)
         return std::string();
      auto [ours, theirs] = socketPair();
      server.clientIs(std::move(theirs));
      Program reader(activity, catalogue(), std::move(ours));
      reader.mounted("a", "HubdbRoutes::Source", MountFilter::read());
      return text(reader, "a");
   };
   std::size_t reached = 0;
   for (std::size_t length = 0; length <= whole.size(); ++length) {
      const std::string state = stateOf(whole.substr(0, length));
      const auto found = std::ranges::find(past, state);
      ASSERT_NE(found, past.end()) << length << "\n" << state;
      const auto at = static_cast<std::size_t>(found - past.begin());
      EXPECT_GE(at, reached) << length;
      reached = at;
      EXPECT_LE(contents(path).size(), std::max<std::size_t>(length, 8)) << length;
   }
   EXPECT_EQ(reached, past.size() - 1);
   for (std::size_t at = whole.size() - 200; at < whole.size(); ++at) {
      std::string damaged = whole;
      damaged[at] = static_cast<char>(damaged[at] ^ 0x20);
      const std::string state = stateOf(damaged);
      EXPECT_NE(std::ranges::find(past, state), past.end()) << at;
      EXPECT_NE(state, past.back()) << at;
   }
}

TEST(RestartTest, aLongStateFileIsWrittenAnew) {
   TemporaryFolder folder;
   const std::string path = folder / "state";
   std::vector<std::string> seen;
   const auto open = [&] {
      seen.clear();
      return std::make_unique<Hubdb::StateFile>(path, true,
                                                [&](Hubdb::JournalKind, Vok::U32, Hubdb::Bytes body) {
                                                   seen.emplace_back(body.begin(), body.end());
                                                });
   };
   const auto bytes = [](const std::string& text) {
      return Hubdb::Bytes(reinterpret_cast<const Vok::U8*>(text.data()), text.size());
   };
   auto file = open();
   const std::string large(1 << 20, 'l');
   for (int i = 0; i < 70; ++i) {
      EXPECT_EQ(file->isLong(), i >= 64);
      file->append(Hubdb::JournalKind::records, 1, bytes(large));
      file->commit();
   }
   file->rewrite([&] {
      for (const char* word : {"all", "that", "counts"})
         file->append(Hubdb::JournalKind::records, 1, bytes(word));
   });
   EXPECT_FALSE(file->isLong());
   EXPECT_THROW(open(), Vok::Error); // it is another's as long as that lives
   file->append(Hubdb::JournalKind::records, 1, bytes("and more"));
   file->commit();
   file.reset();
   open();
   EXPECT_EQ(seen, (std::vector<std::string>{"all", "that", "counts", "and more"}));
}

} // namespace
} // namespace HubdbTest
