#include "tools/mplsctl/Leftovers.h"

#include <unordered_set>
#include <vector>

namespace mplsctl {

namespace {

struct HashOfKey {
   std::size_t operator()(const auto& key) const { return key.hash(); }
};
template <class Key>
using KeySet = std::unordered_set<Key, HashOfKey>;

template <class Visit>
void eachViaTable(const Mpls::LfibStatus& tables, Visit visit) {
   visit(tables.mplsViaEach());
   visit(tables.pwViaEach());
   visit(tables.ipLookupViaEach());
   visit(tables.vlanViaEach());
   visit(tables.evpnVlanAwareViaEach());
   visit(tables.evpnEthernetSegmentFilterViaEach());
   visit(tables.evpnVlanFloodViaEach());
   visit(tables.evpnVlanAwareFloodViaEach());
   visit(tables.extFecViaEach());
}

/// Every route has a via set of its own, and every via belongs to one via set: where the numbers agree,
/// nothing is left over.
bool agree(const Mpls::LfibStatus& tables) {
   Vok::U64 listed = 0;
   for (const Mpls::LfibViaSet& viaSet : tables.viaSetEach())
      listed += viaSet.viaKeys();
   const Vok::U64 vias = Vok::U64(tables.mplsVias()) + tables.pwVias() + tables.ipLookupVias() +
                         tables.vlanVias() + tables.evpnVlanAwareVias() +
                         tables.evpnEthernetSegmentFilterVias() + tables.evpnVlanFloodVias() +
                         tables.evpnVlanAwareFloodVias() + tables.extFecVias();
   return tables.viaSets() == tables.lfibRoutes() && listed == vias;
}

} // namespace

Vok::U32 removeLeftovers(Mpls::LfibWriter& writer) {
   Mpls::LfibStatus& tables = *writer.lfib();
   if (agree(tables))
      return 0;
   KeySet<Mpls::LfibViaSetKey> usedViaSets;
   for (const Mpls::LfibRoute& route : tables.lfibRouteEach())
      usedViaSets.insert(route.viaSetKey());
   KeySet<Mpls::LfibViaKey> usedVias;
   std::vector<Mpls::LfibViaSetKey> viaSets;
   for (const Mpls::LfibViaSet& viaSet : tables.viaSetEach()) {
      if (!usedViaSets.contains(viaSet.key()))
         viaSets.push_back(viaSet.key());
      else
         for (const auto [slot, key] : viaSet.viaKeyEach())
            usedVias.insert(key);
   }
   std::vector<Mpls::LfibViaKey> vias;
   eachViaTable(tables, [&](const auto& rows) {
      for (const auto& row : rows)
         if (!usedVias.contains(row.key()))
            vias.push_back(row.key());
   });
   for (const Mpls::LfibViaSetKey& key : viaSets)
      tables.viaSetDel(key);
   for (const Mpls::LfibViaKey& key : vias)
      writer.lfibViaDel(key);
   return static_cast<Vok::U32>(viaSets.size() + vias.size());
}

} // namespace mplsctl
