#pragma once

#include "tools/common/Json.h"
#include "tools/mplsctl/lfib/Chain.h"

#include <string>

/// Routes and vias in words, as text and as JSON.

namespace mplsctl {

/// What a via does, in the terms of `show mpls table`.
struct Hop {
   std::string nexthop;   ///< an address; for other kinds of via what they lead to: "vrf red", "vlan 17"
   std::string interface; ///< empty when the via names none
   /// What is written in place of the label: "17030", "24019/24011" with the top first, "implicit-null" when
   /// the label is removed, "-" when the via leaves that to what follows.
   std::string outbound;
   Kinet::BoundedMplsLabelStack labels; ///< to impose; empty unless the via is an MPLS one
   bool pops = false;                   ///< the label is removed
   Vok::U32 weight = 1;

   /// The next hop, or the interface where there is none, or "-".
   std::string_view towards() const;
};

/// Describes a via into `hop`, whose memory it reuses.
void describe(const ViaRow& via, Hop& hop);

/// The label stack that a route matches, top first with slashes; labels below 16 by name.
std::string labelText(const Mpls::RouteKey& key);
void appendLabels(std::string& text, const Kinet::BoundedMplsLabelStack& stack);

/// "lfibSourceLdp/viaTypeMplsIp/7", "lfibSourceLdp/viaTypeMplsIp/unicast/7".
std::string keyText(const Mpls::LfibViaKey& key);
std::string keyText(const Mpls::LfibViaSetKey& key);

/// The JSON of one route in the form of `show mpls table json`: inLabel, installed, nexthops. An entry of
/// the latter has type, outLabel, outLabelStack, installed, nexthop and interface as far as they apply, and
/// weight unless it is 1. A next hop counts as installed when its via stands in the tables.
void writeRoute(tools::Json& json, const Chain& chain);

} // namespace mplsctl
