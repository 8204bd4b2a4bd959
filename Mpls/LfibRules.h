#pragma once
// Rules that hold for rows of the LFIB whatever table they stand in.

#include "Mpls/MplsTypes.h"

namespace Mpls {

/// True for the via types whose routes have metric 0 and whose via sets hold at most one via:
/// viaTypeIpLookup to viaTypeEvpnVlanAwareFlood. IP-lookup and VLAN vias share the rules of the EVPN kinds.
constexpr bool isEvpnViaType(LfibViaType viaType) {
   return viaType >= viaTypeIpLookup_ && viaType <= viaTypeEvpnVlanAwareFlood_;
}

} // namespace Mpls
