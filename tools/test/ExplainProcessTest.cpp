#include "tools/test/Processes.h"

#include <nlohmann/json.hpp>

namespace tools {

namespace {

using nlohmann::json;

struct ExplainProcessTest : ProcessFixture {
   /// The states of the stages, and the codes of what was found. The exit status has to agree.
   std::string explained(const std::string& label, bool stands) {
      const json answer = json::parse(mplsctl("explain " + label + " --json", stands ? 0 : 1));
      EXPECT_EQ(answer.at("stands"), stands);
      std::string states, codes;
      for (const json& stage : answer.at("stages")) {
         states.append(states.empty() ? "" : " ").append(stage.at("state"));
         for (const json& finding : stage.at("findings"))
            codes.append(" ").append(finding.at("code"));
      }
      return states + ":" + codes;
   }
   bool prints(const std::string& label, const std::string& text, int status) {
      return mplsctl("explain " + label, status).find(text) != std::string::npos;
   }
};

TEST_F(ExplainProcessTest, EachStageComesInItsTurn) {
   EXPECT_EQ(explained("300", false), "unknown unknown unknown unknown unknown: noDatabase noLfib");
   const auto server = hubdbd();
   EXPECT_EQ(explained("300", false), "fails none unknown unknown none: notConfigured noLfib");
   EXPECT_TRUE(prints("300", "mplsctl source SOURCE route add 300 as LABEL", 1));

   for (const std::string source : {"bgp", "cli"})
      mplsctl("source " + source + " route add 300 as 17 via inet 10.0.0.1 dev eth0");
   EXPECT_EQ(explained("300", false), "fails none unknown unknown none: severalSources noLfib");
   EXPECT_TRUE(prints("300", "mplsctl source cli route del 300 metric 100", 1));
   mplsctl("source cli route del 300");
   mplsctl("source cli vrf-label add 301 red");
   mplsctl("source cli route add 302/17 via inet 10.0.0.1 dev eth0");
   EXPECT_EQ(explained("300", false), "stands fails unknown unknown none: nobodyMerges noLfib");
   mplsctl("route add 400 as 18 via inet 10.0.0.1 dev eth0 proto ldp");
   EXPECT_EQ(explained("300", false), "stands fails none none none: nobodyMerges");

   auto routes = agent("routes");
   EXPECT_EQ(explained("300", false), "stands stands stands stands fails: nobodyReports");
   EXPECT_TRUE(prints("300", "start 'mpls-agent forward'", 1));
   auto forward = agent("forward");
   for (const char* label : {"300", "301", "302/17"})
      EXPECT_EQ(explained(label, true), "stands stands stands stands stands:");
   EXPECT_EQ(explained("400", true), "none none stands stands stands:");
   EXPECT_TRUE(prints("400", "LDP writes it here by itself", 0));
   EXPECT_EQ(explained("401", false), "fails none none none none: notConfigured");

   forward->kill(SIGKILL);
   EXPECT_EQ(explained("300", true), "stands stands stands stands stands: noForwarder");
   routes->kill(SIGKILL);
   mplsctl("source cli vrf-label del 301");
   mplsctl("source cli route add 400 via inet 10.0.0.9 dev eth0");
   EXPECT_EQ(explained("301", false), "none fails stands stands stands: mergedStill noForwarder");
   routes = agent("routes");
   EXPECT_EQ(explained("301", false), "fails none none none fails: notConfigured noForwarder leftBehind");
   EXPECT_EQ(explained("400", false), "stands stands fails stands stands: otherSource noForwarder");
   mplsctl("explain 300/x", 2);
}

} // namespace

} // namespace tools
