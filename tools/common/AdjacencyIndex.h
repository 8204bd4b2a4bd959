#pragma once

#include "Mpls/MplsHardware.h"
#include "Mpls/MplsLfib.h"

#include <optional>

/// Adjacencies of the hardware status by what they were made from. An adjacency's index is the key of its via
/// set, packed: a route of the LFIB that changes gets a via set under a fresh key, so that the index under
/// which a route stands in hardware names the version of the route that the hardware speaks of.

namespace tools {

/// Via sets that have no adjacency type of their own (IP lookup, VLANs) stand among those of type mplsIp.
Mpls::AdjacencyType adjacencyTypeOf(const Mpls::LfibViaSetKey& key);

Mpls::Hardware::AdjacencyBaseKey adjacencyKeyOf(const Mpls::LfibViaSetKey& key);

/// The via set behind an index; nothing for one that was not made here.
std::optional<Mpls::LfibViaSetKey> viaSetKeyOf(Vok::U64 adjacencyIndex);

} // namespace tools
