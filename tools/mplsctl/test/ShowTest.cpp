#include "tools/mplsctl/test/Fixture.h"

#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/verbs/RouteText.h"
#include "tools/mplsctl/verbs/Show.h"
#include "tools/mplsctl/verbs/ShowTracking.h"

#include <nlohmann/json.hpp>

using namespace mplsctl;
using nlohmann::json;

namespace {

struct Show : LfibFixture {
   Show() {
      // Written out of order; shown in the order of keys.
      Kinet::BoundedMplsLabelStack two(Kinet::MplsLabel(7));
      two.push(Kinet::MplsLabel(24019));
      put(Mpls::RouteKey(two), {{"2001:db8::1", {24019, 24011}}});
      put(key(1048575), {{"", {}, "vrf-red"}}, Mpls::LFib::Source::lfibSourceIsisSrV6Adj);
      put(key(16), {{"10.0.0.2", {17}}, {"10.0.0.3", {}, "eth1"}}, Mpls::LFib::Source::lfibSourceStaticMpls);
      put(key(0), {});
   }
   LfibTables tables{folder};
};

std::string refusal(const std::function<void()>& act) {
   try {
      act();
   } catch (const Failure& failure) {
      return fmt::format("{}: {}", static_cast<int>(failure.outcome()), failure.what());
   }
   return "accepted";
}

} // namespace

TEST_F(Show, RoutesAsAlignedLinesInKeyOrder) {
   EXPECT_EQ(printed([&](tools::Output& out) { showRoutes(tables, {}, ShowFormat::text, out); }),
             "Inbound Label                  Type        Nexthop        Outbound Label\n"
             "explicit-null                  LDP         (no next hop)  -\n"
             "16                             Static      10.0.0.2       17\n"
             "16                             Static      10.0.0.3       implicit-null\n"
             "1048575                        SR (IS-IS)  vrf-red        implicit-null\n"
             "24019/entropy-label-indicator  LDP         2001:db8::1    24019/24011\n");
}

TEST_F(Show, RoutesAsJsonKeyedByLabel) {
   const json shown =
       json::parse(printed([&](tools::Output& out) { showRoutes(tables, {}, ShowFormat::json, out); }));
   const json expected = json::parse(R"json({
      "0": {"inLabel": 0, "installed": true, "nexthops": []},
      "16": {"inLabel": 16, "installed": true, "nexthops": [
         {"type": "Static", "outLabel": 17, "installed": true, "nexthop": "10.0.0.2"},
         {"type": "Static", "outLabel": 3, "installed": true, "nexthop": "10.0.0.3", "interface": "eth1"}]},
      "1048575": {"inLabel": 1048575, "installed": true, "nexthops": [
         {"type": "SR (IS-IS)", "outLabel": 3, "installed": true, "interface": "vrf-red"}]},
      "24019/7": {"inLabel": 24019, "inLabelStack": [24019, 7], "installed": true, "nexthops": [
         {"type": "LDP", "outLabel": 24019, "outLabelStack": [24019, 24011], "installed": true,
          "nexthop": "2001:db8::1"}]}})json");
   EXPECT_EQ(shown, expected) << json::diff(expected, shown).dump(1);

   RouteFilter filter;
   labelRangeFromText("16-17", filter);
   const std::string line =
       printed([&](tools::Output& out) { showRoutes(tables, filter, ShowFormat::jsonLines, out); });
   EXPECT_EQ(line.find('\n'), line.size() - 1);
   EXPECT_EQ(json::parse(line), expected["16"]);
   filter.source = Mpls::LFib::Source::lfibSourceLdp;
   EXPECT_EQ(printed([&](tools::Output& out) { showRoutes(tables, filter, ShowFormat::jsonLines, out); }),
             "");
}

TEST_F(Show, ManyRoutesComeSortedAndWhole) {
   for (unsigned i = 0; i < 1500; ++i) // several blocks, in an order of their own
      put(100 + i * 7919 % 1500, {{"10.0.0.9", {200000 + i}}});
   unsigned last = 0, count = 0;
   RouteFilter filter{.source = {}, .lowest = 100, .highest = 1599};
   eachChain(tables, filter, [&](const Chain& chain) {
      const unsigned label = chain.route.key().topLabel().value();
      EXPECT_GT(label, last);
      EXPECT_TRUE(chain.isWhole());
      last = label;
      ++count;
   });
   EXPECT_EQ(count, 1500u);
}

