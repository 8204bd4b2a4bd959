#include "tools/mplsctl/segment-routing/SegmentRoutingPlan.h"

namespace mplsctl {

namespace {

/// The keys of a table that the file does not have; none where bad lines leave open which rows it means.
template <class Row>
std::vector<typename Row::Key> goneKeys(const SegmentRoutingFile& file, const SrRows<Row>& wished,
                                        const Pooltab::Collection<Row>& table) {
   std::vector<typename Row::Key> gone;
   if (file.badLines.empty())
      for (const Row& row : table)
         if (!wished->contains(row.rowKey()))
            gone.push_back(row.rowKey());
   return gone;
}

template <class Row>
SrCounts compare(std::string_view name, const SegmentRoutingFile& file, const SrRows<Row>& wished,
                 const Pooltab::Collection<Row>& table) {
   SrCounts counts{name};
   Row row;
   for (const auto& [key, wish] : *wished)
      ++(!table.find(key, row) ? counts.added : row == wish ? counts.unchanged : counts.changed);
   counts.removed = static_cast<Vok::U32>(goneKeys(file, wished, table).size());
   return counts;
}

/// Calls visit( name, rows of the file, table ) for each table that the file tells of.
template <class Status, class Visit>
void forEachWished(const SegmentRoutingFile& file, Status& tables, Visit visit) {
   const auto wished = [&](std::string_view name, const auto& rows, auto& table) {
      if (rows)
         visit(name, rows, table);
   };
   wished("prefixSegment", file.prefixSegment, tables.prefixSegmentTable());
   wished("globalBlock", file.globalBlock, tables.globalBlockTable());
   wished("srRoute", file.srRoute, tables.srRouteTable());
   wished("v4AdjSegment", file.v4AdjSegment, tables.v4AdjSegmentTable());
   wished("v6AdjSegment", file.v6AdjSegment, tables.v6AdjSegmentTable());
}

} // namespace

std::vector<SrCounts> compareSegmentRouting(const SegmentRoutingFile& file, const SrTables::Status& tables) {
   std::vector<SrCounts> counts;
   forEachWished(file, tables, [&](std::string_view name, const auto& rows, const auto& table) {
      counts.push_back(compare(name, file, rows, table));
   });
   return counts;
}

std::vector<SrCounts> applySegmentRouting(const SegmentRoutingFile& file, SrTables::Status& tables) {
   const std::vector<SrCounts> counts = compareSegmentRouting(file, tables);
   forEachWished(file, tables, [&](std::string_view, const auto& rows, auto& table) {
      for (const auto& [key, row] : *rows)
         table.commit(row);
   });
   forEachWished(file, tables, [&](std::string_view, const auto& rows, auto& table) {
      for (const auto& key : goneKeys(file, rows, table))
         table.del(key);
   });
   return counts;
}

} // namespace mplsctl
