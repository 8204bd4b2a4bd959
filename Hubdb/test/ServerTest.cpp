#include "Hubdb/test/Database.h"

#include "Vok/Errors.h"
#include "Vok/Trace.h"

#include <fcntl.h>
#include <sys/resource.h>

namespace HubdbTest {
namespace {

using Hubdb::MountFilter;
using Hubdb::MountStatus;
using HubdbRoutes::Source;

using ServerTest = ServerFixture;

TEST_F(ServerTest, readerFollowsItsOwner) {
   Program owner = program(), reader = program(), late = program();
   const auto waiting = reader.mount("routing/a", "HubdbRoutes::Source", MountFilter::read());
   const auto source = owner.own<Source>("routing/a");
   ASSERT_TRUE(source);
   fill(*source, 500);
   source->noteIs(Vok::Name("who"), "us");
   ASSERT_TRUE(turnUntil(activity, [&] { return waiting->has_value(); }));
   expectSame(owner, reader, "routing/a");
   source->routeDel(7);
   source->routeIs(3)->viaDel(HubdbRoutes::Via(3, 19));
   source->noteDel(Vok::Name("who"));
   source->routeIs(8)->metricIs(4);
   EXPECT_EQ(late.mounted("routing/a", "HubdbRoutes::Source", MountFilter::read()), MountStatus::success);
   expectSame(owner, reader, "routing/a");
   expectSame(owner, late, "routing/a");
   EXPECT_TRUE(owner.safe());
}

TEST_F(ServerTest, aFlushNeedsNoTurn) {
   Program reader = program();
   Vok::Activity ownersOwn;
   auto [ours, theirs] = socketPair();
   server->clientIs(std::move(theirs));
   Program owner(ownersOwn, catalogue(), std::move(ours));
   const auto mounting = owner.mount("routing/a", "HubdbRoutes::Source", MountFilter::own());
   ASSERT_TRUE(turnUntil(activity, [&] {
      ownersOwn.turn(0);
      return mounting->has_value();
   }));
   ASSERT_EQ(reader.mounted("routing/a", "HubdbRoutes::Source", MountFilter::read()), MountStatus::success);
   owner.manager->get<Source>("routing/a")->countIs(5);
   owner.manager->flush();
   expectSame(owner, reader, "routing/a");
}

/// Lets the process open so many more descriptors, for a while.
class DescriptorLimit {
  public:
   explicit DescriptorLimit(rlim_t more) {
      getrlimit(RLIMIT_NOFILE, &before_);
      const Vok::Descriptor next(open("/dev/null", O_RDONLY));
      const rlimit limit{static_cast<rlim_t>(next.fd()) + more, before_.rlim_max};
      setrlimit(RLIMIT_NOFILE, &limit);
   }
   ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before_); }

  private:
   rlimit before_{};
};

TEST_F(ServerTest, withoutDescriptorsForPipesTheSocketStays) {
   Program owner = program(), reader = program();
   ASSERT_TRUE(
       turnUntil(activity, [&] { return owner.client->isConnected() && reader.client->isConnected(); }));
   Program late = program();
   {
      const DescriptorLimit limit(5); // of six that pipes need at first
      EXPECT_EQ(Hubdb::makePipes().first.in.fd(), -1);
      ASSERT_TRUE(turnUntil(activity, [&] { return late.client->isConnected(); }));
   }
   const auto source = owner.own<Source>("routing/a");
   for (Program* program : {&reader, &late})
      EXPECT_EQ(program->mounted("routing/a", "HubdbRoutes::Source", MountFilter::read()),
                MountStatus::success);
   fill(*source, 50);
   expectSame(owner, reader, "routing/a");
   expectSame(owner, late, "routing/a");
}

