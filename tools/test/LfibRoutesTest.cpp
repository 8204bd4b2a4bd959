#include "tools/mpls-agent/routes/LfibRoutes.h"

#include "tools/config/Candidate.h"
#include "tools/config/Preview.h"
#include "tools/test/ConfigFixture.h"

#include <set>

namespace agent {

namespace {

using namespace tools::config;
using Mpls::LFib::Source;

/// What stands in the tables for a route, in words; what the rows must come to.
std::string routeText(const Mpls::LfibStatus& tables, const Mpls::LfibRoute& row) {
   const Mpls::LfibViaSet viaSet = tables.viaSet(row.viaSetKey());
   std::set<std::string> hops;
   for (const auto [slot, viaKey] : viaSet.viaKeyEach()) {
      if (viaKey.viaType() == Mpls::viaTypeIpLookup_) {
         hops.insert("vrf " + tables.ipLookupVia(viaKey).vrfName().text());
      } else {
         Mpls::LfibMplsVia via = tables.mplsVia(viaKey);
         EXPECT_FALSE(!via);
         via.keyIs(Mpls::LfibViaKey());
         hops.insert(via.pooltabString());
      }
   }
   std::string text = std::string(stringValue(row.source())) + " " + std::to_string(row.metric().value());
   for (const std::string& hop : hops)
      text += " | " + hop;
   return text;
}

using Content = std::map<Mpls::RouteKey, std::string>;

Content contentOf(const Mpls::LfibStatus& tables) {
   Content content;
   for (const Mpls::LfibRoute& row : tables.lfibRouteEach())
      content[row.key()] = routeText(tables, row);
   return content;
}

/// Says when a route of the tables goes that is still wished for.
class Withdrawals final : public Mpls::LfibStatus::Notifiee {
  public:
   Withdrawals(const Vok::Ptr<Mpls::LfibStatus>& tables, std::set<Mpls::RouteKey> wished)
       : Notifiee(tables), tables_(tables), wished_(std::move(wished)) {}
   void onLfibRoute(const Mpls::RouteKey& key) override {
      EXPECT_TRUE(!wished_.contains(key) || !!tables_->lfibRoute(key)) << key.stringValue();
   }

  private:
   const Vok::Ptr<Mpls::LfibStatus> tables_;
   const std::set<Mpls::RouteKey> wished_;
};

struct LfibRoutesTest : ConfigFixture {
   LfibRoutesTest() {
      turnUntil([&] { return merge.isReady(); });
   }

   /// The plain model: what the rule says, from the merged configuration as it stands.
   Content model() {
      Content content;
      for (const auto& entry : merge.routes()->routeEach()) {
         const Mpls::RouteKey& routeKey = entry.key.routeKey();
         bool isLowest = true;
         for (const auto& other : merge.routes()->routeEach())
            isLowest &= !(other.key.routeKey() == routeKey && other.key.metric() < entry.key.metric());
         std::set<std::string> hops;
         for (const Mpls::Via& via : entry.value->viaEach()) {
            const bool labelled = via.labelAction() == Kinet::MplsLabelAction::swap;
            if (!via.nexthopGroup().empty() || (labelled && via.outLabel() == Kinet::MplsLabel()))
               continue;
            Mpls::LfibMplsVia row;
            row.nextHopIs(via.nextHop());
            row.labelActionIs(via.labelAction());
            if (labelled)
               row.labelStackIs(Kinet::MplsLabelOperation(via.outLabel()));
            hops.insert(row.pooltabString());
         }
         if (!isLowest || hops.empty())
            continue;
         std::string& text = content[routeKey];
         text = "lfibSourceStaticMpls " + std::to_string(entry.key.metric().value());
         for (const std::string& hop : hops)
            text += " | " + hop;
      }
      for (const auto& entry : merge.vrfLabels()->vrfLabelEach())
         content[Mpls::RouteKey::fromLabel(entry.key)] =
             "lfibSourceStaticL3Vpn 0 | vrf " + entry.value.vrfName().text();
      return content;
   }
   std::set<Mpls::RouteKey> keysOf(const Content& content) {
      std::set<Mpls::RouteKey> keys;
      for (const auto& [routeKey, text] : content)
         keys.insert(routeKey);
      return keys;
   }

