#pragma once

#include "Mpls/LfibViaTables.h"
#include "Pooltab/CheckedRead.h"

#include <optional>
#include <variant>

/// Vias of every kind as one type.

namespace tools {

/// A row of any of the via tables.
using ViaRow = std::variant<Mpls::LfibMplsVia, Mpls::LfibPwVia, Mpls::LfibIpLookupVia, Mpls::LfibVlanVia,
                            Mpls::LfibEvpnVlanAwareVia, Mpls::LfibEvpnEthernetSegmentFilterVia,
                            Mpls::LfibEvpnVlanFloodVia, Mpls::LfibEvpnVlanAwareFloodVia, Mpls::LfibExtFecVia>;

/// The row that a via key names, from the table of its via type; nothing for a key of a type without a
/// table. A damaged row is told to its table's control and counts as missing.
inline std::optional<ViaRow> viaRow(const Mpls::LfibStatus& lfib, const Mpls::LfibViaKey& key) {
   std::optional<ViaRow> found;
   Mpls::forEachViaTable(lfib, [&]<class Row>(const Pooltab::Collection<Row>& table) {
      if (key.viaType() != Row::viaType)
         return;
      if (Row row; Pooltab::checkedFind(table, key, row))
         found.emplace(row);
   });
   return found;
}

} // namespace tools