TEST(PipesTest, comeWholeOrNotAtAll) {
   const auto [one, other] = socketPair();
   const Vok::U8 sent[] = {1, 2, 3};
   Vok::U8 got[10];
   for (const rlim_t more : {3, 2, 1, 0}) {
      SCOPED_TRACE(more);
      const auto [ours, theirs] = Hubdb::makePipes();
      ASSERT_EQ(Hubdb::sendPipes(one.fd(), sent, theirs), 3);
      Hubdb::Pipes came;
      const DescriptorLimit limit(more);
      const ssize_t count = Hubdb::receivePipes(other.fd(), got, sizeof got, came);
      ASSERT_EQ(bool(came), more == 3);
      if (!came) {
         EXPECT_EQ(std::pair(count, errno), std::pair(ssize_t(-1), ECANCELED));
         continue;
      }
      EXPECT_EQ(write(ours.out.fd(), sent, 2), 2);
      EXPECT_EQ(read(came.in.fd(), got, sizeof got), 2);
      EXPECT_EQ(write(came.out.fd(), sent, 1), 1);
      EXPECT_EQ(read(ours.in.fd(), got, sizeof got), 1);
   }
   EXPECT_EQ(send(one.fd(), sent, 1, 0), 1);
   Hubdb::Pipes none;
   EXPECT_EQ(Hubdb::receivePipes(other.fd(), got, sizeof got, none), 1);
   EXPECT_FALSE(none);
}

TEST_F(ServerTest, whoMayMountWhat) {
   Program owner = program(), other = program();
   ASSERT_TRUE(owner.own<Source>("routing/a"));
   const struct {
      const char* path;
      const char* type;
      MountFilter filter;
      MountStatus status;
   } cases[] = {
       {"routing/a", "HubdbRoutes::Source", MountFilter::own(), MountStatus::owned},
       {"routing/a", "HubdbRoutes::Plain", MountFilter::read(), MountStatus::wrongType},
       {"routing/a", "HubdbRoutes::Plain", MountFilter::own(), MountStatus::wrongType},
       {"routing/a/b", "HubdbRoutes::Plain", MountFilter::own(), MountStatus::wrongType},
       {"routing", "HubdbRoutes::Plain", MountFilter::own(), MountStatus::wrongType},
       {"routing/b", "HubdbRoutes::Plain", MountFilter::own(), MountStatus::success},
   };
   for (const auto& c : cases)
      EXPECT_EQ(other.mounted(c.path, c.type, c.filter), c.status) << c.path << " " << c.type;
}

TEST_F(ServerTest, aReaderThatMayNotOwnReadsOn) {
   Program owner = program(), reader = program();
   const auto source = owner.own<Source>("routing/a");
   EXPECT_EQ(reader.mounted("routing/a", "HubdbRoutes::Source", MountFilter::read()), MountStatus::success);
   for (int tries = 0; tries < 2; ++tries)
      EXPECT_EQ(reader.mounted("routing/a", "HubdbRoutes::Source", MountFilter::own()), MountStatus::owned);
   fill(*source, 5);
   expectSame(owner, reader, "routing/a");
   EXPECT_EQ(server->clients(), 2u);
}

TEST_F(ServerTest, theNextOwnerGoesOn) {
   std::optional<Program> first(program());
   Program reader = program();
   const auto before = first->own<Source>("routing/a");
   fill(*before, 20);
   ASSERT_TRUE(first->safe());
   const std::string was = dump(*before);
   first.reset();
   ASSERT_TRUE(turnUntil(activity, [&] { return server->clients() == 1; }));
   EXPECT_EQ(reader.mounted("routing/a", "HubdbRoutes::Source", MountFilter::read()), MountStatus::success);
   Program second = program();
   const auto source = second.own<Source>("routing/a");
   ASSERT_TRUE(source);
   EXPECT_EQ(dump(*source), was);
   source->routeDel(4);
   source->routeIs(99)->metricIs(9);
   expectSame(second, reader, "routing/a");
   second.manager->del("routing/a");
   EXPECT_TRUE(turnUntil(activity, [&] { return !reader.manager->getEntity("routing/a"); }));
   EXPECT_EQ(server->roots(), 0u);
}

