#include "tools/mplsctl/test/Fixture.h"

#include "tools/common/AdjacencyIndex.h"
#include "tools/config/RouteProducer.h"
#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/explain/Explanation.h"
#include "tools/mplsctl/lfib/Users.h"

using namespace mplsctl;

namespace {

/// A label that stands the whole way; tests take pieces out.
struct Explain : LfibFixture {
   Explain() {
      give("bgp", 100);
      everythingFollows();
   }

   Mpls::RouteConfigInput& input(const std::string& source) {
      auto& found = inputs[source];
      if (!found) {
         found = Mpls::routeConfigInputFactory(Vok::Name(source));
         evidence.inputs.routes[source] = found;
      }
      return *found;
   }
   static Mpls::RouteKeyAndMetric withMetric(unsigned metric) {
      return Mpls::RouteKeyAndMetric::fromLabel(Kinet::MplsLabel(300), Mpls::RouteMetric(metric));
   }
   void give(const std::string& source, unsigned metric, const char* hop = "10.0.0.1") {
      input(source)
          .routeIs(withMetric(metric))
          ->viaIs(
              Mpls::Via(Kinet::IpGenAddr(hop), Kinet::MplsLabelAction::swap, Kinet::MplsLabel(17), false));
   }
   /// Takes the route out of what is merged, the tables and the report.
   void nothingFollows() {
      merged->routeDelAll();
      del(300);
      hardware->routeDelAll();
   }
   void everythingFollows() {
      const auto route = input("bgp").route(withMetric(100));
      merged->routeIs(route);
      tools::config::LfibWish wish;
      produce(label, route.get(), {}, wish);
      writer->lfibRouteIs(wish.route);
      report();
   }
   void report(bool unprogrammed = false) {
      const auto at = tools::adjacencyKeyOf(status->lfibRoute(label).viaSetKey());
      hardware->adjacencyIs(at.index());
      hardware->routeIs({label, at, unprogrammed, Mpls::RouteMetric(100)});
   }
   void refuse(Mpls::LfibHwProgrammingReturnCode code) {
      report(true);
      evidence.refusal = {label, Mpls::RouteMetric(100), code};
   }
   Mpls::Hardware::Adjacency& adjacency() {
      return *hardware->adjacencyIs(hardware->route(label).adjBaseKey().index());
   }

   /// The states of the stages, and the codes of what was found; those of remarks in brackets.
   std::string explained() {
      const LfibTables tables(folder);
      Chain chain;
      if (readChain(tables, label, chain)) {
         evidence.sharing = routesUsing(tables, {chain.route.viaSetKey()}).at(chain.route.viaSetKey()).size();
         evidence.chain = chain;
      }
      const Explanation explanation = explain(evidence);
      std::string states, codes;
      for (const Stage& stage : explanation.stages) {
         states.append(states.empty() ? "" : " ").append(stringValue(stage.state));
         for (const Stage::Finding& finding : stage.findings)
            codes += finding.inTheWay ? " " + finding.code : " (" + finding.code + ")";
      }
      EXPECT_EQ(explanation.stands(),
                states.find("fails") == std::string::npos && states.find("unknown") == std::string::npos);
      return states + ":" + codes;
   }

   const Mpls::RouteKey label = key(300);
   std::map<std::string, Vok::Ptr<Mpls::RouteConfigInput>> inputs;
   Vok::Ptr<Mpls::RouteConfig> merged = Mpls::routeConfigFactory("merged");
   Vok::Ptr<Mpls::VrfLabelConfig> bindings = Mpls::vrfLabelConfigFactory("merged");
   Vok::Ptr<Mpls::Hardware::Status> hardware = Mpls::Hardware::statusFactory("hardware");
   Evidence evidence = [this] {
      Evidence all;
      all.key = label;
      all.merged = merged;
      all.mergedVrfLabels = bindings;
      all.lfibHasWriter = all.forwarderRuns = true;
      all.hardware = hardware;
      return all;
   }();
};

using Code = Mpls::LfibHwProgrammingReturnCode;
const Failure gone(Outcome::unreachable, "gone", "bring it back");

struct Piece {
   const char* name;
   void (*change)(Explain& way);
   const char* answer;

