#pragma once

#include "Mpls/MplsTypes.h"

#include <optional>
#include <string_view>

/// The words that network engineers use for labels and for the producers of routes.

namespace mplsctl {

/// The name of a reserved label, "implicit-null"; empty for labels without one.
std::string_view labelName(Vok::U32 label);

/// The number of a label given by name or in decimal digits.
std::optional<Vok::U32> labelFromText(std::string_view text);

/// The type of a route from that source as `show mpls table` names it: "LDP", "SR (IS-IS)".
std::string_view routeType(Mpls::LFib::Source source);

/// A source given as a type of `show mpls table`, or by its enumerator with or without "lfibSource", in any
/// case: "SR (IS-IS)", "ldp", "lfibSourceLdp". A type that several sources share gives the first of them.
std::optional<Mpls::LFib::Source> sourceFromText(std::string_view text);

} // namespace mplsctl
