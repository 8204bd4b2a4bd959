#include "tools/mplsctl/segment-routing/SegmentRoutingFile.h"

#include "tools/mplsctl/formats/JsonRoutes.h"
#include "tools/mplsctl/formats/JsonValue.h"

#include <fmt/core.h>

namespace mplsctl {

namespace {

template <class Row>
void readRow(const JsonNode& node, Row& row) {
   readValue(node, Row::vokType(), &row);
}

/// The neighbours come as an array, which takes the slots from the lowest on.
void readRow(const JsonNode& node, SrTables::AdjacencySegment& row) {
   JsonNode others = node;
   std::erase_if(others.children, [](const JsonNode& field) { return field.key == "ngbId"; });
   readValue(others, SrTables::AdjacencySegment::vokType(), &row);
   const JsonNode* const neighbors = findMember(node, "ngbId");
   if (!neighbors)
      return;
   Vok::U32 next = 0;
   for (const JsonNode& neighbor : elementsOf(*neighbors)) {
      if (next > SrTables::AdjSegmentNbrIdx::max)
         throw BadWord(
             fmt::format("'ngbId' has more than {} neighbors", SrTables::AdjSegmentNbrIdx::max + 1));
      Mpls::RouterId routerId;
      readValue(neighbor, Mpls::RouterId::vokType(), &routerId);
      row.ngbIdIs(SrTables::AdjSegmentNbrIdx(next++), routerId);
   }
}

template <class Row>
void readRows(SegmentRoutingFile& file, const JsonNode& table, SrRows<Row>& rows) {
   rows.emplace();
   const std::string_view keyName = Row::vokType().fields().front().name;
   for (const JsonNode& node : elementsOf(table))
      try {
         Row row;
         membersOf(node);
         if (!findMember(node, keyName))
            throw BadWord(fmt::format("'{}' is missing", keyName));
         readRow(node, row);
         if (!rows->try_emplace(row.rowKey(), row).second)
            throw BadWord(fmt::format("'{}' has been given before", keyName));
      } catch (const BadWord& error) {
         file.badLines.push_back({node.line, fmt::format("{}: {}", table.key, error.what())});
      }
}

void readTable(SegmentRoutingFile& file, const JsonNode& table) {
   bool isKnown = false;
   forEachSrTable(file, [&]<class Rows>(std::string_view name, Rows& rows) {
      if (name != table.key)
         return;
      isKnown = true;
      readRows<typename Rows::value_type::mapped_type>(file, table, rows);
   });
   if (!isKnown)
      throw BadWord(fmt::format("'{}' is no table of segment routing", table.key));
}

} // namespace

SegmentRoutingFile readSegmentRouting(std::string name, std::string_view text) {
   SegmentRoutingFile file;
   file.name = std::move(name);
   const JsonError error = eachJsonEntry(text, [&](const JsonNode& table) {
      try {
         readTable(file, table);
      } catch (const BadWord& bad) {
         file.badLines.push_back({table.line, bad.what()});
      }
   });
   if (!error.what.empty()) {
      file.badLines.push_back({error.line, error.what});
      file.broken = true;
   }
   return file;
}

} // namespace mplsctl