   PrivateLfib lfib;
   const Mpls::LfibStatus& tables = *lfib.status();
   Merge merge{manager};
};

TEST_F(LfibRoutesTest, FollowsTheMergedConfigurationAndLeavesNothingBehind) {
   auto agent = std::make_unique<LfibRoutes>(activity, merge, lfib);
   for (int round = 0; round < 3000; ++round) {
      for (unsigned changes = 1 + pick(4); changes > 0; --changes)
         changeSomething();
      turn();
      ASSERT_EQ(contentOf(tables), model());
   }
   EXPECT_EQ(tables.viaSets(), tables.lfibRoutes());
   EXPECT_EQ(Mpls::lfibWriterFactory(lfib.status())->orphanDelAll(), 0u);
}

TEST_F(LfibRoutesTest, GoesOnFromTheTablesOfAnEarlierRunWithoutWithdrawingWhatIsWished) {
   const Mpls::RouteKey stranger = key(21);
   for (int round = 0; round < 300; ++round) {
      for (int changes = 0; changes < 12; ++changes)
         changeSomething();
      Content wished = model();
      if (round == 0) { // what another producer left is not ours to touch
         Mpls::ConsolidatedLfibRoute route;
         route.keyIs(stranger);
         route.sourceIs(Source::lfibSourceLdp);
         route.viaTypeIs(Mpls::viaTypeMplsIp_);
         route.mplsViaIs(Mpls::LfibMplsVia());
         Mpls::lfibWriterFactory(lfib.status())->lfibRouteIs(route);
      }
      wished[stranger] = contentOf(tables).at(stranger);
      std::set<Mpls::RouteKey> staying = keysOf(wished);
      std::erase_if(staying, [&](const Mpls::RouteKey& routeKey) { return !tables.lfibRoute(routeKey); });
      const Withdrawals withdrawals(lfib.status(), staying);
      const Vok::U32 viaSetIndex = tables.lfibRoute(stranger).viaSetKey().index();
      const LfibRoutes agent(activity, merge, lfib);
      ASSERT_EQ(contentOf(tables), wished);
      EXPECT_EQ(tables.lfibRoute(stranger).viaSetKey().index(), viaSetIndex);
   }
}

TEST_F(LfibRoutesTest, WritesNoRowThatStandsAlready) {
   for (int changes = 0; changes < 40; ++changes)
      changeSomething();
   { const LfibRoutes agent(activity, merge, lfib); }
   struct Count : Mpls::LfibStatus::Notifiee {
      using Notifiee::Notifiee;
      void onLfibRoute(const Mpls::RouteKey&) override { ++changes; }
      void onViaSet(const Mpls::LfibViaSetKey&) override { ++changes; }
      int changes = 0;
   } count(lfib.status());
   const LfibRoutes again(activity, merge, lfib);
   EXPECT_EQ(count.changes, 0);
}

/// What a preview says is what happens, down to the routes of the tables.
TEST_F(LfibRoutesTest, APreviewSaysWhatHappens) {
   const LfibRoutes agent(activity, merge, lfib);
   const Side running{routes("cli"), vrfLabels("cli"), manager->get<Mpls::Config>(tools::paths::config)};
   int changed = 0;
   for (int round = 0; round < 300; ++round) {
      for (int changes = 0; changes < 3; ++changes)
         changeSomething();
      turn();
      const Side edited{Mpls::routeConfigInputFactory("cli"), Mpls::vrfLabelConfigInputFactory("cli"),
                        Mpls::configFactory("global")};
      copyEntity(edited.routes, running.routes);
      copyEntity(edited.vrfLabels, running.vrfLabels);
      for (int changes = 0; changes < 4; ++changes)
         changeSomething(*edited.routes, *edited.vrfLabels);
      const Content before = contentOf(tables);
      const std::vector<Withheld> withheldBefore = withheld(presentInputs(*manager));
      const Preview said =
          preview(manager, running, edited, [&](const std::function<bool()>& done) { turnUntil(done); });
      ASSERT_EQ(contentOf(tables), before) << "a preview changes nothing";

      copyEntity(running.routes, edited.routes);
      copyEntity(running.vrfLabels, edited.vrfLabels);
      turn();
      Content after = contentOf(tables), expected = before;
      std::set<Mpls::RouteKey> touched;
      for (const LfibStep& step : said.lfib) {
         touched.insert(step.key);
         EXPECT_EQ(step.step == Step::added, !before.contains(step.key));
         EXPECT_EQ(step.step == Step::removed, !after.contains(step.key));
         EXPECT_NE(before.contains(step.key) ? before.at(step.key) : "",
                   after.contains(step.key) ? after.at(step.key) : "");
      }
      changed += static_cast<int>(touched.size());
      std::erase_if(after, [&](const auto& entry) { return touched.contains(entry.first); });
      std::erase_if(expected, [&](const auto& entry) { return touched.contains(entry.first); });
      EXPECT_EQ(after, expected) << "nothing changes that was not said";
      const std::size_t withheldAfter = withheld(presentInputs(*manager)).size();
      EXPECT_EQ(withheldBefore.size() + said.appearing.size() - said.going.size(), withheldAfter);
      const Preview nothing =
          preview(manager, running, edited, [&](const std::function<bool()>& done) { turnUntil(done); });
      EXPECT_TRUE(nothing.empty());
   }
   EXPECT_GT(changed, 100);
}

} // namespace

} // namespace agent
