#include "tools/test/Processes.h"

#include <nlohmann/json.hpp>

namespace tools {

namespace {

using nlohmann::json;

struct SessionProcessTest : ProcessFixture {
   static std::string route(const std::string& verb, const std::string& label, const std::string& out) {
      return "source cli route " + verb + " " + label + (out.empty() ? "" : " as " + out) +
             " via inet 10.0.0.1 dev eth0";
   }
   json value(const std::string& path) {
      return json::parse(mplsctl("db get " + path + " --json")).at("value");
   }

   /// What the command line configures: "300:17 301:17 400:red lookups 1".
   std::string holds() {
      std::string text;
      const std::string before = "'labelStack': ";
      const json inputs = value("routing/mpls/route/input/cli"),
                 labels = value("routing/mpls/vrfLabel/input/cli");
      for (const auto& [key, content] : inputs.at("route").items())
         text += key.substr(key.find(before) + before.size(), 3) + ":" +
                 content.at("via")[0].at("outLabel").dump() + " ";
      for (const auto& [key, content] : labels.at("vrfLabel").items())
         text += key + ":" + content.at("vrfName").get<std::string>() + " ";
      return text + "lookups " + json::parse(mplsctl("config show --json")).at("mplsLookupLabelCount").dump();
   }
   void configure() {
      mplsctl(route("add", "300", "17"));
      mplsctl(route("add", "301", "17"));
      mplsctl("source cli vrf-label add 400 red");
   }
};

struct Scenario {
   const char* name;
   Words inside, outside; ///< commands; those inside are given the session
   int commits;           ///< the status of a plain commit
   std::string then;      ///< what makes the session ready to be committed after all; its status 0
   std::string holds;     ///< in the end
};

TEST_F(SessionProcessTest, ACommitUndoesNothingThatWasChangedOutsideUnlessItIsToldTo) {
   const std::string change300 = route("replace", "300", "18"), other300 = route("replace", "300", "19"),
                     back300 = route("replace", "300", "17"), change301 = route("replace", "301", "19"),
                     unbind = "source cli vrf-label del 400", lookups = "config set mplsLookupLabelCount ";
   const Scenario scenarios[] = {
       {"entries of every part",
        {change300},
        {change301, unbind, lookups + "3"},
        1,
        "rebase",
        "300:18 301:19 lookups 3"},
       {"one that came, one that went",
        {unbind},
        {"source cli route del 301", route("add", "302", "20")},
        1,
        "rebase",
        "300:17 302:20 lookups 1"},
       {"to the same", {change300}, {change300}, 0, "", "300:18 301:17 400:red lookups 1"},
       {"there and back", {change300}, {other300, back300}, 0, "", "300:18 301:17 400:red lookups 1"},
       {"our route",
        {change300},
        {other300, change301},
        1,
        "rebase --prefer session",
        "300:18 301:19 400:red lookups 1"},
       {"their removal",
        {change300, change301},
        {"source cli route del 300"},
        1,
        "rebase --prefer running",
        "301:19 400:red lookups 1"},
       {"our setting",
        {lookups + "2"},
        {lookups + "3"},
        1,
        "rebase --prefer session",
        "300:17 301:17 400:red lookups 2"},
       {"by force", {change300}, {change301, unbind}, 1, "commit --force", "300:18 301:17 400:red lookups 1"},
   };
   for (const Scenario& scenario : scenarios) {
      SCOPED_TRACE(scenario.name);
      const auto server = hubdbd();
      configure();
      mplsctl("config session start night");
      for (const std::string& command : scenario.inside)
         mplsctl(command + " --session night");
      for (const std::string& command : scenario.outside)
         mplsctl(command);
      const std::string before = holds();
      mplsctl("config session commit night --dry-run", scenario.commits);
      if (scenario.commits) {
         mplsctl("config session commit night", 1);
         if (scenario.then.find("--prefer") != std::string::npos)
            mplsctl("config session rebase night", 1);
         mplsctl("config session " + scenario.then + " night --dry-run");
         EXPECT_EQ(holds(), before) << "what was refused or is dry changes nothing";
         mplsctl("config session " + scenario.then + " night");
      }
      if (scenario.then != "commit --force")
         mplsctl("config session commit night");
      EXPECT_EQ(holds(), scenario.holds);
      EXPECT_EQ(mplsctl("config session list"), "");
   }
}

TEST_F(SessionProcessTest, TwoSessionsAtOnceAndBothAreHeard) {
   const std::string state = directory / "state";
   auto server = hubdbd({"--state", state});
   configure();
   for (const std::string session : {"day", "night"})
      mplsctl("config session start " + session);
   mplsctl(route("replace", "300", "18") + " --session day");
   mplsctl(route("replace", "301", "19") + " --session night");
   EXPECT_EQ(server->kill(SIGKILL), -1);
   server = hubdbd({"--state", state});
   mplsctl("config session commit day");
   expectRefusal("config session commit night", "put back: route 300 metric 100 (changed)");
   const json said = json::parse(mplsctl("config session diff night --json"));
   const json refused = json::parse(mplsctl("config session commit night --json", 1));
   EXPECT_EQ(said.at("sourceRoutes").dump(),
             R"([{"after":"10.0.0.1 19","before":"10.0.0.1 17","step":"changed","what":"301 metric 100"}])");
   EXPECT_EQ(refused.at("changedOutside").at("sourceRoutes").dump(),
             R"([{"after":"10.0.0.1 18","before":"10.0.0.1 17","step":"changed","what":"300 metric 100"}])");
   EXPECT_EQ(refused.at("changedOutside"), said.at("changedOutside"));
   EXPECT_EQ(mplsctl("config session rebase night"), "rebased night: 1 taken over, 0 kept\n");
   mplsctl("config session commit night");
   EXPECT_EQ(holds(), "300:18 301:19 400:red lookups 1");
}

TEST_F(SessionProcessTest, WhatWasCutOffIsNoSessionAndARefusalMakesNothing) {
   const auto server = hubdbd();
   mplsctl("config session start night");
   mplsctl(route("add", "300", "17"));
   mplsctl("config session commit night", 1);
   mplsctl("db get mpls/config/global", 1); // nobody has set anything

   // What a start leaves that was killed before it had written all.
   mplsctl("db set cli/session/half/mpls/config/global mplsRouting on --type Mpls::Config");
   for (const char* command : {"diff", "commit", "commit --force", "rebase"})
      expectRefusal(std::string("config session ") + command + " half", "does not know what it began from");
   expectRefusal("config set mplsRouting off --session half", "does not know what it began from");
   expectRefusal("config session start half", "there is a configuration session half already");
   mplsctl("config session abort half");
   expectRefusal("config session abort half", "there is no configuration session half");
   expectRefusal("config session rebase night --prefer both", "'both' cannot be preferred", 2);
   EXPECT_EQ(mplsctl("config session list"), "night\n");
}

} // namespace

} // namespace tools