TEST_F(Show, BrokenChainsAreShownAsSuch) {
   status->viaSetDel(tables.lfibRoute.lookup(key(1048575)).viaSetKey());
   Chain chain;
   ASSERT_TRUE(readChain(tables, key(16), chain));
   status->mplsViaDel(chain.vias[1].key);
   const std::string shown =
       printed([&](tools::Output& out) { showRoutes(tables, {}, ShowFormat::text, out); });
   EXPECT_NE(shown.find("Static      (no such via)"), std::string::npos) << shown;
   EXPECT_NE(shown.find("SR (IS-IS)  (no such via set)"), std::string::npos) << shown;
   const json all =
       json::parse(printed([&](tools::Output& out) { showRoutes(tables, {}, ShowFormat::json, out); }));
   EXPECT_EQ(all["16"]["installed"], false);
   EXPECT_EQ(all["16"]["nexthops"].size(), 1u);
}

TEST_F(Show, OneRouteInFull) {
   const json shown =
       json::parse(printed([&](tools::Output& out) { showRoute(tables, key(16), ShowFormat::json, out); }));
   EXPECT_EQ(shown["source"], "lfibSourceStaticMpls");
   EXPECT_EQ(shown["viaSet"]["key"], "lfibSourceStaticMpls/viaTypeMplsIp/unicast/1");
   ASSERT_EQ(shown["vias"].size(), 2u);
   EXPECT_EQ(shown["vias"][0]["key"], "lfibSourceStaticMpls/viaTypeMplsIp/1");
   EXPECT_EQ(shown["vias"][1]["labelAction"], "pop");
   EXPECT_EQ(shown["vias"][1]["weight"], 1);
   EXPECT_EQ(shown["vias"][1]["skipEgressAcl"], false);
   // Written in this order, each with its own number.
   EXPECT_LT(shown["vias"][1]["version"], shown["viaSet"]["version"]);
   EXPECT_LT(shown["viaSet"]["version"], shown["version"]);

   const std::string text =
       printed([&](tools::Output& out) { showRoute(tables, key(16), ShowFormat::text, out); });
   EXPECT_NE(text.find("): 10.0.0.3 implicit-null\n   nextHop               10.0.0.3\n"), std::string::npos)
       << text;
   EXPECT_EQ(refusal([&] {
                printed([&](tools::Output& out) { showRoute(tables, key(99), ShowFormat::text, out); });
             }),
             "1: there is no route for label 99");
}

TEST_F(Show, WhoUsesWhat) {
   const auto ldp = Mpls::LFib::Source::lfibSourceLdp;
   put(17, {{"10.0.0.9", {18}}});
   const Mpls::LfibViaSetKey shared = tables.lfibRoute.lookup(key(17)).viaSetKey();
   status->lfibRouteIs(Mpls::LfibRoute(key(19), shared, ldp, {}, {}));
   status->lfibRouteIs(Mpls::LfibRoute(key(18), shared, ldp, {}, {}));
   const auto tracked = [&](auto track, const std::string& text) {
      std::string answer;
      const std::string shown =
          printed([&](tools::Output& out) { answer = refusal([&] { track(tables, text, true, out); }); });
      return answer == "accepted" ? json::parse(shown).at("viaSets").dump() : answer;
   };
   const std::string all = R"({"lfibSourceLdp/viaTypeMplsIp/unicast/3":{"routes":["17","18","19"]}})";
   EXPECT_EQ(keyText(shared), "lfibSourceLdp/viaTypeMplsIp/unicast/3");
   EXPECT_EQ(tracked(trackLabel, "18"), all);
   EXPECT_EQ(tracked(trackViaSet, keyText(shared)), all);
   EXPECT_EQ(tracked(trackVia, "lfibSourceLdp/viaTypeMplsIp/2"), all);
   for (const char* label : {"17", "18", "19"})
      status->lfibRouteDel(key(static_cast<unsigned>(std::atoi(label))));
   EXPECT_EQ(tracked(trackViaSet, keyText(shared)),
             R"({"lfibSourceLdp/viaTypeMplsIp/unicast/3":{"routes":[]}})");
   EXPECT_EQ(tracked(trackLabel, "18"), "1: there is no route for label 18");
   EXPECT_EQ(tracked(trackViaSet, "lfibSourceLdp/viaTypeMplsIp/unicast/9"),
             "1: there is no via set lfibSourceLdp/viaTypeMplsIp/unicast/9");
   EXPECT_EQ(tracked(trackVia, "lfibSourceLdp/viaTypeMplsIp/9"),
             "1: there is no via lfibSourceLdp/viaTypeMplsIp/9");
   for (const char* wrong : {"", "18", "ldp/viaTypeMplsIp/2", "lfibSourceLdp/viaTypeMplsIp/unicast/x"})
      EXPECT_EQ(tracked(trackVia, wrong), "2: '" + std::string(wrong) + "' is no key of a via");
}

