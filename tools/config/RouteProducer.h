#pragma once

#include "tools/common/HashOfKey.h"

#include "Mpls/Mpls.h"
#include "Mpls/MplsLfibWriter.h"
#include "Mpls/VrfLabelConfigMergeSm.h"

#include <string>
#include <unordered_map>
#include <vector>

/// From merged configuration to routes of the LFIB.

namespace tools::config {

/// What one label stack is to have in the LFIB.
struct LfibWish {
   enum class Kind { none, mpls, ipLookup };

   Kind kind = Kind::none;
   Mpls::ConsolidatedLfibRoute route;  ///< of kind mpls
   L3::VrfName vrfName;                ///< of kind ipLookup
   bool vrfLabelWins = false;          ///< over a route of that label
   std::vector<std::string> unwritten; ///< parts of the route that the tables cannot hold, and why

   /// Whether the same would stand in the tables.
   bool operator==(const LfibWish& other) const;
};

/// Routes are of this source, VRF labels of the other: both are this producer's alone in the tables.
constexpr auto routeSource = Mpls::LFib::Source::lfibSourceStaticMpls;
constexpr auto vrfLabelSource = Mpls::LFib::Source::lfibSourceStaticL3Vpn;
constexpr bool isProduced(Mpls::LFib::Source source) {
   return source == routeSource || source == vrfLabelSource;
}

/// The merged route of a label stack that counts is the one of the lowest metric: `route`, null when there is
/// none. A VRF label is a route of metric 0, and so comes before all others; the empty value is none. Makes
/// `wish` the result; it may have been another one before, and keeps its memory.
///
/// A via becomes a row field by field. Next-hop groups have no row; a via that is to swap or push, without a
/// label to impose, has none either.
void produce(const Mpls::RouteKey& key, const Mpls::Route* route, const Mpls::VrfLabel& vrfLabel,
             LfibWish& wish);

/// One via as it stands in the tables. Returns false, and says why in `why`, when it cannot.
bool produceVia(const Mpls::Via& via, Mpls::LfibMplsVia& row, std::string& why);

/// The VRF label of a stack of one label, in an input or merged; empty for others, and when there is none.
template <class Config>
Mpls::VrfLabel vrfLabelOf(const Config& config, const Mpls::RouteKey& key) {
   return key.labelStack().count() == 1 ? config.vrfLabel(key.topLabel()) : Mpls::VrfLabel();
}

/// Of each label stack the merged route of the lowest metric.
using LowestRoutes = std::unordered_map<Mpls::RouteKey, const Mpls::Route*, HashOfKey>;
LowestRoutes lowestRoutes(const Mpls::RouteConfig& config);

} // namespace tools::config
