#pragma once

#include "Mpls/MplsLfibWriter.h"

#include "Pooltab/Spot.h"
#include "Vok/Trace.h"

/// How one route becomes rows, and how they go: what the writer and its batches have in common. The order of
/// the rows is the promise of docs/lfib.md.

namespace Mpls {

/// Of the source unit MplsLfibWriter.
extern Vok::TraceFacility lfibWriterTrace;

/// Finds the via-set key of the route under a key: it stands in the packed row right behind the route's own.
/// False when there is no such route. For tables mounted as a writer. Raises Pooltab::CorruptionDetectedError
/// when the bytes are no key.
bool findViaSetKey(const LfibStatus& lfib, const Pooltab::Spot<RouteKey>& spot, LfibViaSetKey& key);

/// Adds or replaces one route; `spot` is that of its key. Raises InternalError, with nothing written, for a
/// via type that cannot be written.
void routeRowsIs(LfibWriter& writer, const Pooltab::Spot<RouteKey>& spot, const ConsolidatedLfibRoute& route);

/// Removes the route of a key, if there is one; `spot` is that of the key.
void routeRowsDel(LfibWriter& writer, const Pooltab::Spot<RouteKey>& spot, const RouteKey& routeKey);

} // namespace Mpls
