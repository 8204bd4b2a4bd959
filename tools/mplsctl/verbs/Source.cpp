#include "tools/common/Paths.h"
#include "tools/config/Inputs.h"
#include "tools/config/Withheld.h"
#include "tools/mplsctl/formats/IpRouteText.h"
#include "tools/mplsctl/formats/RouteWords.h"
#include "tools/mplsctl/sources/SourceRoutes.h"
#include "tools/mplsctl/sources/StoredSession.h"
#include "tools/mplsctl/verbs/RouteReport.h"
#include "tools/mplsctl/verbs/Show.h"

#include <fmt/format.h>

#include <algorithm>

namespace mplsctl {

namespace {

using Mpls::RouteConfigInput;
using Mpls::RouteKeyAndMetric;
using Mpls::VrfLabelConfigInput;
using tools::config::labelWords;

struct SourceOptions {
   std::string source;
   std::string session; ///< empty: what holds
   std::vector<std::string> words;
   std::string label;
   std::string file;
   bool dryRun = false;
   bool keepGoing = false;
   bool json = false;
};

/// Where the input stands that is to be changed: the source's own, or the copy of a session.
std::string pathFor(const SourceOptions& options, const std::string& path) {
   if (options.session.empty())
      return path;
   if (options.source != tools::config::cliSource)
      throw Failure(Outcome::usage,
                    "a session holds the configuration of cli alone, not of " + options.source,
                    "leave --session out, or change the source cli");
   return tools::paths::candidate(options.session, path);
}

/// Raises Failure when a session is asked for that was not started.
template <class Input>
Vok::Ptr<Input> openInput(Connection& connection, const SourceOptions& options, const std::string& path) {
   const std::string wanted = pathFor(options, path);
   if (!options.session.empty())
      StoredSession(connection, options.session).requireBegun();
   return connection.input<Input>(wanted, options.dryRun);
}

void finish(Connection& connection, const SourceOptions& options) {
   if (!options.dryRun)
      connection.database.settle();
}

[[noreturn]] void refuse(const std::string& what) {
   throw Failure(Outcome::usage, what,
                 "write it as for `ip -f mpls route`: LABEL [as LABEL] via inet ADDRESS dev NAME metric N");
}

/// A route as it stands on the command line. The first word may be a stack of labels.
struct WrittenRoute {
   explicit WrittenRoute(const std::vector<std::string>& words, bool complete)
       : key(routeKeyFromText(words.front())), hasMetric(std::ranges::find(words, "metric") != words.end()) {
      std::vector<std::string> rest(words.begin() + 1, words.end());
      rest.insert(rest.begin(), std::to_string(key.topLabel().value()));
      RouteBuilder builder("route");
      try {
         readIpRoute(builder, 1, fmt::format("{}", fmt::join(rest, " ")));
         if (!complete)
            builder.hop(); // what is to be removed needs no next hop
      } catch (const BadWord& error) {
         refuse(error.what());
      }
      file = builder.take(Format::ipRouteText);
      if (!file.badLines.empty())
         refuse(file.badLines.front().what);
   }
   const FileRoute& route() const { return file.routes.front(); }

