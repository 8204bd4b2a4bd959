#include "tools/common/Lfib.h"
#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/formats/RouteWords.h"
#include "tools/mplsctl/lfib/LoadPlan.h"
#include "tools/mplsctl/verbs/RouteReport.h"

namespace mplsctl {

namespace {

struct LoadOptions {
   std::string file;
   std::vector<std::string> sources;
   bool dryRun = false;
   bool keepGoing = false;
   bool json = false;
};

SourceSet sourcesOf(const LoadOptions& options, const RouteFile& file) {
   if (options.sources.empty()) {
      if (file.routes.empty() && file.badLines.empty())
         throw Failure(Outcome::usage, file.name + " has no routes, so it does not say whose they are",
                       "to remove all routes of a source, name it: --source static");
      return file.sources;
   }
   SourceSet sources;
   for (const std::string& word : options.sources)
      sources |= withInet6(sourceOption(word));
   return sources;
}

/// What a load did, or would do.
struct LoadResult {
   Vok::U32 added = 0;
   Vok::U32 changed = 0;
   Vok::U32 removed = 0;
   Vok::U32 unchanged = 0;
   bool published = false;
};

LoadResult outcomeOf(const LoadPlan& plan, RouteFile& file, bool published) {
   file.remarks.insert(file.remarks.end(), plan.remarks().begin(), plan.remarks().end());
   return {plan.added(), plan.changed(), plan.removed(), plan.unchanged(), published};
}

LoadResult preview(RouteFile& file, SourceSet sources, const std::string& pool) {
   const auto lfib = tools::openForDryRun(pool);
   return outcomeOf(LoadPlan(file, sources, *lfib->status()), file, false);
}

LoadResult load(RouteFile& file, SourceSet sources, const std::string& pool) {
   const auto lfib = tools::openWriter(pool);
   const auto writer = Mpls::lfibWriterFactory(lfib->status());
   if (const Vok::U32 leftovers = writer->orphanDelAll())
      file.remarks.push_back(
          {Remark::Kind::note, "row that a writer left behind when it died: removed", 0, leftovers});
   const LoadPlan plan(file, sources, *lfib->status());
   plan.apply(*writer);
   lfib->publish();
   return outcomeOf(plan, file, true);
}

void printResult(tools::Output& out, const LoadOptions& options, const RouteFile& file,
                 const LoadResult& result) {
   out.print("{}added {}, changed {}, removed {}, unchanged {}, skipped {}\n",
             options.dryRun ? "dry run: would be " : "", result.added, result.changed, result.removed,
             result.unchanged, skippedIn(file.remarks));
   printRemarks(out, file.remarks);
}

void writeResult(tools::Output& out, const RouteFile& file, const SourceSet& sources,
                 const LoadResult& result) {
   tools::Json json(out);
   json.object().field("file", file.name).field("format", formatName(file.format));
   json.key("sources").array();
   for (std::size_t i = 0; i < sources.size(); ++i)
      if (sources.test(i))
         json.value(stringValue(static_cast<Mpls::LFib::Source>(i)));
   json.end();
   json.field("routes", file.routes.size()).field("published", result.published);
   json.field("added", result.added).field("changed", result.changed).field("removed", result.removed);
   json.field("unchanged", result.unchanged).field("skipped", skippedIn(file.remarks));
   writeRemarks(json, file.remarks);
   writeBadLines(json, file.badLines);
   json.end();
}

Outcome run(const LoadOptions& options, const std::string& pool) {
   RouteFile file = readRouteFile(options.file);
   printBadLines(file);
   const SourceSet sources = sourcesOf(options, file);
   const bool refused = file.broken || (!file.badLines.empty() && !options.keepGoing);
   const LoadResult result = refused          ? LoadResult()
                             : options.dryRun ? preview(file, sources, pool)
                                              : load(file, sources, pool);
   tools::Output out;
   if (options.json)
      writeResult(out, file, sources, result);
   else if (!refused)
      printResult(out, options, file, result);
   out.flush();
   if (refused)
      throw Failure(Outcome::usage, fmt::format("nothing is loaded; bad lines: {}", file.badLines.size()),
                    file.broken ? "mend the file: what follows the error could not be read"
                                : "mend them, or load all other routes with --keep-going");
   return file.badLines.empty() ? Outcome::done : Outcome::failed;
}

} // namespace

void loadVerb(Command program, Session& session) {
   auto options = std::make_shared<LoadOptions>();
   program.verb("load", "Make the tables hold what a file wishes for its sources")
       .argument("FILE", options->file,
                 "Label routes: text or JSON of `ip -f mpls route show`, lines of an `ip -batch` file, or "
                 "`show mpls table json`; - reads standard input")
       .option("--source", options->sources,
               "Load only routes of this source, and remove only its routes (may be given several times); "
               "otherwise all sources in the file")
       .flag("--dry-run", options->dryRun, "Say what would be done, and do nothing")
       .flag("--keep-going", options->keepGoing,
             "Load the good lines of a file with bad ones; the labels of the bad ones keep their routes")
       .flag("--json", options->json, "Print one JSON object")
       .does([options, &session] { session.outcome = run(*options, session.pool); });
}

} // namespace mplsctl
