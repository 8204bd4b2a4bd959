#pragma once
// All via tables of an LFIB, for code that treats every kind of via alike.

#include "Mpls/MplsLfib.h"

namespace Mpls {

/// Calls visit( table ) for each via table, a `Pooltab::Collection` of the rows of one via type.
template <class Visit>
void forEachViaTable(const LfibStatus& lfib, Visit visit) {
   visit(lfib.mplsViaTable());
   visit(lfib.pwViaTable());
   visit(lfib.ipLookupViaTable());
   visit(lfib.vlanViaTable());
   visit(lfib.evpnVlanAwareViaTable());
   visit(lfib.evpnEthernetSegmentFilterViaTable());
   visit(lfib.evpnVlanFloodViaTable());
   visit(lfib.evpnVlanAwareFloodViaTable());
   visit(lfib.extFecViaTable());
}

} // namespace Mpls
