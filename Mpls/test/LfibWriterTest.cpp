#include "Mpls/test/LfibFixture.h"

#include "Mpls/LfibBatch.h"

#include "Vok/Trace.h"

#include <map>
#include <random>

namespace Mpls {
namespace {

using Steps = std::vector<std::string>;

class LfibWriterTest : public LfibFixture {
  protected:
   RowWatch watch{lfib};
};

TEST_F(LfibWriterTest, rowsComeAndGoInTheOrderThatReadersNeed) {
   const auto first = mplsVia(1), second = mplsVia(2), third = mplsVia(3);
   writer->lfibRouteIs(mplsRoute(100, {first, second}));
   EXPECT_EQ(watch.steps(), (Steps{"+via", "+via", "+set", "+route"}));
   const auto keys = viaKeysOf(100);

   writer->lfibRouteIs(mplsRoute(100, {first, second}));
   EXPECT_EQ(watch.steps(), (Steps{"+set", "=route", "-set"}));
   EXPECT_EQ(viaKeysOf(100), keys);

   writer->lfibRouteIs(mplsRoute(100, {first, third}));
   EXPECT_EQ(watch.steps(), (Steps{"+via", "+set", "=route", "-set", "-via"}));
   EXPECT_EQ(viaKeysOf(100).at(0), keys.at(0));
   EXPECT_FALSE(lfib->mplsViaHas(keys.at(1)));

   writer->lfibRouteDel(labelKey(101));
   EXPECT_EQ(watch.steps(), Steps{});
   writer->lfibRouteDel(labelKey(100));
   EXPECT_EQ(watch.steps(), (Steps{"-route", "-set", "-via", "-via"}));
}

TEST_F(LfibWriterTest, inPlaceARouteKeepsItsViaSetKey) {
   writer->inPlaceAdjacencyUpdateSupportedIs(true);
   writer->lfibRouteIs(mplsRoute(100, {mplsVia(1), mplsVia(2)}));
   const LfibViaSetKey key = lfib->lfibRoute(labelKey(100)).viaSetKey();
   watch.steps();
   writer->lfibRouteIs(mplsRoute(100, {mplsVia(1), mplsVia(2)}));
   EXPECT_EQ(watch.steps(), Steps{});
   writer->lfibRouteIs(mplsRoute(100, {mplsVia(1), mplsVia(3)}));
   EXPECT_EQ(watch.steps(), (Steps{"+via", "=set", "-via"}));
   EXPECT_EQ(lfib->lfibRoute(labelKey(100)).viaSetKey(), key);

   // Another source or via-set type is another key.
   auto route = mplsRoute(100, {mplsVia(1), mplsVia(3)});
   route.viaSetTypeIs(LfibViaSetType::multicast);
   writer->lfibRouteIs(route);
   EXPECT_EQ(watch.steps(), (Steps{"+set", "=route", "-set"}));
   route.sourceIs(LFib::Source::lfibSourceBgpLu);
   writer->lfibRouteIs(route);
   EXPECT_EQ(watch.steps(), (Steps{"+set", "=route", "-set"}));
   EXPECT_EQ(lfib->lfibRoute(labelKey(100)).viaSetKey().source(), LFib::Source::lfibSourceBgpLu);
}

TEST_F(LfibWriterTest, aRouteMayChangeTheKindOfItsVias) {
   writer->lfibRouteIs(mplsRoute(100, {mplsVia(1)}));
   watch.steps();
   ConsolidatedLfibRoute route = mplsRoute(100, {});
   route.viaTypeIs(viaTypeMplsPseudowire_);
   route.pwViaIs(pwVia(1));
   writer->lfibRouteIs(route);
   EXPECT_EQ(watch.steps(), (Steps{"+pw", "+set", "=route", "-set", "-via"}));
   writer->lfibRouteDelAll();
   EXPECT_EQ(lfib->lfibRoutes() + lfib->viaSets() + lfib->mplsVias() + lfib->pwVias(), 0u);
}

TEST_F(LfibWriterTest, viasAboveTheLimitAreDroppedAndTraced) {
   std::vector<LfibMplsVia> vias;
   for (Vok::U32 number = 0; number < 130; ++number)
      vias.push_back(mplsVia(number));
   const Vok::TraceCapture capture("MplsLfibWriter/1");
   writer->lfibRouteIs(mplsRoute(100, {vias.begin(), vias.begin() + 128}));
   EXPECT_TRUE(capture.lines().empty());
   writer->lfibRouteIs(mplsRoute(100, vias));
   EXPECT_EQ(viaKeysOf(100).size(), 128u);
   EXPECT_EQ(lfib->mplsVias(), 128u);
   ASSERT_EQ(capture.lines().size(), 1u);
   EXPECT_NE(capture.lines()[0].find(" Reached via index limit (128), ignoring extra vias"),
             std::string::npos)
       << capture.lines()[0];
}

TEST_F(LfibWriterTest, aWeightOfZeroCountsAsOne) {
   writer->lfibRouteIs(mplsRoute(100, {mplsVia(1, 0), mplsVia(2, 7)}));
   const auto keys = viaKeysOf(100);
   EXPECT_EQ(lfib->mplsVia(keys.at(0)).weight(), 1u);
   EXPECT_EQ(lfib->mplsVia(keys.at(1)).weight(), 7u);
}

TEST_F(LfibWriterTest, whatCannotBeWrittenLeavesTheTablesAsTheyWere) {
   writer->lfibRouteIs(mplsRoute(100, {mplsVia(1)}));
   watch.steps();
   const std::pair<Vok::U32, std::string> cases[] = {{3, "viaType not yet supported"},
                                                     {4, "viaType not yet supported"},
                                                     {9, "viaType not yet supported"},
                                                     {12, "invalid viaType"}};
   for (const auto& [viaType, message] : cases) {
      ConsolidatedLfibRoute route = mplsRoute(100, {mplsVia(2)});
      route.viaTypeIs(static_cast<LfibViaType>(viaType));
      try {
         writer->lfibRouteIs(route);
         ADD_FAILURE() << viaType;
      } catch (const Vok::InternalError& error) {
         EXPECT_NE(std::string(error.what()).find(message + " " + std::to_string(viaType)), std::string::npos)
             << error.what();
      }
   }
   EXPECT_EQ(watch.steps(), Steps{});
}

TEST_F(LfibWriterTest, brokenCallersStop) {
   LfibMplsVia keyed = mplsVia(1);
   keyed.keyIs(LfibViaKey(LFib::Source::lfibSourceLdp, viaTypeMplsIp_, 1));
   EXPECT_DEATH(mplsRoute(100, {keyed}), "Vias in ConsolidatedLfibRoute should have an unset key only");
   for (const LfibViaType viaType : {viaTypeMplsUnknown_, viaTypeMax_}) {
      ConsolidatedLfibRoute route = mplsRoute(100, {});
      route.viaTypeIs(viaType);
      EXPECT_DEATH(writer->lfibRouteIs(route),
                   "route.viaType\\(\\) != viaTypeMplsUnknown_ && route.viaType\\(\\) != viaTypeMax_");
   }
   writer->lfibRouteIs(mplsRoute(100, {mplsVia(1)}));
   EXPECT_DEATH(
       {
          lfib->viaSetDelAll();
          writer->lfibRouteIs(mplsRoute(100, {mplsVia(1)}));
       },
       "!!oldViaSet");
}

// Random routes against a model that holds what each route should have: after each call the tables hold
// just that, and a via that stayed has kept its key.
TEST_F(LfibWriterTest, tablesHoldWhatWasAskedFor) {
   std::mt19937 random(20);
   std::map<Vok::U32, std::map<LfibMplsVia, LfibViaKey>> model;
   for (int turn = 0; turn < 2000; ++turn) {
      const Vok::U32 label = 16 + random() % 12;
      writer->inPlaceAdjacencyUpdateSupportedIs(random() % 2);
      if (random() % 4 == 0) {
         writer->lfibRouteDel(labelKey(label));
         model.erase(label);
      } else {
         std::vector<LfibMplsVia> vias;
         for (Vok::U32 number = 0; number < 5; ++number)
            if (random() % 2)
               vias.push_back(mplsVia(number, 1 + number % 3));
         writer->lfibRouteIs(mplsRoute(label, vias));
         std::map<LfibMplsVia, LfibViaKey> now;
         for (const LfibViaKey& key : viaKeysOf(label)) {
            LfibMplsVia via = lfib->mplsVia(key);
            via.keyIs(LfibViaKey());
            const auto before = model[label].find(via);
            EXPECT_TRUE(before == model[label].end() || before->second == key) << "turn " << turn;
            now[via] = key;
         }
         ASSERT_EQ(now.size(), vias.size()) << "turn " << turn;
         for (const LfibMplsVia& via : vias)
            EXPECT_TRUE(now.contains(via));
         model[label] = now;
      }
      std::size_t vias = 0;
      for (const auto& [held, its] : model)
         vias += its.size();
      ASSERT_EQ(lfib->lfibRoutes(), model.size()) << "turn " << turn;
      ASSERT_EQ(lfib->viaSets(), model.size()) << "turn " << turn;
      ASSERT_EQ(lfib->mplsVias(), vias) << "turn " << turn;
   }
   EXPECT_EQ(writer->orphanDelAll(), 0u);
}

// The same calls one by one and in batches, over few labels, so that a batch names a route more than once and
// rows move under the places that it remembers: the same steps in the same order, and the same rows.
TEST_F(LfibWriterTest, aBatchIsItsRoutesOneByOne) {
   const Vok::Ptr<LfibStatus> other = lfibStatusFactory("lfib");
   const VokPooltab::WriterMount otherMount{other, std::make_shared<Pooltab::PrivateFolder>("lfib")};
   const Vok::Ptr<LfibWriter> single = Vok::make<LfibWriter>(other);
   RowWatch singleWatch{other};
   std::mt19937 random(7);
   for (int turn = 0; turn < 60; ++turn) {
      std::vector<ConsolidatedLfibRoute> routes;
      std::vector<RouteKey> keys;
      for (unsigned number = random() % 40; number > 0; --number) {
         routes.push_back(mplsRoute(16 + random() % 20, {mplsVia(random() % 3), mplsVia(3 + random() % 2)}));
         keys.push_back(labelKey(16 + random() % 24));
      }
      lfibRoutesIs(*writer, routes);
      lfibRoutesDel(*writer, keys);
      for (const ConsolidatedLfibRoute& route : routes)
         single->lfibRouteIs(route);
      for (const RouteKey& key : keys)
         single->lfibRouteDel(key);
      ASSERT_EQ(watch.steps(), singleWatch.steps()) << "turn " << turn;
      for (const LfibRoute& route : other->lfibRouteEach()) {
         ASSERT_EQ(lfib->lfibRoute(route.key()), route);
         ASSERT_EQ(lfib->viaSet(route.viaSetKey()), other->viaSet(route.viaSetKey()));
      }
   }
}

TEST_F(LfibWriterTest, leftoversOfAWriterThatEndedHalfwayAreFound) {
   writer->lfibRouteIs(mplsRoute(100, {mplsVia(1)}));
   writer->lfibRouteIs(mplsRoute(101, {mplsVia(2), mplsVia(3)}));
   lfib->lfibRouteDel(labelKey(101));
   EXPECT_EQ(writer->orphanDelAll(), 3u);
   EXPECT_EQ(lfib->viaSets(), 1u);
   EXPECT_EQ(lfib->mplsVias(), 1u);
   EXPECT_EQ(lfib->mplsVia(viaKeysOf(100).at(0)).nextHop(), mplsVia(1).nextHop());
}

} // namespace
} // namespace Mpls
