#pragma once

#include "tools/common/Output.h"

#include "Mpls/SegmentRouting.h"

/// What `mplsctl segment-routing show` prints: every table in the order of its keys.

namespace mplsctl {

/// A table of columns for each that has rows.
void printSegmentRouting(const Pooltab::SegmentRouting::Status& tables, tools::Output& out);

/// The file that `mplsctl segment-routing load` reads.
void writeSegmentRouting(const Pooltab::SegmentRouting::Status& tables, tools::Output& out);

} // namespace mplsctl