TEST_F(ServerTest, directoriesListWhatComesAndGoes) {
   Program owner = program(), names = program(), entries = program();
   const auto has = [](const Program& program, const char* name) {
      const auto dir = program.manager->get<Vok::Dir>("config/input");
      return dir && dir->entityPtrHas(Vok::Name(name));
   };
   const auto a = owner.own<Source>("config/input/a");
   ASSERT_TRUE(owner.own<Source>("config/input/deep/b"));
   a->countIs(5);
   EXPECT_EQ(names.mounted("config/input/", "Vok::Dir", MountFilter::names()), MountStatus::success);
   EXPECT_EQ(entries.mounted("config/input/", "Vok::Dir", MountFilter::entries()), MountStatus::success);
   EXPECT_TRUE(has(names, "a") && has(names, "deep") && has(entries, "a"));
   EXPECT_FALSE(names.manager->get<Source>("config/input/a"));
   EXPECT_TRUE(turnUntil(activity, [&] { return text(entries, "config/input/a") == dump(*a); }));
   ASSERT_TRUE(owner.own<Source>("config/input/c"));
   owner.manager->del("config/input/deep/b");
   owner.manager->del("config/input/a");
   for (const Program* program : {&names, &entries})
      EXPECT_TRUE(turnUntil(
          activity, [&] { return has(*program, "c") && !has(*program, "a") && !has(*program, "deep"); }));
}

TEST_F(ServerTest, aSlowReaderCatchesUpAndHoldsNobodyBack) {
   Program owner = program(), quick = program();
   Vok::Activity slowly; // turned now and then only
   auto [ours, theirs] = socketPair();
   server->clientIs(std::move(theirs));
   Program slow(slowly, catalogue(), std::move(ours));
   const auto source = owner.own<Source>("routing/a");
   fill(*source, 1000);
   const auto mounting = slow.mount("routing/a", "HubdbRoutes::Source", MountFilter::read());
   ASSERT_EQ(quick.mounted("routing/a", "HubdbRoutes::Source", MountFilter::read()), MountStatus::success);
   ASSERT_TRUE(turnUntil(activity, [&] {
      slowly.turn(0);
      return mounting->has_value();
   }));
   std::string note(2000, 'x');
   for (Vok::U32 round = 0; round < 100; ++round) { // far more than the queue holds
      for (Vok::U32 key = 0; key < 100; ++key) {
         note[key % note.size()] = static_cast<char>('a' + round % 26);
         source->noteIs(Vok::Name(std::to_string(key)), note);
      }
      source->routeDel(round);
      source->routeIs(2000 + round)->viaIs(HubdbRoutes::Via(round, round), true);
      ASSERT_TRUE(owner.safe());
   }
   expectSame(owner, quick, "routing/a");
   EXPECT_NE(text(slow, "routing/a"), text(owner, "routing/a"));
   EXPECT_TRUE(turnUntil(activity, [&] {
      slowly.turn(0);
      return text(slow, "routing/a") == text(owner, "routing/a");
   }));
}

TEST_F(ServerTest, aValueThatIsTooLargeKeepsNothingElseBack) {
   const Vok::TraceCapture lines("HubdbConnection/0");
   Program owner = program(), reader = program();
   const auto source = owner.own<Source>("routing/a");
   ASSERT_EQ(reader.mounted("routing/a", "HubdbRoutes::Source", MountFilter::read()), MountStatus::success);
   source->noteIs(Vok::Name("first"), "1");
   source->noteIs(Vok::Name("large"), std::string(2 << 20, 'x'));
   source->countIs(9);
   const auto read = reader.manager->get<Source>("routing/a");
   EXPECT_TRUE(turnUntil(activity, [&] { return read->count() == 9; }));
   EXPECT_TRUE(owner.safe());
   EXPECT_EQ(read->notes(), 1u);
   EXPECT_EQ(lines.lines().size(), 1u);
}

