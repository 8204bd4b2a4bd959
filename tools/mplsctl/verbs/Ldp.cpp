#include "tools/common/Paths.h"
#include "tools/common/Tables.h"
#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/ldp/LdpPlan.h"
#include "tools/mplsctl/ldp/LdpView.h"
#include "tools/mplsctl/verbs/RouteReport.h"

#include "Vok/Clock.h"

#include <cstdio>

namespace mplsctl {

namespace {

struct LdpOptions {
   std::vector<std::string> files;
   bool dryRun = false, keepGoing = false, json = false;
};

void printBadLines(const LdpFiles& files) {
   for (const LdpBadLine& bad : files.badLines)
      std::fputs(fmt::format("{}:{}: {}\n", bad.file, bad.line.line, bad.line.what).c_str(), stderr);
}

LdpPlan loadLdp(const LdpFiles& files, const std::string& pool, bool dryRun) {
   const auto tables = ldpPublicationFactory(Vok::Name(pool));
   if (dryRun) {
      const auto mount = tools::mountForReading(tables, pool, {});
      return LdpPlan(files, *tables);
   }
   const auto mount = tools::mountForWriting(tables, pool);
   LdpPlan plan(files, *tables);
   plan.apply(*tables, Vok::SystemClock().seconds());
   mount->flush();
   return plan;
}

void printResult(tools::Output& out, const LdpOptions& options, const LdpFiles& files, const LdpPlan& plan) {
   const auto line = [&](std::string_view what, const LdpPlan::Counts& counts) {
      out.print("{}{}: added {}, changed {}, removed {}, unchanged {}\n", options.dryRun ? "dry run: " : "",
                what, counts.added, counts.changed, counts.removed, counts.unchanged);
   };
   if (files.hasBindings)
      line("bindings", plan.bindings());
   if (files.hasNeighbors)
      line("neighbors", plan.neighbors());
   line("advertisements", plan.advertisements());
   printRemarks(out, plan.remarks());
}

void writeResult(tools::Output& out, const LdpFiles& files, const LdpPlan& plan, bool published) {
   tools::Json json(out);
   json.object().key("files").array();
   for (const std::string& name : files.names)
      json.value(name);
   json.end().field("published", published);
   const auto counts = [&](std::string_view what, const LdpPlan::Counts& counted) {
      json.key(what).object().field("added", counted.added).field("changed", counted.changed);
      json.field("removed", counted.removed).field("unchanged", counted.unchanged).end();
   };
   counts("bindings", plan.bindings());
   counts("neighbors", plan.neighbors());
   counts("advertisements", plan.advertisements());
   json.field("skipped", skippedIn(plan.remarks()));
   writeRemarks(json, plan.remarks());
   json.key("errors").array();
   for (const LdpBadLine& bad : files.badLines)
      json.object().field("file", bad.file).field("line", bad.line.line).field("what", bad.line.what).end();
   json.end().end();
}

Outcome run(const LdpOptions& options, const std::string& pool) {
   const LdpFiles files = readLdpFiles(options.files);
   printBadLines(files);
   if (files.broken || (!files.badLines.empty() && !options.keepGoing))
      throw Failure(Outcome::usage, fmt::format("nothing is loaded; bad lines: {}", files.badLines.size()),
                    files.broken ? "mend the file: what follows the error could not be read"
                                 : "mend them, or load all other rows with --keep-going");
   if (!files.hasBindings && !files.hasNeighbors)
      throw Failure(Outcome::usage, "routes alone say nothing of LDP",
                    "give a file of bindings or neighbors with them");
   const LdpPlan plan = loadLdp(files, pool, options.dryRun);
   tools::Output out;
   if (options.json)
      writeResult(out, files, plan, !options.dryRun);
   else
      printResult(out, options, files, plan);
   out.flush();
   return files.badLines.empty() ? Outcome::done : Outcome::failed;
}

void addLdpNoun(Command ldp, Session& session, const char* noun, const char* what,
                void (*shown)(const LdpView&, bool asJson, tools::Output&)) {
   auto inJson = std::make_shared<bool>(false);
   ldp.verb(noun, what).flag("--json", *inJson, "Print one JSON object").does([inJson, shown, &session] {
      const std::string& pool = session.poolOr(tools::pools::ldp);
      const auto tables = ldpPublicationFactory(Vok::Name(pool));
      const auto mount = tools::mountForReading(tables, pool,
                                                "load some with 'mplsctl ldp load FILE', or name "
                                                "another place with --pool or POOLTAB_DIR");
      const LdpView view(tables);
      tools::Output out;
      shown(view, *inJson, out);
      out.flush();
      view.requireWhole();
      session.outcome = Outcome::done;
   });
}

} // namespace

void addShowLdp(Command show, Session& session) {
   const Command ldp = show.verb("ldp", "Print what LDP published").needsVerb();
   addLdpNoun(ldp, session, "bindings", "All bindings, a line a prefix and neighbor", showLdpBindings);
   addLdpNoun(ldp, session, "neighbors", "All neighbors", showLdpNeighbors);
}

void ldpVerb(Command program, Session& session) {
   auto options = std::make_shared<LdpOptions>();
   program.verb("ldp", "Publish label bindings in the tables of LDP")
       .needsVerb()
       .verb("load", "Make the tables hold what files of one router say")
       .argument("FILE", options->files,
                 "JSON of `show mpls ldp binding`, `show mpls ldp neighbor detail` or `show ip route`; - "
                 "reads standard input")
       .flag("--dry-run", options->dryRun, "Say what would be done, and do nothing")
       .flag("--keep-going", options->keepGoing,
             "Load the good rows of files with bad ones; the prefixes of the bad ones keep what they have")
       .flag("--json", options->json, "Print one JSON object")
       .does([options, &session] { session.outcome = run(*options, session.poolOr(tools::pools::ldp)); });
}

} // namespace mplsctl
