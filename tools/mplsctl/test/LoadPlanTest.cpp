#include "tools/mplsctl/lfib/LoadPlan.h"
#include "tools/mplsctl/formats/RouteWords.h"

#include "Pooltab/VokPooltab.h"

#include <fmt/core.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace mplsctl {

namespace {

/// Tables in private memory, and loads into them.
class LoadPlanTest : public testing::Test {
  protected:
   /// "added changed removed unchanged", and then the remarks.
   std::string load(std::string_view text, SourceSet sources = {}) {
      const RouteFile file = readRoutes("t", text);
      const LoadPlan plan(file, sources.any() ? sources : file.sources, *status_);
      plan.apply(*writer_);
      std::string done =
          fmt::format("{} {} {} {}", plan.added(), plan.changed(), plan.removed(), plan.unchanged());
      for (const Remark& remark : plan.remarks())
         done += fmt::format("; {} x{}", remark.what, remark.count);
      return done;
   }
   Mpls::LfibRoute row(Vok::U32 label) const {
      return status_->lfibRoute(Mpls::RouteKey::fromLabel(Kinet::MplsLabel(label)));
   }
   std::vector<Mpls::LfibViaKey> viaKeys(Vok::U32 label) const {
      std::vector<Mpls::LfibViaKey> keys;
      const Mpls::LfibViaSet viaSet = status_->viaSet(row(label).viaSetKey());
      for (const auto [slot, key] : viaSet.viaKeyEach())
         keys.push_back(key);
      return keys;
   }

   Vok::Ptr<Mpls::LfibStatus> status_ = Mpls::lfibStatusFactory(Vok::Name("lfib"));
   VokPooltab::WriterMount mount_{status_, Pooltab::privateFolder("lfib")};
   Vok::Ptr<Mpls::LfibWriter> writer_ = Mpls::lfibWriterFactory(status_);
};

TEST_F(LoadPlanTest, theFileIsTheCompleteWishForItsSources) {
   EXPECT_EQ(load("100 dev a\n200 dev a proto ldp\n201 dev b proto ldp"), "3 0 0 0");
   const Mpls::LfibRoute kept = row(200);
   EXPECT_EQ(load("200 dev a proto ldp\n201 dev c proto ldp\n202 dev d proto ldp"), "1 1 0 1");
   EXPECT_EQ(row(200), kept);
   EXPECT_EQ(load("200 dev a proto ldp"), "0 0 2 1");
   EXPECT_EQ(status_->lfibRoutes(), 2u) << "routes of other sources stay";
   EXPECT_EQ(status_->viaSets(), 2u);
   EXPECT_EQ(status_->mplsVias(), 2u);
}

TEST_F(LoadPlanTest, whatMakesARouteAnother) {
   const char* wishes[] = {
       "100 as 20 via inet 10.0.0.1 dev a",
       "100 as 21 via inet 10.0.0.1 dev a",
       "100 as 21 via inet 10.0.0.2 dev a",
       "100 as 21 via inet 10.0.0.2 dev b",
       "100 as 21 via inet 10.0.0.2 dev b metric 7",
       "100 as 21 via inet 10.0.0.2 dev b metric 7 ttl-propagate disabled",
       "100 metric 7\n nexthop dev a weight 2\n nexthop dev b weight 1",
       "100 metric 7\n nexthop dev a weight 3\n nexthop dev b weight 1",
   };
   const char* expected = "1 0 0 0";
   for (const char* wish : wishes) {
      EXPECT_EQ(load(wish), expected) << wish;
      EXPECT_EQ(load(wish), "0 0 0 1") << wish;
      expected = "0 1 0 0";
   }
   EXPECT_EQ(load("100 metric 7\n nexthop dev b\n nexthop dev a weight 3"), "0 0 0 1")
       << "the order says nothing";
}

TEST_F(LoadPlanTest, viasThatStayKeepTheirKeys) {
   load("100\n nexthop dev a\n nexthop dev b\n nexthop dev c");
   const auto before = viaKeys(100);
   EXPECT_EQ(load("100\n nexthop dev a\n nexthop dev x\n nexthop dev c"), "0 1 0 0");
   const auto after = viaKeys(100);
   unsigned kept = 0;
   for (const Mpls::LfibViaKey& key : after)
      kept += std::ranges::count(before, key);
   EXPECT_EQ(kept, 2u);
   EXPECT_EQ(status_->mplsVias(), 3u);
}

TEST_F(LoadPlanTest, labelsOfOthersAndOfBadLinesStay) {
   load("100 dev a proto ldp\n101 dev a\n102 dev a");
   EXPECT_EQ(load("100 dev b\n101 dev a"), "0 0 1 1; label that lfibSourceLdp holds in the tables x1");
   EXPECT_EQ(row(100).source(), Mpls::LFib::Source::lfibSourceLdp);
   EXPECT_EQ(load("101 dev /\n103 dev a"),
             "1 0 0 0; route of the tables kept as it is, for its line is bad x1");
   EXPECT_EQ(
       load("100 dev b\n103 dev b proto ldp", withInet6(Mpls::LFib::Source::lfibSourceLdp)),
       "0 0 1 0; route of another source than asked for x1; label that lfibSourceStaticMpls holds in the "
       "tables x1");
}

TEST_F(LoadPlanTest, whatADeadWriterLeftGoes) {
   load("100 dev a\n101\n nexthop dev a\n nexthop dev b");
   EXPECT_EQ(writer_->orphanDelAll(), 0u);
   // As if it had died with a new via set and a via half written, and another route half deleted.
   const Mpls::LfibViaKey via(Mpls::LFib::Source::lfibSourceLdp, Mpls::LfibViaType::viaTypeMplsIp, 9);
   Mpls::LfibMplsVia viaRow;
   viaRow.keyIs(via);
   status_->mplsViaIs(viaRow);
   status_->lfibRouteDel(Mpls::RouteKey::fromLabel(Kinet::MplsLabel(101)));
   EXPECT_EQ(writer_->orphanDelAll(), 4u);
   EXPECT_EQ(status_->viaSets(), 1u);
   EXPECT_EQ(status_->mplsVias(), 1u);
   EXPECT_EQ(load("100 dev a"), "0 0 0 1");
}

TEST_F(LoadPlanTest, bothFamiliesOfASourceAreOneWish) {
   EXPECT_EQ(load("100 via inet6 fe80::1 proto isis\n101 via inet 10.0.0.1 proto isis"), "2 0 0 0");
   EXPECT_EQ(row(100).source(), Mpls::LFib::Source::lfibSourceIsisSrV6Prefix);
   EXPECT_EQ(load("101 via inet 10.0.0.1 proto isis"), "0 0 1 1");
}

} // namespace

} // namespace mplsctl
