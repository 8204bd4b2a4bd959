#include "tools/test/Processes.h"

#include <nlohmann/json.hpp>

#include <map>
#include <set>

namespace tools {

namespace {

using nlohmann::json;
using Blocks = std::map<std::string, unsigned>; // first labels by client and request; 0 for one that waits

struct LabelsProcessTest : ProcessFixture {
   Blocks blocks() {
      Blocks all;
      const json shown = json::parse(mplsctl("show labels --json"));
      for (const json& request : shown.at("requests"))
         all[request.at("client").get<std::string>() + " " + request.at("request").get<std::string>()] =
             request.contains("block") ? request.at("block").at("base").get<unsigned>() : 0;
      return all;
   }
};

TEST_F(LabelsProcessTest, BlocksAreAskedForAndGivenBack) {
   expectRefusal("label request ldp main", "no database server", 3);
   const auto server = hubdbd();
   expectRefusal("label request ldp main", "MPLS routing is off");
   expectRefusal("label request a/b main", "cannot be the name of a client", 2);
   mplsctl("config set mplsRouting on");
   expectRefusal("label request ldp main --timeout 0", "no label manager has run yet");
   expectRefusal("label request ldp main --timeout -1",
                 "--timeout: -1 is no number of seconds, give 0 or more", 2);
   EXPECT_EQ(blocks(), (Blocks{{"ldp main", 0}}));

   auto labels = agent("labels");
   EXPECT_EQ(blocks(), (Blocks{{"ldp main", 100000}}));
   EXPECT_EQ(mplsctl("label request ldp main"), "unchanged ldp main 100000-116383\n");
   EXPECT_EQ(mplsctl("label request bgp x --dry-run"), "dry run: would be requested bgp x\n");
   EXPECT_EQ(json::parse(mplsctl("label request bgp x --json")).at("block").at("base"), 116384);
   EXPECT_EQ(mplsctl("label request ldp more"), "granted ldp more 132768-149151\n");
   EXPECT_EQ(mplsctl("label release ldp main"), "released ldp main 100000-116383\n");
   expectRefusal("label release ldp main", "ldp has no request main");
   EXPECT_EQ(mplsctl("label release bgp x"), "released bgp x 116384-132767\n");
   EXPECT_EQ(blocks(), (Blocks{{"ldp more", 132768}}));
   EXPECT_EQ(mplsctl("db ls mpls/config/labelRequest"), "ldp\n"); // bgp wants nothing any more

   EXPECT_EQ(labels->kill(SIGTERM), 0);
   expectRefusal("label release ldp more --timeout 0", "is not taken back");
   EXPECT_NE(mplsctl("show labels").find("132768-149151  withdrawn"), std::string::npos);
   labels = agent("labels");
   EXPECT_EQ(blocks(), Blocks());

   mplsctl("config set labelRange dynamic 16 16384");
   mplsctl("label request a x");
   expectRefusal("label request b y --timeout 0", "the dynamic range 16-16399 is exhausted");
   mplsctl("label release a x");
   EXPECT_EQ(mplsctl("label request b y --timeout 60"), "unchanged b y 16-16399\n");
}

TEST_F(LabelsProcessTest, BlocksSurviveTheAgentKilledUnderLoadAndTheServer) {
   const std::string state = directory / "state";
   auto server = hubdbd({"--state", state});
   auto labels = agent("labels");
   mplsctl("config set mplsRouting on");
   mplsctl("config set labelRange dynamic 16 1000000");
   Blocks granted;
   for (int round = 0; round < 4; ++round) {
      std::map<std::string, std::unique_ptr<Child>> clients;
      const auto answer = [&](const std::string& name) {
         granted[name] = json::parse(clients.at(name)->line()).at("block").at("base");
      };
      const std::string request = "r" + std::to_string(round);
      for (const std::string client : {"a", "b", "c", "d", "e", "f"})
         clients[client + " " + request] =
             std::make_unique<Child>(Words{MPLSCTL, "--socket", socket(), "label", "request", client, request,
                                           "--json", "--timeout", "60"});
      answer("c " + request); // the others are under way
      EXPECT_EQ(labels->kill(SIGKILL), -1);
      labels = agent("labels");
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
   EXPECT_EQ(labels->kill(SIGKILL), -1);
   EXPECT_EQ(server->kill(SIGKILL), -1);
   server = hubdbd({"--state", state});
   labels = agent("labels");
   mplsctl("label release late r");
   EXPECT_EQ(blocks(), granted);
}

TEST_F(LabelsProcessTest, OwnersAreFoundInWhateverAnswers) {
   mplsctl("route add 300 as 100400/500 via inet 10.0.0.1 dev eth0");
   mplsctl("route add 100400 via inet 10.0.0.2 dev eth0");
   mplsctl("route add 301 as 501 via inet 10.0.0.3 dev eth0");
   const std::string routes = "Inbound Label  Type    Nexthop   Outbound Label  Use\n"
                              "300            Static  10.0.0.1  100400/500      pushes\n"
                              "100400         Static  10.0.0.2  implicit-null   matches\n";
   const json unexplained = json::parse(mplsctl("explain 100400 --json", 1));
   EXPECT_FALSE(unexplained.contains("blocks"));
   const std::string withoutServer = mplsctl("owner 100400");
   EXPECT_TRUE(withoutServer.starts_with("Label 100400\n   no database server answers on ")) << withoutServer;
   EXPECT_TRUE(withoutServer.ends_with(routes)) << withoutServer;
   mplsctl("owner 100400 --pool elsewhere", 3);
   const auto server = hubdbd();
   mplsctl("config set mplsRouting on");
   const auto labels = agent("labels");
   mplsctl("label request ldp main");
   EXPECT_EQ(mplsctl("owner 100400"), "Label 100400\n   range dynamic 100000-362143 (default)\n"
                                      "   block 100000-116383 of client ldp, request main\n" +
                                          routes);
   const std::string block = "Label 100400 is in block 100000-116383 of client ldp, request main\nsources";
   EXPECT_NE(mplsctl("explain 100400", 1).find(block), std::string::npos);
   json explained = json::parse(mplsctl("explain 300/100400 --json", 1));
   EXPECT_EQ(explained.at("blocks"), json::parse(R"([{"label": 100400, "client": "ldp", "request": "main",
      "base": 100000, "size": 16384, "withdrawn": false}])"));
   explained = json::parse(mplsctl("explain 300 --json", 1));
   EXPECT_TRUE(explained.at("blocks").empty());
   const json owner = json::parse(mplsctl("owner 500 --pool elsewhere --json"));
   EXPECT_EQ(owner.at("ranges").front().at("name"), "static");
   EXPECT_EQ(owner.at("missing").size(), 1u);
}

} // namespace

} // namespace tools
