#include "tools/mplsctl/segment-routing/SegmentRoutingText.h"

#include "tools/common/Reflect.h"

#include <algorithm>

namespace mplsctl {

namespace {

using namespace Pooltab::SegmentRouting;

/// Visits the rows in the order of their keys, which is what is sorted: rows may be large.
template <class Row, class Visit>
void eachInOrder(const Pooltab::Collection<Row>& table, Visit visit) {
   std::vector<typename Row::Key> keys;
   for (const Row& row : table)
      keys.push_back(row.rowKey());
   std::ranges::sort(keys);
   Row row;
   for (const auto& key : keys)
      if (table.find(key, row))
         visit(row);
}

/// "17" for an index into the global block, "label 24001" for a label.
std::string sidText(const Mpls::SegmentRouting::SegmentIdentifier& sid) {
   return (sid.isValue() ? "label " : "") + std::to_string(sid.index());
}

template <class Flags>
std::string flagsText(const Flags& flags) {
   std::string text;
   for (const std::string_view name : tools::flagNames(Flags::vokType(), &flags))
      text.append(text.empty() ? "" : ",").append(name);
   return text.empty() ? "-" : text;
}

std::string neighborsText(const AdjacencySegment& row) {
   std::string text;
   for (const auto [index, neighbor] : row.ngbIdEach())
      text.append(text.empty() ? "" : ",").append(neighbor.stringValue());
   return text.empty() ? "-" : text;
}

class Printer {
  public:
   explicit Printer(tools::Output& out) : out_(out) {}
   void print(std::string_view title, const tools::TextTable& table) {
      if (table.empty())
         return;
      out_ << (isFirst_ ? "" : "\n") << title << '\n';
      table.print(out_);
      isFirst_ = false;
   }

  private:
   tools::Output& out_;
   bool isFirst_ = true;
};

constexpr auto right = tools::TextTable::Align::right;

void printPrefixes(Printer& printer, const Status& tables) {
   tools::TextTable table({{"Prefix"}, {"SID"}, {"Router"}, {"Flags"}, {"Level", right}, {"Protection"}});
   eachInOrder(tables.prefixSegmentTable(), [&](const PrefixSegment& row) {
      table.cell(row.prefix().stringValue()).cell(sidText(row.sid())).cell(row.rtrid().stringValue());
      table.cell(flagsText(row.flags())).cell(row.level()).cell(stringValue(row.protectionMode()));
   });
   printer.print("Prefix Segments", table);
}

void printBlocks(Printer& printer, const Status& tables) {
   tools::TextTable table({{"Router"}, {"Base", right}, {"Size", right}});
   eachInOrder(tables.globalBlockTable(), [&](const GlobalBlock& row) {
      table.cell(row.routerId().stringValue()).cell(row.base()).cell(row.size());
   });
   printer.print("Global Blocks", table);
}

void printRoutes(Printer& printer, const Status& tables) {
   tools::TextTable table({{"Prefix"},
                           {"Via Set", right},
                           {"FEC", right},
                           {"Type"},
                           {"Preference", right},
                           {"Metric", right},
                           {"VRF", right},
                           {"Deferred"}});
   eachInOrder(tables.srRouteTable(), [&](const SrRoute& row) {
      table.cell(row.prefix().stringValue()).cell(row.viaSetKey().index()).cell(row.fecId().value());
      table.cell(stringValue(row.routeType()))
          .cell(row.metricPref().preference())
          .cell(row.metricPref().metric());
      table.cell(row.srcVrfId().value()).cell(row.deferredForMicroloopPrevention() ? "yes" : "no");
   });
   printer.print("Routes", table);
}

void printAdjacencies(Printer& printer, std::string_view title,
                      const Pooltab::Collection<AdjacencySegment>& segments) {
   tools::TextTable table({{"SID"}, {"Router"}, {"Flags"}, {"Neighbors"}});
   eachInOrder(segments, [&](const AdjacencySegment& row) {
      table.cell(sidText(row.key().sid())).cell(row.key().srcId().stringValue());
      table.cell(flagsText(row.flags())).cell(neighborsText(row));
   });
   printer.print(title, table);
}

template <class Row>
void writeRow(tools::Json& json, const Row& row) {
   tools::writeValue(json, Row::vokType(), &row);
}

void writeRow(tools::Json& json, const AdjacencySegment& row) {
   const Vok::ValueType& type = AdjacencySegment::vokType();
   const auto flags = row.flags();
   json.object();
   tools::writeValue(json.key("key"), *type.field("key")->type, &row.key());
   tools::writeValue(json.key("flags"), *type.field("flags")->type, &flags);
   json.key("ngbId").array();
   for (const auto [index, neighbor] : row.ngbIdEach())
      json.value(neighbor.stringValue());
   json.end().end();
}

template <class Row>
void writeTable(tools::Json& json, std::string_view name, const Pooltab::Collection<Row>& table) {
   json.key(name).array();
   eachInOrder(table, [&](const Row& row) { writeRow(json, row); });
   json.end();
}

} // namespace

void printSegmentRouting(const Status& tables, tools::Output& out) {
   Printer printer(out);
   printPrefixes(printer, tables);
   printBlocks(printer, tables);
   printRoutes(printer, tables);
   printAdjacencies(printer, "IPv4 Adjacency Segments", tables.v4AdjSegmentTable());
   printAdjacencies(printer, "IPv6 Adjacency Segments", tables.v6AdjSegmentTable());
}

void writeSegmentRouting(const Status& tables, tools::Output& out) {
   tools::Json json(out, 2);
   json.object();
   writeTable(json, "prefixSegment", tables.prefixSegmentTable());
   writeTable(json, "globalBlock", tables.globalBlockTable());
   writeTable(json, "srRoute", tables.srRouteTable());
   writeTable(json, "v4AdjSegment", tables.v4AdjSegmentTable());
   writeTable(json, "v6AdjSegment", tables.v6AdjSegmentTable());
   json.end();
}

} // namespace mplsctl
