#include "tools/config/Withheld.h"

#include "tools/test/ConfigFixture.h"

#include <set>
#include <sstream>

namespace tools::config {

namespace {

using Reason = Withheld::Reason;

struct WithheldTest : ConfigFixture {
   /// Does what a remedy's command says; it must be one that mplsctl takes.
   void type(const std::string& command) {
      std::istringstream words(command);
      std::string program, verb, source, noun, action, metric;
      unsigned label = 0, number = 0;
      words >> program >> verb >> source >> noun >> action >> label;
      ASSERT_EQ(program + " " + verb + " " + action, "mplsctl source del") << command;
      if (noun == "route") {
         words >> metric >> number;
         ASSERT_TRUE(routes(source)->routeHas(key(label, number))) << command;
         return routes(source)->routeDel(key(label, number));
      }
      ASSERT_EQ(noun, "vrf-label") << command;
      ASSERT_TRUE(vrfLabels(source)->vrfLabelHas(Kinet::MplsLabel(label))) << command;
      vrfLabels(source)->vrfLabelDel(Kinet::MplsLabel(label));
   }
   std::vector<Withheld> found() { return withheld(presentInputs(*manager)); }
};

/// The reasons are computed from the inputs, the result by the machines: they must agree.
TEST_F(WithheldTest, WhateverDoesNotHoldHasItsReasonAndNothingElseHas) {
   const Merge merge(manager);
   turnUntil([&] { return merge.isReady(); });
   for (int round = 0; round < 2000; ++round) {
      changeSomething();
      std::set<std::pair<Mpls::RouteKeyAndMetric, std::string>> routesWithheld;
      std::set<std::pair<Kinet::MplsLabel, std::string>> labelsWithheld;
      for (const Withheld& entry : found()) {
         for (const std::string& source : entry.sources) {
            if (entry.reason == Reason::severalSources)
               routesWithheld.emplace(Mpls::RouteKeyAndMetric::fromKey(entry.key, entry.metric), source);
            if (entry.reason == Reason::severalDynamic || entry.reason == Reason::givesWay)
               labelsWithheld.emplace(entry.key.topLabel(), source);
         }
      }
      for (const std::string& source : sources) {
         for (const auto& entry : routes(source)->routeEach())
            ASSERT_EQ(merge.routes()->route(entry.key) == entry.value,
                      !routesWithheld.contains({entry.key, source}));
         for (const auto& entry : vrfLabels(source)->vrfLabelEach())
            ASSERT_TRUE(labelsWithheld.contains({entry.key, source}) ||
                        merge.vrfLabels()->vrfLabel(entry.key) == entry.value);
      }
      // Of the sources that bind a label, one holds or all are withheld.
      for (unsigned label = 16; label < 22; ++label) {
         const Kinet::MplsLabel number(label);
         const auto binds = [&](const std::string& source) { return vrfLabels(source)->vrfLabelHas(number); };
         const auto withheldOf = [&](const std::string& source) {
            return labelsWithheld.contains({number, source});
         };
         ASSERT_EQ(std::ranges::count_if(sources, binds) - std::ranges::count_if(sources, withheldOf),
                   merge.vrfLabels()->vrfLabelHas(number) ? 1 : 0);
      }
   }
}

/// Whoever types what a remedy says is rid of the conflict, with what the remedy promised.
TEST_F(WithheldTest, RemediesDoWhatTheySay) {
   const Merge merge(manager);
   turnUntil([&] { return merge.isReady(); });
   int typed = 0;
   for (int round = 0; round < 1000; ++round) {
      changeSomething();
      const std::vector<Withheld> conflicts = found();
      if (round % 5 || conflicts.empty() || conflicts.back().reason == Reason::unwritten)
         continue;
      const Withheld conflict = conflicts[pick(conflicts.size())];
      if (conflict.reason == Reason::unwritten)
         continue;
      const Withheld::Remedy remedy = conflict.remedies[pick(conflict.remedies.size())];
      for (const std::string& command : remedy.commands)
         type(command);
      ++typed;
      for (const Withheld& left : found())
         EXPECT_FALSE(left.reason == conflict.reason && left.key == conflict.key &&
                      left.metric == conflict.metric && left.sources == conflict.sources)
             << left.why;
      const std::string keep = "keep that of ";
      if (!remedy.effect.starts_with(keep))
         continue;
      const std::string source = remedy.effect.substr(keep.size());
      const auto routeKey = Mpls::RouteKeyAndMetric::fromKey(conflict.key, conflict.metric);
      if (conflict.reason == Reason::severalSources) {
         EXPECT_EQ(merge.routes()->route(routeKey), routes(source)->route(routeKey));
      } else {
         EXPECT_EQ(merge.vrfLabels()->vrfLabel(conflict.key.topLabel()),
                   vrfLabels(source)->vrfLabel(conflict.key.topLabel()));
      }
   }
   EXPECT_GT(typed, 50);
}

TEST_F(WithheldTest, RoutesGiveWayToVrfLabelsAndPartsThatTheTablesCannotHoldAreNamed) {
   routes("alpha")
       ->routeIs(key(300, 100))
       ->viaIs(
           Mpls::Via(Kinet::IpGenAddr("10.0.0.1"), Kinet::MplsLabelAction::pop, Kinet::MplsLabel(), false));
   vrfLabels("zulu")->vrfLabelIs({Kinet::MplsLabel(300), L3::VrfName("red"), true});
   Mpls::Via group;
   group.nexthopGroupIs("east");
   routes("cli")->routeIs(key(301, 100))->viaIs(group);

   const std::vector<Withheld> all = found();
   ASSERT_EQ(all.size(), 2u);
   EXPECT_EQ(all[0].reason, Reason::vrfLabelWins);
   EXPECT_EQ(all[0].sources, std::vector<std::string>{"alpha"});
   EXPECT_EQ(all[0].winner, "zulu");
   EXPECT_EQ(all[0].remedies[1].commands, std::vector<std::string>{"mplsctl source zulu vrf-label del 300"});
   EXPECT_EQ(all[1].reason, Reason::unwritten);
   EXPECT_EQ(all[1].why, "next-hop group 'east': the tables hold next hops alone; "
                         "no next hop that the tables can hold");

   const Mpls::RouteKey only = key(301);
   const std::vector<Withheld> one = withheld(presentInputs(*manager), &only);
   ASSERT_EQ(one.size(), 1u);
   EXPECT_EQ(one[0].key, only);
}

} // namespace

} // namespace tools::config
