#pragma once

#include "tools/mplsctl/formats/RouteFile.h"

#include "Mpls/MplsLfibWriter.h"

/// A route of a file against the rows of the tables.

namespace mplsctl {

Mpls::RouteKey keyOf(const FileRoute& route);

/// True when the tables hold exactly this route; `row` is its row there.
bool isPublished(const Mpls::LfibStatus& tables, const Mpls::LfibRoute& row, const RouteFile& file,
                 const FileRoute& route);

/// Makes `consolidated` that route; it may have been another one before and keeps its memory.
void consolidate(Mpls::ConsolidatedLfibRoute& consolidated, const RouteFile& file, const FileRoute& route);

} // namespace mplsctl
