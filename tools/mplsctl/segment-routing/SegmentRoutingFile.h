#pragma once

#include "tools/mplsctl/formats/RouteFile.h"

#include "Mpls/SegmentRouting.h"

#include <map>
#include <optional>

/// The file of `mplsctl segment-routing load`: an object with an array of rows for each table that it tells
/// of, under the table's name; rows are objects of their fields.

namespace mplsctl {

namespace SrTables = Pooltab::SegmentRouting;

/// The rows that a file wishes for a table; nothing when it does not tell of it.
template <class Row>
using SrRows = std::optional<std::map<typename Row::Key, Row>>;

struct SegmentRoutingFile {
   std::string name;
   bool broken = false; ///< ends inside its syntax
   SrRows<SrTables::PrefixSegment> prefixSegment;
   SrRows<SrTables::GlobalBlock> globalBlock;
   SrRows<SrTables::SrRoute> srRoute;
   SrRows<SrTables::AdjacencySegment> v4AdjSegment, v6AdjSegment;
   std::vector<BadLine> badLines;

   bool isEmpty() const {
      return !prefixSegment && !globalBlock && !srRoute && !v4AdjSegment && !v6AdjSegment;
   }
};

/// Calls visit( name, rows of the file ) for each table.
template <class Visit>
void forEachSrTable(SegmentRoutingFile& file, Visit visit) {
   visit("prefixSegment", file.prefixSegment);
   visit("globalBlock", file.globalBlock);
   visit("srRoute", file.srRoute);
   visit("v4AdjSegment", file.v4AdjSegment);
   visit("v6AdjSegment", file.v6AdjSegment);
}

SegmentRoutingFile readSegmentRouting(std::string name, std::string_view text);

} // namespace mplsctl
