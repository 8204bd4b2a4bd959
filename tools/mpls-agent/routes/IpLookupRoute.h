#pragma once

#include "Mpls/MplsLfibWriter.h"

/// Routes of VRF labels in the LFIB: the label goes, and the packet below it is looked up in the VRF. They
/// have metric 0 and one via, which does not fix the family of the packet below.

namespace agent {

/// True when `row` of the tables is that route.
bool isIpLookupPublished(const Mpls::LfibStatus& tables, const Mpls::LfibRoute& row,
                         const L3::VrfName& vrfName);

/// Adds or replaces the route of a label: via, via set, route; then what the label had before. LfibWriter
/// removes it.
void ipLookupRouteIs(Mpls::LfibWriter& writer, const Mpls::RouteKey& key, const L3::VrfName& vrfName);

} // namespace agent
