#include "Mpls/test/LfibFixture.h"
#include "Pooltab/test/TestTables.h"

#include <csignal>
#include <random>
#include <sys/wait.h>

/// A writer and its readers in processes of their own.

namespace Mpls {
namespace {

using PooltabTest::isClean;
using PooltabTest::TestRoot;

constexpr Vok::U32 lastLabel = 999;

/// A reader's check beside a writer at work: what leads nowhere must no longer be what the reader read.
class Checker final : public LfibStatus::Notifiee {
  public:
   using LfibStatus::Notifiee::Notifiee;
   Vok::U64 routesSeen = 0;
   Vok::U64 dangling = 0;

   void onLfibRoute(const RouteKey& key) override { check(key); }
   void onViaSet(const LfibViaSetKey&) override { checkAll(); }
   void onMplsVia(const LfibViaKey&) override { checkAll(); }

   void checkAll() {
      for (Vok::U32 label = 16; label < 20; ++label)
         check(labelKey(label));
   }

  private:
   void check(const RouteKey& key) {
      const auto& lfib = static_cast<const LfibStatus&>(*vokWatched());
      const LfibRoute route = lfib.lfibRoute(key);
      if (!route)
         return;
      ++routesSeen;
      const LfibViaSet viaSet = lfib.viaSet(route.viaSetKey());
      if (!viaSet) {
         dangling += lfib.lfibRoute(key) == route;
         return;
      }
      for (const auto [slot, viaKey] : viaSet.viaKeyEach())
         if (!lfib.mplsViaHas(viaKey))
            dangling += lfib.viaSet(viaSet.key()) == viaSet && lfib.lfibRoute(key) == route;
   }
};

/// Ends with 0 when it has seen the route of `lastLabel` come, and nothing that leads nowhere before.
pid_t readerProcess(const TestRoot& root) {
   const pid_t pid = fork();
   if (pid != 0)
      return pid;
   const Vok::Ptr<LfibStatus> lfib = lfibStatusFactory("lfib");
   VokPooltab::ReaderMount mount(lfib, root.pool("lfib"));
   Checker checker(lfib);
   const pid_t parent = getppid();
   while (!mount.isMounted() || !lfib->lfibRouteHas(labelKey(lastLabel))) {
      if (getppid() != parent)
         _exit(3); // the writer ended early
      mount.deliver(1);
      checker.checkAll();
   }
   _exit(checker.dangling != 0 ? 1 : checker.routesSeen == 0 ? 2 : 0);
}

TEST(LfibReaderTest, noRouteLeadsNowhereWhileTheWriterRewrites) {
   const TestRoot root;
   const pid_t readers[] = {readerProcess(root), readerProcess(root)};
   const Vok::Ptr<LfibStatus> lfib = lfibStatusFactory("lfib");
   VokPooltab::WriterMount mount(lfib, root.pool("lfib"));
   const auto writer = Vok::make<LfibWriter>(lfib);
   std::mt19937 random(3);
   for (int turn = 0; turn < 40000; ++turn) {
      const Vok::U32 label = 16 + random() % 4;
      writer->inPlaceAdjacencyUpdateSupportedIs(random() % 2);
      if (random() % 8 == 0)
         writer->lfibRouteDel(labelKey(label));
      else
         writer->lfibRouteIs(mplsRoute(label, {mplsVia(random() % 4), mplsVia(4 + random() % 4)}));
   }
   writer->lfibRouteIs(mplsRoute(16, {mplsVia(1)}));
   writer->lfibRouteIs(mplsRoute(lastLabel, {mplsVia(1)}));
   mount.flush();
   for (const pid_t reader : readers) {
      int status = -1;
      waitpid(reader, &status, 0);
      EXPECT_TRUE(WIFEXITED(status));
      EXPECT_EQ(WEXITSTATUS(status), 0);
   }
}

constexpr Vok::U32 loadSize = 2000;

void load(LfibWriter& writer, Vok::U32 round) {
   for (Vok::U32 label = 16; label < 16 + loadSize; ++label)
      writer.lfibRouteIs(mplsRoute(label, {mplsVia(label), mplsVia(label + round)}));
}

// The kill comes after a number of changes, wherever in the load that is.
TEST(LfibReaderTest, theNextWriterCompletesWhatAKilledOneBegan) {
   const TestRoot root;
   std::mt19937 random(5);
   for (Vok::U32 round = 1; round <= 12; ++round) {
      const Vok::Ptr<LfibStatus> seen = lfibStatusFactory("seen");
      VokPooltab::ReaderMount reader(seen, root.pool("lfib"));
      const auto changes = [&] {
         reader.deliver(1000);
         return seen->lfibRouteControl().statistics().changes;
      };
      const Vok::U64 until = changes() + 1 + random() % loadSize;
      const pid_t pid = fork();
      if (pid == 0) {
         const Vok::Ptr<LfibStatus> lfib = lfibStatusFactory("lfib");
         VokPooltab::WriterMount mount(lfib, root.pool("lfib"));
         const auto writer = Vok::make<LfibWriter>(lfib);
         for (Vok::U32 again = 0;; ++again)
            load(*writer, round + again);
      }
      while (changes() < until)
         ASSERT_EQ(waitpid(pid, nullptr, WNOHANG), 0) << "the writer ended by itself";
      kill(pid, SIGKILL);
      waitpid(pid, nullptr, 0);
      while (reader.deliver(1000) == 1000)
         continue;
      EXPECT_TRUE(graphIsWhole(*seen)) << "round " << round;

      const Vok::Ptr<LfibStatus> lfib = lfibStatusFactory("lfib");
      VokPooltab::WriterMount mount(lfib, root.pool("lfib"));
      const auto writer = Vok::make<LfibWriter>(lfib);
      writer->orphanDelAll();
      EXPECT_TRUE(isClean<LfibRoute>(*root.pool("lfib"), "lfibRoute"));
      EXPECT_TRUE(isClean<LfibViaSet>(*root.pool("lfib"), "viaSet"));
      EXPECT_TRUE(isClean<LfibMplsVia>(*root.pool("lfib"), "mplsVia"));
      load(*writer, round);
      EXPECT_EQ(lfib->lfibRoutes(), loadSize);
      EXPECT_EQ(lfib->viaSets(), loadSize);
      EXPECT_EQ(lfib->mplsVias(), 2 * loadSize);
      EXPECT_TRUE(graphIsWhole(*lfib));
   }
}

} // namespace
} // namespace Mpls
