#include "tools/test/Processes.h"

#include <nlohmann/json.hpp>

#include <map>
#include <set>

namespace tools {

namespace {

using nlohmann::json;

struct LabelsProcessTest : ProcessFixture {
   /// What mplsctl says of a command that fails with this status, on standard error.
   std::string refusal(const std::string& text, int status = 1) {
      Child child({"/bin/sh", "-c",
                   std::string(MPLSCTL) + " --socket " + socket() + " " + text + " 2>&1 >/dev/null"});
      const std::string said = child.rest();
      EXPECT_EQ(child.status(), status) << "mplsctl " << text << "\n" << said;
      return said;
   }
   void expectRefusal(const std::string& text, const std::string& what, int status = 1) {
      const std::string said = refusal(text, status);
      EXPECT_NE(said.find(what), std::string::npos) << "mplsctl " << text << "\n" << said;
   }
   json labels() { return json::parse(mplsctl("show labels --json")); }
   /// First labels by client and request; 0 for one that waits.
   std::map<std::string, unsigned> blocks() {
      std::map<std::string, unsigned> all;
      const json shown = labels();
      for (const json& request : shown.at("requests")) {
         const std::string name =
             request.at("client").get<std::string>() + " " + request.at("request").get<std::string>();
         all[name] = request.contains("block") ? request.at("block").at("base").get<unsigned>() : 0;
      }
      return all;
   }
};

TEST_F(LabelsProcessTest, BlocksAreAskedForOwnedAndGivenBack) {
   using Blocks = std::map<std::string, unsigned>;
   expectRefusal("label request ldp main", "no database server", 3);
   const auto server = hubdbd();
   expectRefusal("label request ldp main", "MPLS routing is off");
   expectRefusal("label request a/b main", "cannot be the name of a client", 2);
   mplsctl("config set mplsRouting on");
   expectRefusal("label request ldp main --timeout 0", "no label manager has run yet");
   EXPECT_EQ(blocks(), (Blocks{{"ldp main", 0}}));

   const auto agentOfLabels = agent("labels");
   EXPECT_EQ(blocks(), (Blocks{{"ldp main", 100000}})); // it waited there
   EXPECT_EQ(mplsctl("label request ldp main"), "unchanged ldp main 100000-116383\n");
   EXPECT_EQ(mplsctl("label request bgp x --dry-run"), "dry run: would be requested bgp x\n");
   EXPECT_EQ(json::parse(mplsctl("label request bgp x --json")).at("block").at("base"), 116384);
   EXPECT_EQ(mplsctl("label request ldp more"), "granted ldp more 132768-149151\n");
   EXPECT_EQ(labels().at("freeBlocks"), 13);

   const json owner = json::parse(mplsctl("owner 116400 --json"));
   EXPECT_EQ(owner.at("ranges").front().at("name"), "dynamic");
   EXPECT_EQ(owner.at("blocks").front().at("client"), "bgp");
   EXPECT_EQ(owner.at("missing").size(), 1u); // the tables

   EXPECT_EQ(mplsctl("label release ldp main --dry-run"),
             "dry run: would be released ldp main 100000-116383\n");
   EXPECT_EQ(mplsctl("label release ldp main"), "released ldp main 100000-116383\n");
   expectRefusal("label release ldp main", "ldp has no request main");
   EXPECT_EQ(mplsctl("label release bgp x"), "released bgp x 116384-132767\n");
   EXPECT_EQ(blocks(), (Blocks{{"ldp more", 132768}}));
   EXPECT_EQ(mplsctl("db ls mpls/config/labelRequest"), "ldp\n"); // bgp wants nothing any more

   EXPECT_EQ(agentOfLabels->kill(SIGTERM), 0);
   expectRefusal("label release ldp more --timeout 0", "is not taken back");
   EXPECT_TRUE(labels().at("requests").front().at("withdrawn").get<bool>());
   const auto next = agent("labels");
   EXPECT_EQ(blocks(), Blocks());
}

TEST_F(LabelsProcessTest, AnExhaustedRangeIsExplainedAndWhoWaitsIsServed) {
   const auto server = hubdbd();
   const auto labelsAgent = agent("labels");
   mplsctl("config set mplsRouting on");
   mplsctl("config set labelRange dynamic 16 16384");
   mplsctl("label request a x");
   expectRefusal("label request b y --timeout 0",
                 "the dynamic range 16-16399 is exhausted: its blocks, 1 in number, are granted, and 1 "
                 "request waits");
   EXPECT_NE(
       mplsctl("show labels").find("0 of 1 blocks are free, 0 labels\nrequests wait: the dynamic range"),
       std::string::npos);
   mplsctl("label release a x");
   EXPECT_EQ(mplsctl("label request b y --timeout 60"), "unchanged b y 16-16399\n");
   mplsctl("config set labelRange dynamic 16 40000");
   EXPECT_EQ(mplsctl("label request b z --timeout 60"), "granted b z 16400-32783\n");
   mplsctl("config set labelRange dynamic 16 100");
   expectRefusal("label request a x --timeout 0", "holds no block of 16384 labels");
}

TEST_F(LabelsProcessTest, BlocksSurviveTheAgentKilledUnderLoadAndTheServer) {
   const std::string state = directory / "state";
   auto server = hubdbd({"--state", state});
   auto labelsAgent = agent("labels");
   mplsctl("config set mplsRouting on");
   mplsctl("config set labelRange dynamic 16 1000000");
   std::map<std::string, unsigned> granted;
   for (int round = 0; round < 4; ++round) {
      std::map<std::string, std::unique_ptr<Child>> clients;
      for (int i = 0; i < 8; ++i) {
         const std::string client = "c" + std::to_string(i), request = "r" + std::to_string(round);
         clients[client + " " + request] =
             std::make_unique<Child>(Words{MPLSCTL, "--socket", socket(), "label", "request", client, request,
                                           "--json", "--timeout", "60"});
      }
      const auto answer = [&](const std::string& name) {
         const json said = json::parse(clients.at(name)->line());
         granted[name] = said.at("block").at("base");
         EXPECT_EQ(clients.at(name)->status(), 0);
      };
      answer("c" + std::to_string(round) + " r" + std::to_string(round)); // the others are under way
      EXPECT_EQ(labelsAgent->kill(SIGKILL), -1);
      labelsAgent = agent("labels");
      for (const auto& [name, child] : clients)
         if (!granted.contains(name))
            answer(name);
      ASSERT_EQ(blocks(), granted);
   }
   std::set<unsigned> starts;
   for (const auto& [name, start] : granted)
      EXPECT_TRUE(starts.insert(start).second) << name;

   EXPECT_EQ(server->kill(SIGKILL), -1);
   server = hubdbd({"--state", state});
   EXPECT_EQ(blocks(), granted);
   mplsctl("label request late r --timeout 60"); // of the agent that has found the server again
   EXPECT_EQ(labelsAgent->kill(SIGKILL), -1);
   EXPECT_EQ(server->kill(SIGKILL), -1);
   mplsctl("show labels", 3);
   server = hubdbd({"--state", state});
   labelsAgent = agent("labels");
   mplsctl("label release late r");
   EXPECT_EQ(blocks(), granted);
}

TEST_F(LabelsProcessTest, AnOwnerIsFoundInRoutesToo) {
   mplsctl("route add 300 as 400/500 via inet 10.0.0.1 dev eth0");
   mplsctl("route add 500 via inet 10.0.0.2 dev eth0");
   mplsctl("route add 301 as 501 via inet 10.0.0.3 dev eth0");
   const std::string text = mplsctl("owner 500");
   EXPECT_NE(text.find("\n   no database server answers on "), std::string::npos) << text;
   EXPECT_NE(text.find("Inbound Label  Type    Nexthop   Outbound Label  Use\n"
                       "300            Static  10.0.0.1  400/500         pushes\n"
                       "500            Static  10.0.0.2  implicit-null   matches\n"),
             std::string::npos)
       << text;
   const json owner = json::parse(mplsctl("owner 500 --json"));
   EXPECT_EQ(owner.at("routes").size(), 2u);
   EXPECT_EQ(owner.at("routes").front().at("source"), "lfibSourceStaticMpls");
   mplsctl("owner 500 --pool elsewhere", 3);
   const auto server = hubdbd();
   mplsctl("owner 500 --pool elsewhere");
   mplsctl("owner 1048576", 2);
}

} // namespace

} // namespace tools
