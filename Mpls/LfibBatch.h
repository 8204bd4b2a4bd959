#pragma once

#include "Mpls/MplsLfibWriter.h"

#include <span>

/// Many routes at once, for producers that have them at hand. Each is written or removed just as by itself,
/// in the order given, and readers see the same steps; but what the routes of a group will touch is fetched
/// into the cache before the first of them is worked on, so that their cache misses run side by side.

namespace Mpls {

/// lfibRouteIs() for each route. A route whose via type cannot be written raises InternalError when its turn
/// comes: those before it stand, the others are not written.
void lfibRoutesIs(LfibWriter& writer, std::span<const ConsolidatedLfibRoute> routes);

/// lfibRouteDel() for each key.
void lfibRoutesDel(LfibWriter& writer, std::span<const RouteKey> routeKeys);

} // namespace Mpls
