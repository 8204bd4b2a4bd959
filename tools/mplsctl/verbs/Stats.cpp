#include "tools/common/Json.h"
#include "tools/common/Lfib.h"
#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/lfib/LfibTables.h"

#include <memory>

/// `mplsctl stats`: how large the tables are, and who writes them.

namespace mplsctl {

namespace {

std::vector<Pooltab::TableStatistics> collect(const LfibTables& tables) {
   std::vector<Pooltab::TableStatistics> all;
   tables.eachTable([&](const auto& table) {
      if (table.mountStatus() != Pooltab::MountStatus::mounted)
         return;
      all.push_back(table.statistics());
      all.back().name = table.view().name();
   });
   return all;
}

void printStatistics(const std::vector<Pooltab::TableStatistics>& all, tools::Output& out) {
   using enum tools::TextTable::Align;
   tools::TextTable table(
       {{"Table"}, {"Rows", right}, {"Bytes", right}, {"Capacity", right}, {"Changes", right}});
   Vok::U64 rows = 0, bytes = 0, changes = 0;
   for (const Pooltab::TableStatistics& one : all) {
      table.cell(one.name).cell(one.rows).cell(one.bytes).cell(one.capacity).cell(one.changes);
      rows += one.rows;
      bytes += one.bytes;
      changes += one.changes;
   }
   table.cell("all").cell(rows).cell(bytes).cell("-").cell(changes);
   table.print(out);
   const Pooltab::TableStatistics& pool = all.front();
   out.print("Log position {}, epoch {}, ", pool.logPosition, pool.epoch);
   if (pool.writerAlive)
      out.print("written by process {}\n", pool.writerPid);
   else
      out.print("no writer now (the last was process {})\n", pool.writerPid);
}

void writeStatistics(const std::vector<Pooltab::TableStatistics>& all, tools::Output& out) {
   const Pooltab::TableStatistics& pool = all.front();
   tools::Json json(out, 2);
   json.object().field("logPosition", pool.logPosition).field("epoch", pool.epoch);
   json.field("writerPid", pool.writerPid).field("writerAlive", pool.writerAlive);
   json.key("tables").object();
   for (const Pooltab::TableStatistics& one : all) {
      json.key(one.name).object().field("rows", one.rows).field("bytes", one.bytes);
      json.field("capacity", one.capacity).field("changes", one.changes).end();
   }
   json.end().end();
}

} // namespace

void statsVerb(Command program, Session& session) {
   auto inJson = std::make_shared<bool>(false);
   program.verb("stats", "Print the size and the changes of every table, and who writes them")
       .flag("--json", *inJson, "Print one JSON object")
       .does([inJson, &session] {
          const auto tables = openTables(tools::folderOf(session.pool));
          tools::Output out;
          const auto all = collect(*tables);
          *inJson ? writeStatistics(all, out) : printStatistics(all, out);
          out.flush();
          session.outcome = Outcome::done;
       });
}

} // namespace mplsctl
