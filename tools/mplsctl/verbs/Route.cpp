#include "tools/common/Lfib.h"
#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/formats/IpRouteText.h"
#include "tools/mplsctl/formats/RouteWords.h"
#include "tools/mplsctl/lfib/RouteRows.h"
#include "tools/mplsctl/verbs/RouteReport.h"

#include <fmt/format.h>

namespace mplsctl {

namespace {

struct RouteOptions {
   std::vector<std::string> words;
   bool dryRun = false;
   bool json = false;
};

std::string joined(const std::vector<std::string>& words) {
   return fmt::format("{}", fmt::join(words, " "));
}

[[noreturn]] void refuse(const std::string& what) {
   throw Failure(Outcome::usage, what,
                 "write it as for `ip -f mpls route`: LABEL [as LABEL/LABEL] via inet ADDRESS dev NAME");
}

/// The wish on the command line.
RouteFile wishOf(const RouteOptions& options) {
   RouteBuilder routes("route");
   try {
      readIpRoute(routes, 1, joined(options.words));
   } catch (const BadWord& error) {
      refuse(error.what());
   }
   RouteFile wish = routes.take(Format::ipRouteText);
   if (!wish.badLines.empty())
      refuse(wish.badLines.front().what);
   return wish;
}

void report(const RouteOptions& options, std::string_view done, Vok::U32 label,
            const std::vector<Remark>& remarks) {
   tools::Output out;
   if (options.json) {
      tools::Json json(out, 0);
      json.object().field("label", label).field("done", done).field("dryRun", options.dryRun);
      writeRemarks(json, remarks);
      json.end();
   } else {
      out.print("{}{} {}\n", options.dryRun ? "dry run: would be " : "", done, label);
      printRemarks(out, remarks);
   }
   out.flush();
}

[[noreturn]] void refuseTaken(const Mpls::LfibRoute& row) {
   throw Failure(Outcome::failed,
                 fmt::format("label {} has a route already, from {}", row.key().topLabel().value(),
                             stringValue(row.source())),
                 "use 'mplsctl route replace' to put another in its place");
}

void writeRoute(const RouteOptions& options, const std::string& pool, bool replace) {
   const RouteFile wish = wishOf(options);
   const FileRoute& route = wish.routes.front();
   const auto lfib = options.dryRun ? tools::openForDryRun(pool) : tools::openWriter(pool);
   const Mpls::LfibRoute row = lfib->status()->lfibRoute(keyOf(route));
   if (!!row && !replace)
      refuseTaken(row);
   const bool same = !!row && isPublished(*lfib->status(), row, wish, route);
   if (!same && !options.dryRun) {
      Mpls::ConsolidatedLfibRoute consolidated;
      consolidate(consolidated, wish, route);
      Mpls::lfibWriterFactory(lfib->status())->lfibRouteIs(consolidated);
      lfib->publish();
   }
   report(options, same ? "unchanged" : !!row ? "changed" : "added", route.label, wish.remarks);
}

void deleteRoute(const RouteOptions& options, const std::string& pool) {
   RouteBuilder wish("route");
   try {
      readIpRoute(wish, 1, joined(options.words));
   } catch (const BadWord& error) {
      refuse(error.what());
   }
   const Mpls::RouteKey key = Mpls::RouteKey::fromLabel(Kinet::MplsLabel(wish.label()));
   const auto lfib = options.dryRun ? tools::openForDryRun(pool) : tools::openWriter(pool);
   const Mpls::LfibRoute row = lfib->status()->lfibRoute(key);
   if (!row)
      throw Failure(Outcome::failed, fmt::format("label {} has no route", wish.label()));
   if (wish.source() && *wish.source() != row.source())
      throw Failure(Outcome::failed,
                    fmt::format("the route of label {} is from {}", wish.label(), stringValue(row.source())),
                    "leave 'proto' out to remove it all the same");
   if (!options.dryRun) {
      Mpls::lfibWriterFactory(lfib->status())->lfibRouteDel(key);
      lfib->publish();
   }
   report(options, "removed", wish.label(), {});
}

void declare(Command parent, const char* name, const char* help,
             std::function<void(const RouteOptions&)> work) {
   auto options = std::make_shared<RouteOptions>();
   parent.verb(name, help)
       .argument("ROUTE", options->words,
                 "LABEL [as LABEL{/LABEL}] [via inet|inet6 ADDRESS] [dev NAME] [proto NAME] [metric NUMBER] "
                 "[ttl-propagate enabled|disabled] {nexthop ... [weight NUMBER]}")
       .flag("--dry-run", options->dryRun, "Say what would be done, and do nothing")
       .flag("--json", options->json, "Print one JSON object")
       .does([options, work = std::move(work)] { work(*options); });
}

} // namespace

void routeVerb(Command program, Session& session) {
   const Command route =
       program.verb("route", "Change one route, in the grammar of `ip -f mpls route`").needsVerb();
   declare(route, "add", "Add a route to a label that has none",
           [&session](const RouteOptions& options) { writeRoute(options, session.pool, false); });
   declare(route, "replace", "Give a label this route, whether it has one or not",
           [&session](const RouteOptions& options) { writeRoute(options, session.pool, true); });
   declare(route, "del", "Remove the route of a label",
           [&session](const RouteOptions& options) { deleteRoute(options, session.pool); });
}

} // namespace mplsctl
