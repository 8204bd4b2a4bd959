#include "tools/common/HashOfKey.h"
#include "tools/common/Reflect.h"
#include "tools/mplsctl/verbs/RouteText.h"
#include "tools/mplsctl/verbs/Show.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>

namespace mplsctl {

namespace {

/// Visits the rows of a table in the order of their keys. Rows may be large: it is keys that are sorted.
template <class Row, class Visit>
void eachInOrder(const Pooltab::TableReader<Row>& table, Visit&& visit) {
   std::vector<typename Row::Key> keys;
   keys.reserve(table.size());
   for (const Row& row : table)
      keys.push_back(row.rowKey());
   std::ranges::sort(keys);
   table.findAll(keys, [&](std::size_t, const Row& row) { visit(row); });
}

using UseCount = std::unordered_map<Mpls::LfibViaSetKey, Vok::U64, tools::HashOfKey>;

UseCount countUses(const LfibTables& tables) {
   UseCount uses;
   for (const Mpls::LfibRoute& route : tables.lfibRoute)
      ++uses[route.viaSetKey()];
   return uses;
}

void writeViaSet(tools::Json& json, const Mpls::LfibViaSet& viaSet, Vok::U64 uses) {
   json.key(keyText(viaSet.key())).object().field("routes", uses);
   json.field("isUsableAsPrimaryVia", viaSet.isUsableAsPrimaryVia());
   if (!!viaSet.backupViaSetKey())
      json.field("backup", keyText(viaSet.backupViaSetKey()));
   json.key("vias").array();
   for (const auto [slot, key] : viaSet.viaKeyEach())
      json.value(keyText(key));
   json.end().end();
}

} // namespace

void showViaSets(const LfibTables& tables, ShowFormat format, tools::Output& out) {
   const UseCount uses = countUses(tables);
   const auto usesOf = [&](const Mpls::LfibViaSet& viaSet) {
      const auto found = uses.find(viaSet.key());
      return found == uses.end() ? 0 : found->second;
   };
   if (format != ShowFormat::text) {
      tools::Json json(out);
      json.object();
      eachInOrder(tables.viaSet, [&](const Mpls::LfibViaSet& row) { writeViaSet(json, row, usesOf(row)); });
      json.end();
      return;
   }
   tools::TextTable table({{"Via Set"}, {"Routes", tools::TextTable::Align::right}, {"Vias"}, {"Backup"}});
   std::string indexes;
   eachInOrder(tables.viaSet, [&](const Mpls::LfibViaSet& row) {
      indexes.clear();
      for (const auto [slot, key] : row.viaKeyEach())
         indexes.append(indexes.empty() ? "" : ",").append(fmt::format_int(key.index()).c_str());
      table.cell(keyText(row.key())).cell(usesOf(row)).cell(indexes.empty() ? "-" : indexes);
      table.cell(!row.backupViaSetKey() ? std::string("-") : keyText(row.backupViaSetKey()));
   });
   table.print(out);
}

void showVias(const LfibTables& tables, ShowFormat format, tools::Output& out) {
   if (format != ShowFormat::text) {
      tools::Json json(out);
      json.object();
      tables.eachViaTable([&]<class Row>(const Pooltab::TableReader<Row>& viaTable) {
         eachInOrder(viaTable, [&](const Row& row) {
            json.key(keyText(row.key())).object();
            writeFields(json, Row::vokType(), &row);
            json.end();
         });
      });
      json.end();
      return;
   }
   tools::TextTable table(
       {{"Via"}, {"Nexthop"}, {"Interface"}, {"Outbound Label"}, {"Weight", tools::TextTable::Align::right}});
   Hop hop;
   tables.eachViaTable([&]<class Row>(const Pooltab::TableReader<Row>& viaTable) {
      eachInOrder(viaTable, [&](const Row& row) {
         describe(ViaRow(row), hop);
         table.cell(keyText(row.key())).cell(hop.nexthop.empty() ? "-" : hop.nexthop);
         table.cell(hop.interface.empty() ? "-" : hop.interface).cell(hop.outbound).cell(hop.weight);
      });
   });
   table.print(out);
}

} // namespace mplsctl
