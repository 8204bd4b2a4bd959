#pragma once

#include "tools/mplsctl/formats/RouteBuilder.h"

/// The text of `ip -f mpls route show`, and the lines of an `ip -batch` file that change label routes.
///
///    ROUTE    := LABEL [ HOP ] { OPTION } { nexthop HOP [ weight NUMBER ] }
///    HOP      := [ as [ to ] LABEL{/LABEL} ] [ via [ inet | inet6 ] ADDRESS ] [ dev NAME ]
///    OPTION   := proto NAME | metric NUMBER | ttl-propagate ( enabled | disabled ) | ...
///    BATCHED  := [ -f mpls ] route ( add | replace | change | del ) ROUTE
///
/// `nexthop` may begin a line of its own below its route. A backslash at the end of a line continues it; `#`
/// begins a comment. Without `as` the label is popped. `dev` alone (`301 dev vrf-red`) pops the label and
/// hands the packet to the device, whatever it is: kept as a next hop with an interface and no address.

namespace mplsctl {

/// Reads all lines; what `route del` takes out again is not in the file.
RouteFile readIpRouteText(std::string name, std::string_view text);

/// Reads one ROUTE into a new route of `routes`, which stays open. Returns whether it has a next hop of its
/// own rather than a list. Raises BadWord; the route, once its label is read, is open then too.
bool readIpRoute(RouteBuilder& routes, std::uint32_t line, std::string_view text);

} // namespace mplsctl
