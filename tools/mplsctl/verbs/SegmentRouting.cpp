#include "tools/common/Json.h"
#include "tools/common/Paths.h"
#include "tools/common/Tables.h"
#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/formats/FileText.h"
#include "tools/mplsctl/segment-routing/SegmentRoutingPlan.h"
#include "tools/mplsctl/segment-routing/SegmentRoutingText.h"
#include "tools/mplsctl/verbs/RouteReport.h"

#include <cstdio>

namespace mplsctl {

namespace {

struct LoadOptions {
   std::string file;
   bool dryRun = false, keepGoing = false, json = false;
};

SegmentRoutingFile readFile(const LoadOptions& options) {
   SegmentRoutingFile file;
   withFileText(options.file, [&](const std::string& name, std::string_view text) {
      file = readSegmentRouting(name, text);
   });
   for (const BadLine& bad : file.badLines)
      std::fputs(fmt::format("{}:{}: {}\n", file.name, bad.line, bad.what).c_str(), stderr);
   if (file.broken || (!file.badLines.empty() && !options.keepGoing))
      throw Failure(Outcome::usage, fmt::format("nothing is loaded; bad lines: {}", file.badLines.size()),
                    file.broken ? "mend the file: what follows the error could not be read"
                                : "mend them, or load all other rows with --keep-going");
   if (file.isEmpty())
      throw Failure(Outcome::usage, file.name + " tells of no table",
                    "to empty one, give it without rows: {\"prefixSegment\": []}");
   return file;
}

std::vector<SrCounts> load(const SegmentRoutingFile& file, const std::string& pool, bool dryRun) {
   const auto tables = SrTables::statusFactory(Vok::Name(pool));
   if (dryRun) {
      const auto mount = tools::mountForReading(tables, pool, {});
      return compareSegmentRouting(file, *tables);
   }
   const auto mount = tools::mountForWriting(tables, pool);
   auto counts = applySegmentRouting(file, *tables);
   mount->flush();
   return counts;
}

void writeResult(tools::Output& out, const LoadOptions& options, const SegmentRoutingFile& file,
                 const std::vector<SrCounts>& counts) {
   tools::Json json(out);
   json.object().field("file", file.name).field("published", !options.dryRun).key("tables").object();
   for (const SrCounts& of : counts) {
      json.key(of.table).object().field("added", of.added).field("changed", of.changed);
      json.field("removed", of.removed).field("unchanged", of.unchanged).end();
   }
   json.end();
   writeBadLines(json, file.badLines);
   json.end();
}

Outcome run(const LoadOptions& options, const std::string& pool) {
   const SegmentRoutingFile file = readFile(options);
   const std::vector<SrCounts> counts = load(file, pool, options.dryRun);
   tools::Output out;
   if (options.json)
      writeResult(out, options, file, counts);
   else
      for (const SrCounts& of : counts)
         out.print("{}{}: added {}, changed {}, removed {}, unchanged {}\n",
                   options.dryRun ? "dry run: " : "", of.table, of.added, of.changed, of.removed,
                   of.unchanged);
   out.flush();
   return file.badLines.empty() ? Outcome::done : Outcome::failed;
}

void show(const std::string& pool, bool asJson) {
   const auto tables = SrTables::statusFactory(Vok::Name(pool));
   const auto mount =
       tools::mountForReading(tables, pool,
                              "load some with 'mplsctl segment-routing load FILE', or name another "
                              "place with --pool or POOLTAB_DIR");
   tools::Output out;
   asJson ? writeSegmentRouting(*tables, out) : printSegmentRouting(*tables, out);
   out.flush();
}

} // namespace

void segmentRoutingVerb(Command program, Session& session) {
   const Command verb =
       program.verb("segment-routing", "Load and show the tables of segment routing").needsVerb();
   auto options = std::make_shared<LoadOptions>();
   verb.verb("load", "Make the tables hold what a file wishes for them")
       .argument("FILE", options->file,
                 "JSON as `segment-routing show --json` prints it; - reads standard input")
       .flag("--dry-run", options->dryRun, "Say what would be done, and do nothing")
       .flag("--keep-going", options->keepGoing,
             "Load the good rows of a file with bad ones; nothing is removed then")
       .flag("--json", options->json, "Print one JSON object")
       .does([options, &session] {
          session.outcome = run(*options, session.poolOr(tools::pools::segmentRouting));
       });
   verb.verb("show", "Print the tables")
       .flag("--json", options->json, "Print the JSON that `segment-routing load` reads")
       .does([options, &session] {
          show(session.poolOr(tools::pools::segmentRouting), options->json);
          session.outcome = Outcome::done;
       });
}

} // namespace mplsctl
