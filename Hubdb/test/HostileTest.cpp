// Bytes that no client should send, while a good pair goes on.

#include "Hubdb/test/Database.h"

#include "Vok/Trace.h"

#include <cstdlib>
#include <random>
#include <unistd.h>

namespace HubdbTest {
namespace {

using Hubdb::MountFilter;
using Hubdb::Wire::Kind;
using HubdbRoutes::Source;

/// A conversation as a client would begin it, in frames. Whether it welcomes pipes is said in the last byte
/// of the first.
std::vector<std::string> conversation(Vok::U64 fingerprint) {
   std::vector<std::string> frames;
   const auto frame = [&](Kind kind, auto fields) {
      Vok::NboAttrLog::Writer body;
      fields(body);
      Vok::NboAttrLog::Writer whole;
      whole.u32(static_cast<Vok::U32>(body.size() + 1));
      whole.u8(static_cast<Vok::U8>(kind));
      whole.bytes(body.buffer().data(), body.size());
      frames.emplace_back(whole.buffer().begin(), whole.buffer().end());
   };
   const auto mount = [&](Vok::U32 id, MountFilter filter, bool resume, const char* path) {
      frame(Kind::mount, [&](auto& body) {
         body.u32(id);
         body.u8(static_cast<Vok::U8>(filter.kind()));
         body.u8(resume);
         body.u64(fingerprint);
         body.string(path);
         body.string("HubdbRoutes::Source");
      });
   };
   frame(Kind::hello, [](auto& body) {
      body.u16(Hubdb::Wire::version);
      body.string("hostile");
      body.u8(false);
   });
   mount(1, MountFilter::own(), true, "hostile/a");
   mount(2, MountFilter::read(), false, "good/a");
   mount(3, MountFilter::entries(), false, "good");
   for (const Kind kind :
        {Kind::snapshotBegin, Kind::records, Kind::snapshotEnd, Kind::records, Kind::unmount})
      frame(kind, [&](auto& body) {
         body.u32(1);
         if (kind != Kind::records)
            return;
         Hubdb::RecordWriter records;
         Vok::NboAttrLog::Writer key;
         const Vok::U32 number = frames.size() > 6 ? 2 : 1;
         key.u32(number);
         records.member(number, 0, Source::vokType().attribute("route")->id, key.buffer());
         body.bytes(records.bytes().data(), records.size());
      });
   frame(Kind::mount, [&](auto& body) { body.u32(9); });
   return frames;
}

/// A client's side, over the socket or over the pipes that the server has given it.
struct Line {
   Vok::Descriptor socket;
   Hubdb::Pipes pipes;

