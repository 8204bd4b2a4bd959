#pragma once

#include "tools/common/Json.h"
#include "tools/mplsctl/formats/RouteFile.h"

/// How the changing verbs tell what they found in their input.

namespace mplsctl {

/// Prints every bad line on standard error, as FILE:LINE: WHAT.
void printBadLines(const RouteFile& file);

/// Prints "skipped: WHAT: COUNT (first at line N)" a remark.
void printRemarks(tools::Output& out, const std::vector<Remark>& remarks);

/// How many things were skipped.
Vok::U32 skippedIn(const std::vector<Remark>& remarks);

/// The fields "remarks" and "errors" of the object under way.
void writeRemarks(tools::Json& json, const std::vector<Remark>& remarks);
void writeBadLines(tools::Json& json, const std::vector<BadLine>& badLines);

} // namespace mplsctl
