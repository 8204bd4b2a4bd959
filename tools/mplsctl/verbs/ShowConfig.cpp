#include "tools/mplsctl/verbs/ShowConfig.h"

#include "tools/common/Paths.h"
#include "tools/config/RouteProducer.h"
#include "tools/mplsctl/verbs/RouteText.h"

#include <algorithm>

namespace mplsctl {

using tools::config::Inputs;
using tools::config::sourceOf;
using tools::config::vrfLabelOf;
using tools::config::Withheld;

namespace {

namespace paths = tools::paths;

// ---- sources ----

struct SourceLine {
   std::string name;
   std::size_t routes = 0, withheldRoutes = 0, vrfLabels = 0, withheldVrfLabels = 0;
};

std::vector<SourceLine> sourceLines(const Inputs& inputs) {
   std::map<std::string, SourceLine> lines;
   for (const auto& [name, input] : inputs.routes)
      lines[name].routes = input->routes();
   for (const auto& [name, input] : inputs.vrfLabels)
      lines[name].vrfLabels = input->vrfLabels();
   for (const Withheld& entry : tools::config::withheld(inputs)) {
      const bool binding =
          entry.reason == Withheld::Reason::severalDynamic || entry.reason == Withheld::Reason::givesWay;
      for (const std::string& name : entry.sources)
         ++(binding ? lines[name].withheldVrfLabels : lines[name].withheldRoutes);
   }
   std::vector<SourceLine> result;
   for (auto& [name, line] : lines) {
      line.name = name;
      result.push_back(line);
   }
   return result;
}

void showSources(const Configuration& configuration, bool inJson, tools::Output& out) {
   const std::vector<SourceLine> lines = sourceLines(configuration.inputs);
   if (inJson) {
      tools::Json json(out, 2);
      json.object().key("sources").array();
      for (const SourceLine& line : lines)
         json.object()
             .field("source", line.name)
             .field("routes", line.routes)
             .field("withheldRoutes", line.withheldRoutes)
             .field("vrfLabels", line.vrfLabels)
             .field("withheldVrfLabels", line.withheldVrfLabels)
             .end();
      json.end().end();
      return;
   }
   constexpr auto right = tools::TextTable::Align::right;
   tools::TextTable table(
       {{"Source"}, {"Routes", right}, {"Withheld", right}, {"VRF Labels", right}, {"Withheld", right}});
   for (const SourceLine& line : lines)
      table.cell(line.name)
          .cell(line.routes)
          .cell(line.withheldRoutes)
          .cell(line.vrfLabels)
          .cell(line.withheldVrfLabels);
   table.print(out);
}

// ---- merged ----

std::vector<const Mpls::Route*> sortedRoutes(const Mpls::RouteConfig& config) {
   std::vector<const Mpls::Route*> routes;
   routes.reserve(config.routes());
   for (const auto& entry : config.routeEach())
      routes.push_back(entry.value.get());
   std::ranges::sort(
       routes, {}, [](const Mpls::Route* route) -> const auto& { return route->key(); });
   return routes;
}

std::vector<Mpls::VrfLabel> sortedVrfLabels(const Mpls::VrfLabelConfig& config) {
   std::vector<Mpls::VrfLabel> labels;
   for (const auto& entry : config.vrfLabelEach())
      labels.push_back(entry.value);
   std::ranges::sort(labels, {}, &Mpls::VrfLabel::label);
   return labels;
}

/// What keeps a merged route out of the tables; "yes" when nothing does. Routes come sorted, so that the
/// lowest metric of a label stack comes first.
std::string_view standing(const Mpls::Route& route, const Mpls::Route* before,
                          const Mpls::VrfLabelConfig& vrf) {
   const Mpls::RouteKey& key = route.key().routeKey();
   if (!!vrfLabelOf(vrf, key))
      return "no: VRF label";
   return before && before->key().routeKey() == key ? "no: metric" : "yes";
}

void printMerged(const Configuration& configuration, tools::Output& out) {
   constexpr auto right = tools::TextTable::Align::right;
   tools::TextTable table(
       {{"Inbound Label"}, {"Metric", right}, {"Source"}, {"Nexthop"}, {"Outbound Label"}, {"LFIB"}});
   Hop hop;
   std::string label;
   const Mpls::Route* before = nullptr;
   for (const Mpls::Route* route : sortedRoutes(*configuration.routes)) {
      label.clear();
      appendLabels(label, route->key().routeKey().labelStack());
      const std::string source = sourceOf(*route);
      const std::string_view state = standing(*route, before, *configuration.vrfLabels);
      for (const Mpls::Via& via : route->viaEach()) {
         describe(via, hop);
         table.cell(label).cell(route->key().metric().value()).cell(source);
         table.cell(hop.towards()).cell(hop.outbound).cell(state);
      }
      if (route->vias() == 0)
         table.cell(label)
             .cell(route->key().metric().value())
             .cell(source)
             .cell("-")
             .cell("-")
             .cell("no: no next hop");
      before = route;
   }
   for (const Mpls::VrfLabel& entry : sortedVrfLabels(*configuration.vrfLabels)) {
      table.cell(std::to_string(entry.label().value())).cell(0).cell(sourceOf(configuration.inputs, entry));
      table.cell("vrf " + entry.vrfName().text()).cell("implicit-null").cell("yes");
   }
   table.print(out);
   if (!configuration.routes->ready() || !configuration.vrfLabels->ready())
      out << "not all sources are merged yet\n";
}

void writeMerged(const Configuration& configuration, tools::Output& out) {
   tools::Json json(out, 2);
   json.object().field("ready", configuration.routes->ready() && configuration.vrfLabels->ready());
   json.key("routes").array();
   const Mpls::Route* before = nullptr;
   Hop hop;
   for (const Mpls::Route* route : sortedRoutes(*configuration.routes)) {
      json.object().field("label", tools::config::labelWords(route->key().routeKey()));
      json.field("metric", route->key().metric().value()).field("source", sourceOf(*route));
      json.field("inLfib", standing(*route, before, *configuration.vrfLabels) == "yes");
      json.key("nexthops").array();
      for (const Mpls::Via& via : route->viaEach()) {
         describe(via, hop);
         json.object().field("outLabel", hop.outbound);
         if (!hop.nexthop.empty())
            json.field("nexthop", hop.nexthop);
         if (!hop.interface.empty())
            json.field("interface", hop.interface);
         json.field("weight", via.weight()).end();
      }
      json.end().end();
      before = route;
   }
   json.end().key("vrfLabels").array();
   for (const Mpls::VrfLabel& entry : sortedVrfLabels(*configuration.vrfLabels))
      json.object()
          .field("label", entry.label().value())
          .field("vrf", entry.vrfName().text())
          .field("dynamic", entry.dynamic())
          .field("source", sourceOf(configuration.inputs, entry))
          .end();
   json.end().end();
}

void showMerged(const Configuration& configuration, bool inJson, tools::Output& out) {
   if (!configuration.routes || !configuration.vrfLabels)
      throw Failure(Outcome::failed, "nobody has merged the configuration yet", "start 'mpls-agent routes'");
   inJson ? writeMerged(configuration, out) : printMerged(configuration, out);
}

void showConflicts(const Configuration& configuration, bool inJson, tools::Output& out) {
   const std::vector<Withheld> found = tools::config::withheld(configuration.inputs);
   if (!inJson)
      return printWithheld(out, found);
   tools::Json json(out, 2);
   json.object().key("conflicts").array();
   writeWithheld(json, found);
   json.end().end();
}

} // namespace

Configuration::Configuration(Connection& connection) {
   auto mounts = tools::config::presentInputMounts();
   for (const auto& [path, type] : {std::pair(paths::routeConfig, Mpls::RouteConfig::vokType().name()),
                                    std::pair(paths::vrfConfig, Mpls::VrfLabelConfig::vokType().name())})
      mounts.push_back({paths::directoryOf(path), type, Hubdb::MountFilter::entries()});
   connection.database.mount(mounts);
   inputs = tools::config::presentInputs(*connection.manager());
   routes = connection.manager()->get<Mpls::RouteConfig>(paths::routeConfig);
   vrfLabels = connection.manager()->get<Mpls::VrfLabelConfig>(paths::vrfConfig);
}

void describe(const Mpls::Via& via, Hop& hop) {
   Mpls::LfibMplsVia row;
   std::string why;
   tools::config::produceVia(via, row, why);
   describe(ViaRow(row), hop);
   if (!via.nexthopGroup().empty()) {
      hop.nexthop = "group " + via.nexthopGroup();
      hop.outbound = "-";
   }
}

void printRemedies(tools::Output& out, const std::vector<Withheld::Remedy>& remedies, std::size_t indent) {
   for (const Withheld::Remedy& remedy : remedies) {
      out.blanks(indent);
      out.print("to {}:\n", remedy.effect);
      for (const std::string& command : remedy.commands) {
         out.blanks(indent + 3);
         out.print("{}\n", command);
      }
   }
}

void writeRemedies(tools::Json& json, const std::vector<Withheld::Remedy>& remedies) {
   json.key("remedies").array();
   for (const Withheld::Remedy& remedy : remedies) {
      json.object().field("effect", remedy.effect).key("commands").array();
      for (const std::string& command : remedy.commands)
         json.value(command);
      json.end().end();
   }
   json.end();
}

void printWithheld(tools::Output& out, const std::vector<Withheld>& withheld) {
   if (withheld.empty())
      out << "no conflicts\n";
   for (const Withheld& entry : withheld) {
      out << sentence(entry) << "\n";
      printRemedies(out, entry.remedies, 3);
   }
}

void writeWithheld(tools::Json& json, const std::vector<Withheld>& withheld) {
   for (const Withheld& entry : withheld) {
      json.object().field("label", tools::config::labelWords(entry.key));
      if (entry.metric != Mpls::RouteMetric())
         json.field("metric", entry.metric.value());
      json.field("reason", stringValue(entry.reason)).key("sources").array();
      for (const std::string& source : entry.sources)
         json.value(source);
      json.end();
      if (!entry.winner.empty())
         json.field("winner", entry.winner);
      writeRemedies(json.field("why", entry.why), entry.remedies);
      json.end();
   }
}

void declareShowConfig(Command show, const Session& session) {
   using Shown = void (*)(const Configuration&, bool, tools::Output&);
   const auto noun = [&](const char* name, const char* what, Shown shown) {
      auto inJson = std::make_shared<bool>(false);
      show.verb(name, what).flag("--json", *inJson, "Print one JSON object").does([&session, inJson, shown] {
         Connection connection(session);
         const Configuration configuration(connection);
         tools::Output out;
         shown(configuration, *inJson, out);
         out.flush();
      });
   };
   noun("sources", "The sources of configuration, and how much each gives", showSources);
   noun("merged", "The routes and VRF labels that hold, whoever configured them", showMerged);
   noun("conflicts", "What is configured and does not hold, why, and what would resolve it", showConflicts);
}

} // namespace mplsctl
