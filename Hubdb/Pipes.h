#pragma once
// Pipes in the place of a connected socket: who sleeps on one is woken in two thirds of the time.

#include "Hubdb/Record.h"

#include "Vok/Descriptor.h"

#include <utility>

namespace Hubdb {

/// One side's ends of two pipes, one for each way, which do not block. Whoever has them can hold up the other
/// side, by an access of its own to the same pipe that waits for memory, so they are for those who trust each
/// other. Without descriptors there are none.
struct Pipes {
   explicit operator bool() const { return static_cast<bool>(in); }

   Vok::Descriptor in; ///< comes to its end when the other side has gone
   Vok::Descriptor out;
   /// The other end of `out`, never read: writing to a pipe that nobody could read would raise SIGPIPE.
   Vok::Descriptor kept;
};

/// For both sides; none, with `errno` set, when the process or the system has no descriptors left.
std::pair<Pipes, Pipes> makePipes();

/// Sends the bytes over a socket, and the other side's pipes with them. Returns what send() does.
ssize_t sendPipes(int socket, Bytes bytes, const Pipes& pipes);

/// Receives as recv() does, and pipes that come with the bytes. With ECANCELED when they could not be taken
/// over: the process has no descriptors left for them.
ssize_t receivePipes(int socket, Vok::U8* bytes, std::size_t size, Pipes& pipes);

} // namespace Hubdb