   Mpls::RouteKey key;
   bool hasMetric;
   RouteFile file;
};

void report(const SourceOptions& options, std::string_view done, const std::string& what,
            const std::vector<Remark>& remarks) {
   tools::Output out;
   if (options.json) {
      tools::Json json(out, 0);
      json.object().field("source", options.source).field("what", what).field("done", done);
      json.field("dryRun", options.dryRun);
      writeRemarks(json, remarks);
      json.end();
   } else {
      out.print("{}{} {}\n", options.dryRun ? "dry run: would be " : "", done, what);
      printRemarks(out, remarks);
   }
   out.flush();
}

std::string routeText(const RouteKeyAndMetric& key) {
   return fmt::format("{} metric {}", labelWords(key.routeKey()), key.metric().value());
}

void writeSourceRoute(const SourceOptions& options, const Session& session, bool replace) {
   const std::string path = tools::config::routeInputPath(options.source);
   const WrittenRoute written(options.words, true);
   std::string why;
   const auto wish = sourceRoute(written.file, written.route(), written.key, why);
   if (!wish)
      refuse(why);
   Connection connection(session);
   const auto input = openInput<RouteConfigInput>(connection, options, path);
   const bool exists = input->routeHas(wish->key);
   const bool same = isConfigured(*input, *wish);
   if (exists && !same && !replace)
      throw Failure(Outcome::failed,
                    fmt::format("{} configures {} already", options.source, routeText(wish->key)),
                    "use 'replace' to put another in its place, or give another metric");
   configure(*input, *wish);
   finish(connection, options);
   report(options,
          same     ? "unchanged"
          : exists ? "changed"
                   : "added",
          routeText(wish->key), written.file.remarks);
}

/// The route that is meant: of that metric, or the only one of its labels when no metric is given.
RouteKeyAndMetric routeMeant(const RouteConfigInput& input, const WrittenRoute& written,
                             const std::string& source) {
   std::vector<unsigned> metrics;
   for (const auto& entry : input.routeEach())
      if (entry.key.routeKey() == written.key &&
          (!written.hasMetric || entry.key.metric() == Mpls::RouteMetric(written.route().metric)))
         metrics.push_back(entry.key.metric().value());
   const std::string label = labelWords(written.key);
   if (metrics.empty())
      throw Failure(Outcome::failed, fmt::format("{} configures no such route of label {}", source, label),
                    "'mplsctl show conflicts' and 'mplsctl db get' show what is configured");
   if (metrics.size() > 1)
      throw Failure(
          Outcome::usage,
          fmt::format("{} configures label {} with metrics {}", source, label, fmt::join(metrics, ", ")),
          "say which one: metric N");
   return RouteKeyAndMetric::fromKey(written.key, Mpls::RouteMetric(metrics.front()));
}

void deleteSourceRoute(const SourceOptions& options, const Session& session) {
   const std::string path = tools::config::routeInputPath(options.source);
   const WrittenRoute written(options.words, false);
   Connection connection(session);
   const auto input = openInput<RouteConfigInput>(connection, options, path);
   const RouteKeyAndMetric key = routeMeant(*input, written, options.source);
   input->routeDel(key);
   finish(connection, options);
   report(options, "removed", routeText(key), {});
}

Outcome loadSource(const SourceOptions& options, const Session& session) {
   const std::string path = tools::config::routeInputPath(options.source);
   RouteFile file = readRouteFile(options.file);
   printBadLines(file);
   if (file.broken || (!file.badLines.empty() && !options.keepGoing))
      throw Failure(Outcome::usage, fmt::format("nothing is loaded; bad lines: {}", file.badLines.size()),
                    file.broken ? "mend the file: what follows the error could not be read"
                                : "mend them, or load all other routes with --keep-going");
   Connection connection(session);
   const auto input = openInput<RouteConfigInput>(connection, options, path);
   const SourcePlan plan(file, *input);
   plan.apply(*input);
   finish(connection, options);
   const Vok::U32 skipped = skippedIn(file.remarks);
   tools::Output out;
   if (options.json) {
      tools::Json json(out);
      json.object().field("source", options.source).field("file", file.name).field("dryRun", options.dryRun);
      json.field("added", plan.added).field("changed", plan.changed).field("removed", plan.removed());
      json.field("unchanged", plan.unchanged).field("skipped", skipped);
      writeRemarks(json, file.remarks);
      writeBadLines(json, file.badLines);
      json.end();
   } else {
      out.print("{}added {}, changed {}, removed {}, unchanged {}, skipped {}\n",
                options.dryRun ? "dry run: would be " : "", plan.added, plan.changed, plan.removed(),
                plan.unchanged, skipped);
      printRemarks(out, file.remarks);
   }
   out.flush();
   return file.badLines.empty() ? Outcome::done : Outcome::failed;
}

Kinet::MplsLabel bindingLabel(const std::string& word) {
   try {
      return Kinet::MplsLabel(incomingLabelWord(word));
   } catch (const BadWord& error) {
      throw Failure(Outcome::usage, error.what(), "give a number from 0 to 1048575");
   }
}

void addVrfLabel(const SourceOptions& options, const Session& session) {
   const std::vector<std::string>& words = options.words;
   if (words.size() < 2 || words.size() > 3 || (words.size() == 3 && words[2] != "dynamic"))
      throw Failure(Outcome::usage, "a binding of a label is LABEL VRF [dynamic]");
   const std::string path = tools::config::vrfInputPath(options.source);
   const Mpls::VrfLabel wish(bindingLabel(words[0]), L3::VrfName(words[1]), words.size() == 3);
   Connection connection(session);
   const auto input = openInput<VrfLabelConfigInput>(connection, options, path);
   const bool exists = input->vrfLabelHas(wish.label());
   const bool same = input->vrfLabel(wish.label()) == wish;
   input->vrfLabelIs(wish);
   finish(connection, options);
   report(options, same ? "unchanged" : exists ? "changed" : "added", words[0] + " vrf " + words[1], {});
}

void deleteVrfLabel(const SourceOptions& options, const Session& session) {
   const std::string path = tools::config::vrfInputPath(options.source);
   const Kinet::MplsLabel label = bindingLabel(options.label);
   Connection connection(session);
   const auto input = openInput<VrfLabelConfigInput>(connection, options, path);
   if (!input->vrfLabelHas(label))
      throw Failure(Outcome::failed,
                    fmt::format("{} binds label {} to no VRF", options.source, label.value()),
                    "'mplsctl show sources' shows who binds labels");
   input->vrfLabelDel(label);
   finish(connection, options);
   report(options, "removed", options.label, {});
}

using Work = std::function<void(const SourceOptions&)>;

Command declare(Command parent, const std::shared_ptr<SourceOptions>& options, const char* name,
                const char* help, Work work) {
   return parent.verb(name, help)
       .option("--session", options->session, "Change the copy of this configuration session")
       .flag("--dry-run", options->dryRun, "Say what would be done, and do nothing")
       .flag("--json", options->json, "Print one JSON object")
       .does([options, work = std::move(work)] { work(*options); });
}

void declareRoute(Command source, const std::shared_ptr<SourceOptions>& options, const Session& session) {
   const Command route = source.verb("route", "Change one route of the source").needsVerb();
   const auto change = [&](const char* name, const char* help, Work work) {
      declare(route, options, name, help, std::move(work))
          .argument("ROUTE", options->words,
                    "LABEL{/LABEL} [as LABEL] [via inet|inet6 ADDRESS] [dev NAME] [metric NUMBER] "
                    "[ttl-propagate enabled|disabled] {nexthop ... [weight NUMBER]}");
   };
   change("add", "Add a route that the source does not have",
          [&session](const SourceOptions& given) { writeSourceRoute(given, session, false); });
   change("replace", "Give the source this route, whether it has one or not",
          [&session](const SourceOptions& given) { writeSourceRoute(given, session, true); });
   change("del", "Remove a route: LABEL{/LABEL} [metric NUMBER]",
          [&session](const SourceOptions& given) { deleteSourceRoute(given, session); });
}

void declareVrfLabel(Command source, const std::shared_ptr<SourceOptions>& options, const Session& session) {
   const Command vrfLabel = source.verb("vrf-label", "Change one binding of a label to a VRF").needsVerb();
   declare(vrfLabel, options, "add", "Bind a label to a VRF, or bind it otherwise",
           [&session](const SourceOptions& given) { addVrfLabel(given, session); })
       .argument("BINDING", options->words, "LABEL VRF [dynamic]");
   declare(vrfLabel, options, "del", "Bind a label no longer", [&session](const SourceOptions& given) {
      deleteVrfLabel(given, session);
   }).argument("LABEL", options->label, "The label");
}

} // namespace

void sourceVerb(Command program, Session& session) {
   auto options = std::make_shared<SourceOptions>();
   const Command source = program.verb("source", "Change what one source of configuration gives")
                              .argument("NAME", options->source, "The source; cli is the command line's own")
                              .needsVerb();
   declareRoute(source, options, session);
   declare(source, options, "load", "Make a file all the routes of the source",
           [&session](const SourceOptions& given) { session.outcome = loadSource(given, session); })
       .argument("FILE", options->file, "Label routes in any format of 'mplsctl load'; - is standard input")
       .flag("--keep-going", options->keepGoing,
             "Load the good lines of a file with bad ones; the labels of the bad ones keep their routes");
   declareVrfLabel(source, options, session);
}

} // namespace mplsctl