   friend void PrintTo(const Piece& piece, std::ostream* out) { *out << piece.name; }
};

const Piece pieces[] = {
    {"everything", [](Explain&) {}, "stands stands stands stands stands:"},
    {"no source",
     [](Explain& way) {
        way.input("bgp").routeDelAll();
        way.nothingFollows();
     },
     "fails none none none none: notConfigured"},
    {"withheld",
     [](Explain& way) {
        way.give("cli", 100);
        way.nothingFollows();
     },
     "fails none none none none: severalSources"},
    {"another metric is withheld",
     [](Explain& way) {
        way.give("cli", 50);
        way.give("lab", 50);
     },
     "stands stands stands stands stands: (severalSources)"},
    {"a VRF label is merged over it",
     [](Explain& way) {
        const Mpls::VrfLabel red(Kinet::MplsLabel(300), L3::VrfName("red"), false);
        const auto input = Mpls::vrfLabelConfigInputFactory("cli");
        input->vrfLabelIs(red);
        way.evidence.inputs.vrfLabels["cli"] = input;
        way.bindings->vrfLabelIs(red);
     },
     "stands stands fails stands stands: differs (vrfLabelWins)"},
    {"nobody merges",
     [](Explain& way) {
        way.nothingFollows();
        way.evidence.merged = nullptr;
     },
     "stands fails none none none: nobodyMerges"},
    {"not merged", [](Explain& way) { way.nothingFollows(); }, "stands fails none none none: notMerged"},
    {"merged still", [](Explain& way) { way.input("bgp").routeDelAll(); },
     "none fails stands stands stands: mergedStill"},
    {"no row",
     [](Explain& way) {
        way.del(300);
        way.hardware->routeDelAll();
     },
     "stands stands fails none none: notWritten"},
    {"another row", [](Explain& way) { way.give("bgp", 100, "10.0.0.2"); },
     "stands stands fails stands stands: differs"},
    {"the row of another source",
     [](Explain& way) {
        way.put(300, {{"10.0.0.1", {17}}});
     },
     "stands stands fails stands fails: otherSource behind"},
    {"a row that needs no source",
     [](Explain& way) {
        way.input("bgp").routeDelAll();
        way.nothingFollows();
        way.put(300, {{"10.0.0.1", {17}}});
        way.report();
     },
     "none none stands stands stands:"},
    {"a row that nobody asked for",
     [](Explain& way) {
        way.input("bgp").routeDelAll();
        way.merged->routeDelAll();
     },
     "none none stands stands stands: (notAsked)"},
    {"no row is possible",
     [](Explain& way) {
        const auto route = way.input("bgp").route(Explain::withMetric(100));
        route->viaDelAll();
        Mpls::Via group;
        group.nexthopGroupIs("east");
        route->viaIs(group);
        way.del(300);
        way.hardware->routeDelAll();
     },
     "stands stands fails none none: unwritten"},
    {"no via set", [](Explain& way) { way.status->viaSetDel(way.status->lfibRoute(way.label).viaSetKey()); },
     "stands stands fails none stands: noViaSet"},
    {"no via", [](Explain& way) { way.status->mplsViaDel(way.status->mplsViaEach().begin()->key()); },
     "stands stands fails stands stands: noVia"},
    {"nobody reports", [](Explain& way) { way.evidence.hardware = nullptr; },
     "stands stands stands stands fails: nobodyReports"},
    {"not reported", [](Explain& way) { way.hardware->routeDelAll(); },
     "stands stands stands stands fails: notReported"},
    {"left in hardware", [](Explain& way) { way.del(300); },
     "stands stands fails none fails: notWritten leftBehind"},
    {"no room", [](Explain& way) { way.refuse(Code::routeNotProgrammed); },
     "stands stands stands stands fails: routeNotProgrammed"},
    {"not programmed, nobody says why", [](Explain& way) { way.report(true); },
     "stands stands stands stands fails: unprogrammed"},
    {"no adjacency", [](Explain& way) { way.hardware->adjacencyDelAll(); },
     "stands stands stands stands fails: noAdjacency"},
    {"an adjacency that is not programmed", [](Explain& way) { way.adjacency().unprogrammedIs(true); },
     "stands stands stands stands fails: adjacencyNotProgrammed"},
    {"an adjacency of no type",
     [](Explain& way) {
        way.hardware->routeIs({way.label, {}, false, Mpls::RouteMetric(100)});
     },
     "stands stands stands stands fails: behind noAdjacency"},
    {"nobody forwards now", [](Explain& way) { way.evidence.forwarderRuns = false; },
     "stands stands stands stands stands: (noForwarder)"},
    {"no database",
     [](Explain& way) {
        way.evidence.noDatabase = way.evidence.noHardware = gone;
        way.evidence.inputs = {};
        way.evidence.merged = nullptr;
        way.evidence.mergedVrfLabels = nullptr;
        way.evidence.hardware = nullptr;
     },
     "unknown unknown stands stands unknown: noDatabase"},
    {"no LFIB",
     [](Explain& way) {
        way.del(300);
        way.evidence.noLfib = gone;
     },
     "stands stands unknown unknown stands: noLfib"},
    {"no tables of the hardware", [](Explain& way) { way.evidence.noHardware = gone; },
     "stands stands stands stands unknown: noHardware"},
};

struct ExplainPiece : Explain, testing::WithParamInterface<Piece> {};

TEST_P(ExplainPiece, IsNamedWhenItIsMissing) {
   GetParam().change(*this);
   mount.flush();
   EXPECT_EQ(explained(), GetParam().answer) << GetParam().name;
}

INSTANTIATE_TEST_SUITE_P(Explain, ExplainPiece, testing::ValuesIn(pieces));

} // namespace
