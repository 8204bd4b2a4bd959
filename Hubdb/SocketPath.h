#pragma once
// Unix sockets by path.

#include "Vok/Descriptor.h"
#include "Vok/Types.h"

namespace Hubdb {

/// A non-blocking stream socket connected to the path. Empty, with `errno` set, when nobody listens there.
/// Raises Vok::RangeError for a path that is too long for a socket.
Vok::Descriptor connectedSocket(const Vok::String& path);

/// One that listens on the path, for the owner and the group of the process. Takes the place of a socket on
/// which nobody listens. Raises Vok::Error, naming what is wrong; the process, when it is a server that
/// lives.
Vok::Descriptor listeningSocket(const Vok::String& path);

/// The first of $XDG_RUNTIME_DIR/hubdb.sock, unless root asks, and /run/mpls/hubdb.sock that makes sense.
Vok::String defaultSocketPath();

} // namespace Hubdb
