#pragma once
// Paths of the database: "routing/mpls/route/input/dynamic/cli". Segments are separated by '/', none is
// empty; a '/' at the end names the directory and is not part of the path as the library keeps it.

#include "Vok/Types.h"

#include <string_view>

namespace Hubdb {

/// Longest path in bytes.
inline constexpr std::size_t maxPathSize = 1024;

/// The path without a '/' at its end. Raises Vok::RangeError, naming the path, when it is empty, too long, or
/// has an empty segment.
Vok::String checkedPath(std::string_view path);

/// The last segment: the name of what stands there.
std::string_view pathName(std::string_view path);

/// Everything before the last segment, without the '/'; empty for a path of one segment.
std::string_view pathFolder(std::string_view path);

} // namespace Hubdb