TEST_F(Show, ViaSetsWithTheirUsesAndViasOfTheTable) {
   status->lfibRouteIs(Mpls::LfibRoute(key(500), tables.lfibRoute.lookup(key(16)).viaSetKey(),
                                       Mpls::LFib::Source::lfibSourceStaticMpls, {}, {}));
   const json sets =
       json::parse(printed([&](tools::Output& out) { showViaSets(tables, ShowFormat::json, out); }));
   EXPECT_EQ(sets.size(), 4u);
   EXPECT_EQ(sets["lfibSourceStaticMpls/viaTypeMplsIp/unicast/1"]["routes"], 2);
   EXPECT_EQ(sets["lfibSourceStaticMpls/viaTypeMplsIp/unicast/1"]["vias"].size(), 2u);
   EXPECT_EQ(printed([&](tools::Output& out) { showVias(tables, ShowFormat::text, out); }),
             "Via                                    Nexthop      Interface  Outbound Label  Weight\n"
             "lfibSourceStaticMpls/viaTypeMplsIp/1   10.0.0.2     -          17                   1\n"
             "lfibSourceStaticMpls/viaTypeMplsIp/2   10.0.0.3     eth1       implicit-null        1\n"
             "lfibSourceLdp/viaTypeMplsIp/1          2001:db8::1  -          24019/24011          1\n"
             "lfibSourceIsisSrV6Adj/viaTypeMplsIp/1  -            vrf-red    implicit-null        1\n");
}

TEST(ShowArguments, LabelsAndRanges) {
   EXPECT_EQ(routeKeyFromText("24019/24011").topLabel().value(), 24019u);
   EXPECT_EQ(routeKeyFromText("implicit-null").topLabel().value(), 3u);
   const struct {
      const char* text;
      const char* answer;
   } keys[] = {{"1048576", "2: '1048576' is no label"},
               {"", "2: '' is no label"},
               {"16/", "2: '' is no label"},
               {"0x10", "2: '0x10' is no label"},
               {"1/2/3/4/5/6/7/8", "2: '1/2/3/4/5/6/7/8' has more labels than a route can match"}};
   for (const auto& [text, answer] : keys)
      EXPECT_EQ(refusal([&] { routeKeyFromText(text); }), answer);

   RouteFilter filter;
   labelRangeFromText("16-1048575", filter);
   EXPECT_EQ(filter.lowest, 16u);
   EXPECT_EQ(filter.highest, 1048575u);
   labelRangeFromText("router-alert", filter);
   EXPECT_EQ(filter.highest, 1u);
   EXPECT_EQ(refusal([&] { labelRangeFromText("9-8", filter); }), "2: the label range '9-8' is upside down");
   EXPECT_EQ(refusal([&] { labelRangeFromText("9-", filter); }), "2: '' is no label");
}

TEST(ShowTables, SayWhatIsMissing) {
   EXPECT_EQ(refusal([] { openTables(Pooltab::privateFolder("none")); }).substr(0, 22),
             "3: there is no LFIB in");
}
