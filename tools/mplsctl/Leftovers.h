#pragma once

#include "Mpls/MplsLfibWriter.h"

namespace mplsctl {

/// Removes via sets that no route leads to and vias that no via set lists: what a writer leaves behind that
/// dies in the middle of a route. Returns how many rows it removed. Tables without any are told by their
/// numbers of rows and keys.
Vok::U32 removeLeftovers(Mpls::LfibWriter& writer);

} // namespace mplsctl
