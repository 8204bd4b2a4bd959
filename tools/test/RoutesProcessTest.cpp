#include "tools/test/Processes.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>

namespace tools {

namespace {

using nlohmann::json;

struct RoutesProcessTest : ProcessFixture {
   /// Follows the tables from a process of its own until the label is there, or is gone.
   void expectRoute(const std::string& label, bool present) {
      Child watcher({MPLSCTL, "watch", "--label", label, "--jsonl"});
      bool there = false, caughtUp = false;
      while (!caughtUp || there != present) {
         const std::string line = watcher.line();
         ASSERT_FALSE(line.empty()) << "the watcher has ended";
         const json event = json::parse(line);
         const std::string kind = event.at("event");
         if (kind == "state")
            there = false;
         else if (kind == "route" || kind == "added" || kind == "changed")
            there = true;
         else if (kind == "removed")
            there = false;
         caughtUp |= kind == "caughtUp";
      }
   }
   json conflicts() { return json::parse(mplsctl("show conflicts --json")).at("conflicts"); }
   json lfib() { return json::parse(mplsctl("show routes --json")); }
};

TEST_F(RoutesProcessTest, ConflictsAppearAndResolveInEveryOrder) {
   const auto server = hubdbd();
   const auto routes = agent("routes");
   std::vector<std::string> order{"cli", "bgp", "lab"};
   int label = 300;
   do {
      const std::string text = std::to_string(++label);
      for (const std::string& source : order)
         mplsctl("source " + source + " route add " + text + " as 17 via inet 10.0.0.1 dev eth0");
      ASSERT_EQ(conflicts().size(), 1u);
      EXPECT_EQ(conflicts()[0].at("sources"), json({"bgp", "cli", "lab"}));
      expectRoute(text, false);
      mplsctl("source " + order[0] + " route del " + text);
      EXPECT_EQ(conflicts()[0].at("sources").size(), 2u);
      mplsctl("source " + order[1] + " route del " + text);
      EXPECT_TRUE(conflicts().empty());
      expectRoute(text, true);
      EXPECT_EQ(json::parse(mplsctl("show merged --json")).at("routes").back().at("source"), order[2]);
   } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(RoutesProcessTest, TheAgentAndTheServerMayDieAndRoutesStay) {
   const std::string state = directory / "state";
   auto server = hubdbd({"--state", state});
   auto routes = agent("routes");
   mplsctl("source bgp route add 300 as 17 via inet 10.0.0.1 dev eth0");
   mplsctl("source cli vrf-label add 301 red");
   expectRoute("300", true);
   expectRoute("301", true);
   const json before = lfib();

   EXPECT_EQ(routes->kill(SIGKILL), -1);
   mplsctl("source bgp route add 302 via inet 10.0.0.2 dev eth0");
   mplsctl("source cli vrf-label del 301");
   routes = agent("routes");
   expectRoute("302", true);
   expectRoute("301", false);
   EXPECT_EQ(lfib().at("300"), before.at("300"));

   EXPECT_EQ(routes->kill(SIGTERM), 0);
   EXPECT_EQ(server->kill(SIGKILL), -1);
   mplsctl("show merged", 3);
   server = hubdbd({"--state", state});
   routes = agent("routes");
   EXPECT_EQ(lfib().size(), 2u);
   EXPECT_EQ(json::parse(mplsctl("show merged --json")).at("routes").size(), 2u);
   EXPECT_TRUE(mplsctl("verify").find("clean") != std::string::npos);
}

TEST_F(RoutesProcessTest, ASecondAgentStandsByUntilTheFirstHasEnded) {
   const auto server = hubdbd();
   auto first = agent("routes");
   Child second({MPLS_AGENT, "--socket", socket(), "routes"});
   mplsctl("db set routing/mpls/route/config ready off", 3);
   mplsctl("source bgp route add 300 via inet 10.0.0.1 dev eth0");
   expectRoute("300", true);
   first->kill(SIGKILL);
   EXPECT_EQ(second.line(), "ready");
   mplsctl("source bgp route add 301 via inet 10.0.0.1 dev eth0");
   expectRoute("301", true);
   expectRoute("300", true);
   mplsctl("route add 302 via inet 10.0.0.1 dev eth0", 3); // the tables have their writer
   EXPECT_EQ(second.kill(SIGTERM), 0);
}

TEST_F(RoutesProcessTest, ManyRoutesReachTheTablesAndAreListed) {
   const auto server = hubdbd();
   const auto routes = agent("routes");
   const std::string file = directory / "many";
   FILE* const out = std::fopen(file.c_str(), "w");
   for (int i = 0; i < 100000; ++i)
      std::fprintf(out, "%d as %d via inet 10.0.0.%d dev eth0\n", 1000 + i, 200000 + i, i % 250);
   std::fclose(out);
   mplsctl("source bgp load " + file);
   expectRoute("100999", true);
   const auto lines = [](const std::string& text) { return std::count(text.begin(), text.end(), '\n'); };
   EXPECT_EQ(lines(mplsctl("show routes")), 100001);
   EXPECT_EQ(lines(mplsctl("show merged")), 100001);
   mplsctl("source lab load " + file);
   EXPECT_EQ(conflicts().size(), 100000u);
   expectRoute("100999", false);
   EXPECT_EQ(lines(mplsctl("show routes")), 1);
}

TEST_F(RoutesProcessTest, WhatASessionsDiffSaysIsWhatItsCommitDoes) {
   const auto server = hubdbd();
   const auto routes = agent("routes");
   mplsctl("source bgp route add 300 as 17 via inet 10.0.0.1 dev eth0");
   mplsctl("source cli route add 301 as 18 via inet 10.0.0.1 dev eth0");
   expectRoute("301", true);
   mplsctl("config session start night");
   mplsctl("config session start night", 1);
   mplsctl("source cli route add 300 via inet 10.0.0.9 dev eth1 --session night");
   mplsctl("source cli route replace 301 as 19 via inet 10.0.0.1 dev eth0 --session night");
   mplsctl("source cli route add 302 as 20/21 via inet 10.0.0.1 dev eth0 --session night", 2);
   mplsctl("source cli vrf-label add 303 red --session night");
   mplsctl("source bgp route del 300 --session night", 2);
   mplsctl("config set labelRange dynamic 100000 200000 --session night");
   expectRoute("300", true);

   const json said = json::parse(mplsctl("config session diff night --json"));
   std::map<std::string, std::string> steps;
   for (const json& step : said.at("lfib"))
      steps[step.at("what")] = step.at("step");
   EXPECT_EQ(steps,
             (std::map<std::string, std::string>{{"300", "removed"}, {"301", "changed"}, {"303", "added"}}));
   EXPECT_EQ(said.at("settings").size(), 1u);
   EXPECT_EQ(said.at("conflictsAppear").size(), 1u);

   mplsctl("config session commit night");
   mplsctl("config session diff night", 1);
   expectRoute("300", false);
   expectRoute("303", true);
   EXPECT_EQ(conflicts(), said.at("conflictsAppear"));
   EXPECT_EQ(lfib().at("301").at("nexthops")[0].at("outLabel"), 19);
   EXPECT_EQ(json::parse(mplsctl("config show --json")).at("labelRange").at("dynamic").at("size"), 200000);

   mplsctl("config session start");
   mplsctl("source cli vrf-label del 303 --session default");
   mplsctl("config session abort");
   expectRoute("303", true);
   EXPECT_EQ(mplsctl("config session list"), "");
}

TEST_F(RoutesProcessTest, SourcesLoadFilesAndTheDatabaseCanBeReadAndSet) {
   mplsctl("show sources", 3);
   const auto server = hubdbd();
   const std::string file = directory / "wish";
   FILE* const out = std::fopen(file.c_str(), "w");
   std::fputs("300 as 17 via inet 10.0.0.1 dev eth0\n301 via inet 10.0.0.1 dev eth0\n"
              "302 as 20/21 via inet 10.0.0.1 dev eth0\n",
              out);
   std::fclose(out);
   mplsctl("source lab route add 301 as 5000 via inet 10.0.0.9 dev eth0");
   mplsctl("source lab route add 301 as 5001 via inet 10.0.0.9 dev eth0", 1);
   mplsctl("source lab route add 309/17 via inet 10.0.0.9 dev eth0 metric 7");
   const std::string counts = "added 1, changed 1, removed 1, unchanged 0, skipped 1\n";
   EXPECT_TRUE(mplsctl("source lab load " + file + " --dry-run").starts_with("dry run: would be " + counts));
   EXPECT_TRUE(mplsctl("source lab load " + file).starts_with(counts));
   EXPECT_TRUE(mplsctl("source lab load " + file).starts_with("added 0, changed 0, removed 0, unchanged 2"));
   EXPECT_EQ(json::parse(mplsctl("show sources --json")).at("sources")[0].at("routes"), 2);

   EXPECT_EQ(mplsctl("db ls routing/mpls/route/input/dynamic"), "lab\n");
   mplsctl("db ls nowhere", 1);
   mplsctl("db set mpls/config/global labelPhpTtlMode pipe", 1);
   mplsctl("db set mpls/config/global labelPhpTtlMode pipe --type Mpls::Config");
   mplsctl("db set mpls/config/global labelPhpTtlMode hose", 2);
   mplsctl("config add mplsRoutingDisabledIntf eth7");
   mplsctl("config set mplsRouting on");
   mplsctl("config set labelRange dynamic 100000 1000000", 2);
   const json config = json::parse(mplsctl("db get mpls/config/global --json")).at("value");
   EXPECT_EQ(config.at("labelPhpTtlMode"), "pipe");
   EXPECT_EQ(config.at("mplsRouting"), true);
   EXPECT_EQ(config.at("mplsRoutingDisabledIntf"), json({"eth7"}));
   mplsctl("config del mplsRoutingDisabledIntf eth7");
   mplsctl("config del mplsRoutingDisabledIntf eth7", 1);

   Child watcher(
       {MPLSCTL, "--socket", socket(), "db", "watch", "mpls/config/global", "--jsonl", "--count", "1"});
   EXPECT_EQ(watcher.line(), R"({"event":"caughtUp"})");
   mplsctl("config set mplsLookupLabelCount 3");
   const json change = json::parse(watcher.line());
   EXPECT_EQ(change.at("attribute"), "mplsLookupLabelCount");
   EXPECT_EQ(change.at("value"), "3");
   EXPECT_EQ(watcher.status(), 0);
}

} // namespace

} // namespace tools