TEST_F(ServerTest, anotherDeclarationIsRefusedWithBothFingerprints) {
   struct Listener : Hubdb::LinkClient {
      Hubdb::Link* link = nullptr;
      MountStatus status = MountStatus::success;
      std::string text;
      void onConnected() override {
         link->mount({1, "a", "HubdbRoutes::Plain", 0x1234, MountFilter::read(), false});
      }
      void onDisconnected() override {}
      void onWritable() override {}
      void onMountStatus(Hubdb::MountId, MountStatus ended, const Vok::String& why) override {
         status = ended;
         text = why;
      }
      void onSnapshotBegin(Hubdb::MountId) override {}
      void onSnapshotEnd(Hubdb::MountId) override {}
      void onRecords(Hubdb::MountId, const Vok::U8*, std::size_t) override {}
      void onEntry(Hubdb::MountId, const Vok::String&, bool, const Vok::String&) override {}
      void onGone(Hubdb::MountId) override {}
   } listener;
   auto [ours, theirs] = socketPair();
   server->clientIs(std::move(theirs));
   Hubdb::Client client(activity, listener, std::move(ours), "old");
   listener.link = &client;
   ASSERT_TRUE(turnUntil(activity, [&] { return listener.status == MountStatus::wrongDeclaration; }));
   char own[20];
   std::snprintf(own, sizeof own, "%016llx",
                 static_cast<unsigned long long>(Hubdb::fingerprint(HubdbRoutes::Plain::vokType())));
   EXPECT_EQ(listener.text, "the declaration of 'HubdbRoutes::Plain' differs: this program has "
                            "0000000000001234, the server " +
                                std::string(own) + "; build both from the same declarations");
}

TEST(AccessTest, grantsAndTheirErrors) {
   const Hubdb::Access access("# comment\n"
                              "user 4711 own routing/a   # and more\n"
                              "\n"
                              "group 77 read routing\n"
                              "any read /\n"
                              "any own scratch/\n",
                              "access");
   const Hubdb::Credentials user{1, 4711, {5}}, member{1, 9, {5, 77}};
   EXPECT_TRUE(access.mayOwn(user, "routing/a"));
   EXPECT_TRUE(access.mayOwn(user, "routing/a/b"));
   EXPECT_FALSE(access.mayOwn(user, "routing/ab"));
   EXPECT_FALSE(access.mayOwn(member, "routing/a"));
   EXPECT_TRUE(access.mayRead(member, "other"));
   EXPECT_TRUE(access.mayOwn(member, "scratch/x"));
   EXPECT_FALSE(Hubdb::Access("group 77 read routing", "access").mayRead(user, "routing"));
   EXPECT_TRUE(Hubdb::Access("", "access").mayOwn({1, 0, {}}, "a"));
   EXPECT_TRUE(Hubdb::Access().mayOwn(user, "a"));

   const std::pair<const char*, const char*> wrong[] = {
       {"\nall read a", "f:2: 'all' is nobody; write 'user NAME', 'group NAME' or 'any'"},
       {"any write a", "f:1: 'write' is no right; write 'own' or 'read'"},
       {"user no-such-user own a",
        "f:1: no user is called 'no-such-user'; name one that exists, or give its number"},
       {"any own", "f:1: path '' is empty; write segments separated by '/'"},
       {"any own a b", "f:1: 'b' is too much; a path ends the line"},
   };
   for (const auto& [text, message] : wrong)
      try {
         Hubdb::Access(text, "f");
         ADD_FAILURE() << text;
      } catch (const Vok::ParseError& error) {
         EXPECT_STREQ(error.what(), message);
      }
}

TEST(SocketPathTest, oneServerASocket) {
   TemporaryFolder folder;
   const std::string path = folder / "socket";
   Vok::Activity activity;
   std::optional<Hubdb::Server> first(std::in_place, activity, catalogue());
   first->listen(path);
   EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0660));
   Hubdb::Server second(activity, catalogue());
   try {
      second.listen(path);
      ADD_FAILURE();
   } catch (const Vok::Error& error) {
      EXPECT_EQ(error.what(), "process " + std::to_string(getpid()) + " serves socket '" + path +
                                  "' already; stop it, or name another socket");
   }
   first.reset();
   EXPECT_FALSE(std::filesystem::exists(path));
   { // one that nobody listens on any more
      ServerProcess dead(catalogue(), path, "");
      dead.start();
      Program program(activity, catalogue(), path);
      ASSERT_TRUE(program.own<Source>("a"));
   }
   EXPECT_TRUE(std::filesystem::exists(path));
   second.listen(path);
   Program program(activity, catalogue(), path);
   EXPECT_TRUE(program.own<Source>("a"));
}

} // namespace
} // namespace HubdbTest
