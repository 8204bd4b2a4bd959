#pragma once

#include "tools/mplsctl/formats/RouteFile.h"

namespace mplsctl {

/// Reads the JSON of `ip -j -f mpls route show`: an array of routes with `dst`, `to`, `via` { `family`,
/// `host` }, `dev`, `protocol`, `metric`, `flags` and `nexthops`. It means what the text of the same command
/// means.
RouteFile readIpRouteJson(std::string name, std::string_view text);

} // namespace mplsctl
