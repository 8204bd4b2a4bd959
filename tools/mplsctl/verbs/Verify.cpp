#include "tools/common/Json.h"
#include "tools/common/Lfib.h"
#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/lfib/Audit.h"

#include <memory>

/// `mplsctl verify`: checks the whole LFIB and says whether it is clean, also by its exit status.

namespace mplsctl {

namespace {

void printReport(const AuditReport& report, std::size_t limit, tools::Output& out) {
   using enum tools::TextTable::Align;
   tools::TextTable table({{"Table"},
                           {"Rows", right},
                           {"Row Bytes", right},
                           {"Free Bytes", right},
                           {"Torn", right},
                           {"Leaked", right},
                           {"State"}});
   for (const AuditReport::Table& each : report.tables) {
      const Pooltab::TableReport& checked = each.report;
      table.cell(each.name).cell(checked.rows).cell(checked.rowBytes).cell(checked.freeBytes);
      table.cell(checked.tornRows).cell(checked.unindexed + checked.duplicates);
      table.cell(each.state());
   }
   table.print(out);
   out.print("{} routes, {} via sets, {} vias: ", report.routes, report.viaSets, report.vias);
   if (report.isClean())
      out << "clean\n";
   else
      out.print("{} findings\n", report.findings.size());
   for (std::size_t i = 0; i < report.findings.size() && i < limit; ++i)
      out.print("{}: {}\n", stringValue(report.findings[i].kind), report.findings[i].text);
   if (report.findings.size() > limit)
      out.print("... and {} more (--limit shows more)\n", report.findings.size() - limit);
}

void writeReport(const AuditReport& report, tools::Output& out) {
   tools::Json json(out, 2);
   json.object().field("clean", report.isClean());
   json.field("routes", report.routes).field("viaSets", report.viaSets).field("vias", report.vias);
   json.key("tables").object();
   for (const AuditReport::Table& each : report.tables) {
      const Pooltab::TableReport& checked = each.report;
      json.key(each.name)
          .object()
          .field("state", each.state())
          .field("rows", checked.rows)
          .field("rowBytes", checked.rowBytes);
      json.field("freeBytes", checked.freeBytes).field("tornRows", checked.tornRows);
      json.field("unindexed", checked.unindexed).field("dangling", checked.dangling);
      json.field("duplicates", checked.duplicates).field("dirtyBlocks", checked.dirtyBlocks);
      json.field("sumDiffers", checked.sumDiffers).field("countDiffers", checked.countDiffers).end();
   }
   json.end().key("findings").array();
   for (const Finding& finding : report.findings)
      json.object().field("kind", stringValue(finding.kind)).field("text", finding.text).end();
   json.end().end();
}

} // namespace

void verifyVerb(Command program, Session& session) {
   struct Options {
      bool json = false;
      Vok::U64 limit = 20;
   };
   auto options = std::make_shared<Options>();
   program
       .verb("verify",
             "Check the whole LFIB. Exit status: 0 clean, 1 broken links or orphans, 4 damaged tables")
       .option("--limit", options->limit, "Print at most so many findings")
       .flag("--json", options->json, "Print one JSON object, with all findings")
       .does([options, &session] {
          LfibTables tables(tools::folderOf(session.pool));
          // A damaged table is what this verb is for; one that is not there is another matter.
          if (const auto& routes = tables.lfibRoute; routes.mountStatus() != Pooltab::MountStatus::corrupted)
             tools::requireMounted(*tables.pool.folder(), routes.mountStatus(), routes.mountText());
          const AuditReport report = audit(tables);
          tools::Output out;
          options->json ? writeReport(report, out) : printReport(report, options->limit, out);
          out.flush();
          session.outcome = report.isDamaged() ? Outcome::corrupt
                            : report.isClean() ? Outcome::done
                                               : Outcome::failed;
       });
}

} // namespace mplsctl
