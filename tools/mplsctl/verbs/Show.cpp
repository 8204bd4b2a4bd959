#include "tools/mplsctl/verbs/Show.h"

#include "tools/common/Lfib.h"
#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/formats/Words.h"
#include "tools/mplsctl/verbs/ShowConfig.h"
#include "tools/mplsctl/verbs/ShowHardware.h"
#include "tools/mplsctl/verbs/ShowTracking.h"

#include <memory>

namespace mplsctl {

namespace {

struct Options {
   std::string source;
   std::string labels;
   std::string route;
   bool json = false;
   bool jsonLines = false;

   ShowFormat format() const {
      return jsonLines ? ShowFormat::jsonLines : json ? ShowFormat::json : ShowFormat::text;
   }
   RouteFilter filter() const;
};

RouteFilter Options::filter() const {
   RouteFilter filter;
   if (!source.empty() && !(filter.source = sourceFromText(source)))
      throw Failure(
          Outcome::usage, "'" + source + "' is no source of routes",
          "give one as static, ldp, bgplu, isissrv4prefix, ... (mplsctl schema Mpls::LFib::Source)");
   if (!labels.empty())
      labelRangeFromText(labels, filter);
   return filter;
}

using Shown = std::function<void(const LfibTables&, const Options&, tools::Output&)>;

Command addNoun(Command show, Session& session, const std::shared_ptr<Options>& options, const char* noun,
                const char* what, Shown shown) {
   return show.verb(noun, what)
       .flag("--json", options->json, "Print one JSON object")
       .does([options, &session, shown] {
          const auto tables = openTables(tools::folderOf(session.pool));
          tools::Output out;
          shown(*tables, *options, out);
          out.flush();
          session.outcome = Outcome::done;
       });
}

} // namespace

Kinet::MplsLabel labelOf(std::string_view text) {
   if (const auto label = labelFromText(text))
      return Kinet::MplsLabel(*label);
   throw Failure(Outcome::usage, "'" + std::string(text) + "' is no label",
                 "give a number from 0 to 1048575, or a name such as implicit-null");
}

Mpls::RouteKey routeKeyFromText(std::string_view text) {
   std::vector<Kinet::MplsLabel> topFirst;
   for (std::size_t start = 0; start <= text.size();) {
      const std::size_t slash = std::min(text.find('/', start), text.size());
      topFirst.push_back(labelOf(text.substr(start, slash - start)));
      start = slash + 1;
   }
   if (topFirst.size() > Kinet::BoundedMplsLabelStack::maxLabels)
      throw Failure(Outcome::usage, "'" + std::string(text) + "' has more labels than a route can match",
                    fmt::format("give at most {}", Kinet::BoundedMplsLabelStack::maxLabels));
   Kinet::BoundedMplsLabelStack stack;
   for (auto label = topFirst.rbegin(); label != topFirst.rend(); ++label)
      stack.push(*label);
   return Mpls::RouteKey(stack);
}

void labelRangeFromText(std::string_view text, RouteFilter& filter) {
   // A dash between digits parts a range; names of labels have dashes of their own.
   const std::size_t dash = text.find('-');
   if (dash == std::string_view::npos || text.find_first_not_of("0123456789-") != std::string_view::npos) {
      filter.lowest = filter.highest = labelOf(text).value();
      return;
   }
   filter.lowest = labelOf(text.substr(0, dash)).value();
   filter.highest = labelOf(text.substr(dash + 1)).value();
   if (filter.lowest > filter.highest)
      throw Failure(Outcome::usage, "the label range '" + std::string(text) + "' is upside down",
                    "give the lowest label first");
}

void showVerb(Command program, Session& session) {
   const Command show =
       program.verb("show", "Print routes, via sets and vias; and configuration").needsVerb();
   auto options = std::make_shared<Options>();
   addNoun(show, session, options, "routes", "All routes, a line a next hop",
           [](const LfibTables& tables, const Options& given, tools::Output& out) {
              showRoutes(tables, given.filter(), given.format(), out);
           })
       .option("--source", options->source, "Only routes of this source or type")
       .option("--label", options->labels, "Only routes with this top label, or in LOW-HIGH")
       .flag("--jsonl", options->jsonLines, "Print a JSON object a line, one a route");
   addNoun(show, session, options, "route", "All about one route",
           [](const LfibTables& tables, const Options& given, tools::Output& out) {
              showRoute(tables, routeKeyFromText(given.route), given.format(), out);
           })
       .argument("LABEL", options->route, "The label, or the stack with its top first: 24019/24011");
   addNoun(show, session, options, "viasets", "All via sets",
           [](const LfibTables& tables, const Options& given, tools::Output& out) {
              showViaSets(tables, given.format(), out);
           });
   addNoun(show, session, options, "vias", "All vias of every kind",
           [](const LfibTables& tables, const Options& given, tools::Output& out) {
              showVias(tables, given.format(), out);
           });
   declareShowConfig(show, session);
   declareShowHardware(show, session);
   declareShowTracking(show, session);
   addShowLdp(show, session);
   addShowLabels(show, session);
}

} // namespace mplsctl
