#include "tools/test/Processes.h"

#include <nlohmann/json.hpp>

#include <map>

namespace tools {

namespace {

using nlohmann::json;

struct ForwardProcessTest : ProcessFixture {
   std::unique_ptr<Child> forward() { return serve({MPLS_AGENT, "forward", "--capacity", "2"}); }
   void route(const std::string& change, const std::string& label) {
      mplsctl("source cli route " + change + " " + label +
              (change == "add" ? " as 17 via inet 10.0.0.1 dev eth0" : ""));
   }
   /// Watches the agent's report until so many routes stand in it, then tells of each why it is not
   /// programmed, or "".
   std::map<std::string, std::string> hardware(std::size_t routes) {
      for (;;) {
         Child watcher({MPLSCTL, "--socket", socket(), "db", "watch", "mpls/status/hardware", "--jsonl"});
         while (json::parse(watcher.line()).at("event") != "caughtUp")
            continue;
         const json report = json::parse(mplsctl("show hardware --json"));
         if (report.at("routes").size() != routes) {
            watcher.line(); // a change that this process has not seen yet
            continue;
         }
         std::map<std::string, std::string> reasons;
         for (const auto& [label, route] : report.at("routes").items())
            reasons[label] = route.value("reason", "");
         return reasons;
      }
   }
};

TEST_F(ForwardProcessTest, AKilledAgentGoesOnFromWhatItHadProgrammed) {
   using Reasons = std::map<std::string, std::string>;
   const std::string noRoom = "routeNotProgrammed";
   const auto server = hubdbd();
   const auto routes = agent("routes");
   auto child = forward();
   for (const std::string label : {"300", "301", "302"}) {
      route("add", label);
      hardware(static_cast<std::size_t>(label.back() - '0' + 1));
   }
   EXPECT_EQ(hardware(3), (Reasons{{"300", ""}, {"301", ""}, {"302", noRoom}}));

   EXPECT_EQ(child->kill(SIGKILL), -1);
   child = forward();
   EXPECT_EQ(hardware(3), (Reasons{{"300", ""}, {"301", ""}, {"302", noRoom}}));
   route("del", "300");
   EXPECT_EQ(hardware(2), (Reasons{{"301", ""}, {"302", ""}}));
   const json tracked = json::parse(mplsctl("show tracking label 301 --json"));
   EXPECT_EQ(tracked.at("viaSets").front().at("routes"), json({"301"}));

   mplsctl("source cli vrf-label add 303 red");
   EXPECT_EQ(hardware(3), (Reasons{{"301", ""}, {"302", ""}, {"303", noRoom}}));
   EXPECT_EQ(json::parse(mplsctl("show ip-lookup --json")).at("labels").at("303").at("vrf"), "red");
   EXPECT_EQ(child->kill(SIGTERM), 0);
}

} // namespace

} // namespace tools
