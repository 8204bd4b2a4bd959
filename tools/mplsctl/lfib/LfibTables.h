#pragma once

#include "tools/common/ViaRow.h"

#include "Mpls/MplsLfib.h"
#include "Pooltab/TableReader.h"

#include <memory>
#include <string>
#include <string_view>
#include <tuple>

/// The tables of the published LFIB in the eyes of a reader: what show, watch, verify and stats read.

namespace mplsctl {

using tools::ViaRow;

template <class Rows>
struct ViaTablesOf;
template <class... Row>
struct ViaTablesOf<std::variant<Row...>> {
   using Tuple = std::tuple<Pooltab::TableReader<Row>...>;
};

/// Follows the writer by itself: a table that comes or is replaced later is mounted by `pool.deliver()`.
class LfibTables {
  public:
   /// Never raises for what is missing or wrong in the folder: the tables' mount status tells.
   explicit LfibTables(std::shared_ptr<Pooltab::Folder> folder);

   Pooltab::PoolReader pool;
   Pooltab::TableReader<Mpls::LfibRoute> lfibRoute;
   Pooltab::TableReader<Mpls::LfibViaSet> viaSet;
   ViaTablesOf<ViaRow>::Tuple viaTables; ///< one a kind of via, in the order of ViaRow
   Pooltab::TableReader<Mpls::LfibDot1qTagToVlanComposite> dot1qTagToVlanComposite;

   /// The row that a via key names, from the table of its via type; nothing for a key of a type without a
   /// table. Raises Vok::CorruptionDetectedError.
   std::optional<ViaRow> via(const Mpls::LfibViaKey& key) const;

   template <class Visit>
   void eachViaTable(Visit&& visit) const {
      std::apply([&](const auto&... table) { (visit(table), ...); }, viaTables);
   }
   template <class Visit>
   void eachTable(Visit&& visit) const {
      visit(lfibRoute);
      visit(viaSet);
      eachViaTable(visit);
      visit(dot1qTagToVlanComposite);
   }
};

/// Opens the tables in a folder. Raises Failure when the routes or the via sets cannot be read: unreachable,
/// versionMismatch or corrupt, saying what to do next.
std::unique_ptr<LfibTables> openTables(std::shared_ptr<Pooltab::Folder> folder);

} // namespace mplsctl