   ssize_t send(const char* bytes, std::size_t size) const {
      return pipes ? ::write(pipes.out.fd(), bytes, size) : ::send(socket.fd(), bytes, size, MSG_NOSIGNAL);
   }
   ssize_t receive(char* bytes, std::size_t size) const {
      return ::read(pipes ? pipes.in.fd() : socket.fd(), bytes, size);
   }
};

struct HostileTest : ServerFixture {
   Line line() {
      auto [ours, theirs] = socketPair();
      server->clientIs(std::move(theirs));
      return {std::move(ours), {}};
   }
   /// One that has been greeted.
   Line line(bool overPipes) {
      Line made = line();
      std::string hello = conversation(0)[0];
      hello.back() = overPipes;
      made.send(hello.data(), hello.size());
      Vok::U8 welcome[100];
      EXPECT_TRUE(turnUntil(activity, [&] {
         return Hubdb::receivePipes(made.socket.fd(), welcome, sizeof welcome, made.pipes) > 0;
      }));
      EXPECT_EQ(bool(made.pipes), overPipes);
      return made;
   }
   /// Sends it, a piece at a time, while the server turns; the line goes then.
   void send(const Line& line, const std::string& bytes, std::mt19937& random) {
      for (std::size_t at = 0; at < bytes.size();) {
         const std::size_t size = std::min<std::size_t>(bytes.size() - at, 1 + random() % 200);
         const bool taken = line.send(bytes.data() + at, size) >= 0;
         if (!taken && !(line.pipes && errno == EAGAIN && activity.turn(0)))
            break;
         at += taken ? size : 0;
         activity.turn(0);
      }
   }
};

/// A fixed number of conversations, or as many seconds of them as HUBDB_HOSTILE_SECONDS says.
TEST_F(HostileTest, aGoodPairGoesOn) {
   Vok::TraceCapture quiet("HubdbServer/1");
   std::mt19937 random(23);
   Program owner = program(), reader = program();
   const auto source = owner.own<Source>("good/a");
   ASSERT_EQ(reader.mounted("good/a", "HubdbRoutes::Source", MountFilter::read()), Hubdb::mountSuccess());
   const auto frames = conversation(Hubdb::fingerprint(Source::vokType()));
   const char* seconds = std::getenv("HUBDB_HOSTILE_SECONDS");
   const auto until =
       std::chrono::steady_clock::now() + std::chrono::seconds(seconds ? std::atoi(seconds) : 0);
   for (int round = 0; round < 1500 || std::chrono::steady_clock::now() < until; ++round) {
      const bool greeted = random() % 2;
      std::string bytes;
      for (std::size_t i = greeted; i < frames.size(); ++i)
         if (random() % 8 != 0)
            bytes += frames[i];
      switch (random() % 4) {
      case 0: // bytes of no meaning at all
         for (char& byte : bytes)
            byte = static_cast<char>(random());
         break;
      case 1: // cut
         bytes.resize(random() % (bytes.size() + 1));
         break;
      default: // some bytes wrong
         for (Vok::U32 count = random() % 6; count > 0 && !bytes.empty(); --count)
            bytes[random() % bytes.size()] = static_cast<char>(random());
      }
      send(greeted ? line(random() % 2) : line(), bytes, random);
      source->countIs(round);
      source->routeIs(random() % 50)->metricIs(random());
      source->routeDel(random() % 50);
      if (round % 100 == 0)
         expectSame(owner, reader, "good/a");
   }
   expectSame(owner, reader, "good/a");
   EXPECT_TRUE(turnUntil(activity, [&] { return server->clients() == 2; }));
}

/// Answers to requests are queued whatever their number: the requests have to wait. Who goes is seen all the
/// same.
TEST_F(HostileTest, whoDoesNotListenIsNotListenedTo) {
   const std::string request = conversation(0)[2]; // with a fingerprint that gets each mount refused
   std::string requests;
   while (requests.size() < 64 * 1024)
      requests += request;
   for (const bool overPipes : {false, true}) {
      SCOPED_TRACE(overPipes);
      std::optional<Line> client = line(overPipes);
      std::size_t at = 0;
      /// Sends until neither the line takes more nor the server has anything to do.
      const auto sendAll = [&](std::size_t limit) {
         std::size_t sent = 0;
         for (bool more = true; more && sent < limit;) {
            const auto size = client->send(requests.data() + at, requests.size() - at);
            more = activity.turn(0) || size > 0;
            sent += std::max<ssize_t>(size, 0);
            at = (at + std::max<ssize_t>(size, 0)) % requests.size();
         }
         return sent;
      };
      constexpr std::size_t tooMuch = 32 << 20;
      ASSERT_LT(sendAll(tooMuch), tooMuch);
      std::vector<char> answers(1 << 20);
      while (client->receive(answers.data(), answers.size()) > 0 || activity.turn(0))
         continue;
      EXPECT_GT(sendAll(1 << 20), 0u) << "it listens again";
      ASSERT_LT(sendAll(tooMuch), tooMuch);
      EXPECT_EQ(server->clients(), 1u);
      client.reset();
      EXPECT_TRUE(turnUntil(activity, [&] { return server->clients() == 0; }));
   }
}

TEST_F(HostileTest, whoTakesNothingCostsNothing) {
   const auto frames = conversation(0);
   auto [ours, theirs] = socketPair();
   server->clientIs(std::move(theirs));
   const std::string bytes = frames[0] + frames[2];
   shutdown(ours.fd(), SHUT_RD);
   ASSERT_EQ(::send(ours.fd(), bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
   int turns = 0;
   while (activity.turn(0) && turns < 100)
      ++turns;
   EXPECT_LT(turns, 100) << "the server never comes to rest";
   ours = Vok::Descriptor();
   EXPECT_TRUE(turnUntil(activity, [&] { return server->clients() == 0; }));
}

TEST_F(HostileTest, saysWhatIsWrong) {
   const auto good = conversation(Hubdb::fingerprint(Source::vokType()));
   const auto hello = good[0], mount = good[1], records = good[5];
   const struct {
      std::string bytes;
      const char* reason;
   } cases[] = {
       {std::string("\0\0\0\0", 4), "a frame of 0 bytes; 1 to 1048512 are allowed"},
       {std::string("\x7f\0\0\0", 4), "a frame of 2130706432 bytes; 1 to 1048512 are allowed"},
       {mount, "the first frame is no hello"},
       {hello + hello, "a second hello"},
       {std::string("\0\0\0\10\1\0\1\0\0\0\0\0", 12),
        "it speaks version 1, the server version 2; run both from one installation"},
       {hello + std::string("\0\0\0\1\x63", 5), "no frame of kind 99 comes from a client"},
       {hello + std::string("\0\0\0\5\3\0\0\0\7", 9), "there is no mount 7"},
       {hello + mount + mount, "mount 1 is there already"},
       {hello + mount + std::string("\0\0\0\6\5\0\0\0\1\7", 10),
        "record at byte 0 for 'hostile/a': record at byte 0: no operation has the number 7"},
       {hello + good[2] + std::string("\0\0\0\5\5\0\0\0\2", 9),
        "mount 2 of 'good/a' owns nothing; what is mounted read-only is its owner's to write"},
   };
   std::mt19937 random(1);
   for (const auto& c : cases) {
      Vok::TraceCapture lines("HubdbServer/1");
      send(line(), c.bytes, random);
      ASSERT_TRUE(turnUntil(activity, [&] { return server->clients() == 0; })) << c.reason;
      ASSERT_EQ(lines.lines().size(), 1u) << c.reason;
      EXPECT_TRUE(lines.lines()[0].ends_with(std::string(" is ended: ") + c.reason)) << lines.lines()[0];
   }
}

} // namespace
} // namespace HubdbTest
