#include "Hubdb/Pipes.h"

#include "Hubdb/Wire.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>

namespace Hubdb {

using Vok::Descriptor;

namespace {

using Numbers = std::array<int, 3>;

/// What travels with the bytes, as the system lays it out.
struct Ancillary {
   msghdr message{};
   iovec piece{};
   alignas(cmsghdr) char space[CMSG_SPACE(sizeof(Numbers))] = {};

   Ancillary(void* bytes, std::size_t size) : piece{bytes, size} {
      message.msg_iov = &piece;
      message.msg_iovlen = 1;
      message.msg_control = space;
      message.msg_controllen = sizeof space;
   }
};

struct Pipe {
   Descriptor reading, writing;
};

Pipe makePipe() {
   int ends[2];
   if (pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0)
      return {};
   fcntl(ends[1], F_SETPIPE_SZ, static_cast<int>(Wire::portion)); // a wish: with less there are more turns
   return {Descriptor(ends[0]), Descriptor(ends[1])};
}

Descriptor copyOf(const Descriptor& descriptor) {
   return Descriptor(fcntl(descriptor.fd(), F_DUPFD_CLOEXEC, 0));
}

} // namespace

std::pair<Pipes, Pipes> makePipes() {
   Pipe to = makePipe(), from = makePipe();
   if (!to.reading || !from.reading)
      return {};
   Descriptor toKept = copyOf(to.reading), fromKept = copyOf(from.reading);
   if (!toKept || !fromKept)
      return {};
   return {Pipes{std::move(from.reading), std::move(to.writing), std::move(toKept)},
           Pipes{std::move(to.reading), std::move(from.writing), std::move(fromKept)}};
}

ssize_t sendPipes(int socket, Bytes bytes, const Pipes& pipes) {
   Ancillary sent(const_cast<Vok::U8*>(bytes.data()), bytes.size());
   cmsghdr* const head = CMSG_FIRSTHDR(&sent.message);
   head->cmsg_level = SOL_SOCKET;
   head->cmsg_type = SCM_RIGHTS;
   head->cmsg_len = CMSG_LEN(sizeof(Numbers));
   const Numbers numbers = {pipes.in.fd(), pipes.out.fd(), pipes.kept.fd()};
   std::memcpy(CMSG_DATA(head), numbers.data(), sizeof numbers);
   return sendmsg(socket, &sent.message, MSG_NOSIGNAL);
}

ssize_t receivePipes(int socket, Vok::U8* bytes, std::size_t size, Pipes& pipes) {
   Ancillary got(bytes, size);
   const ssize_t count = recvmsg(socket, &got.message, MSG_CMSG_CLOEXEC);
   if (count < 0)
      return count;
   const cmsghdr* const head = CMSG_FIRSTHDR(&got.message);
   Numbers numbers = {-1, -1, -1};
   if (head && head->cmsg_type == SCM_RIGHTS)
      std::memcpy(numbers.data(), CMSG_DATA(head),
                  std::min(sizeof numbers, static_cast<std::size_t>(head->cmsg_len - CMSG_LEN(0))));
   Pipes came{Descriptor(numbers[0]), Descriptor(numbers[1]), Descriptor(numbers[2])};
   if (came.kept) {
      pipes = std::move(came);
   } else if (came || (got.message.msg_flags & MSG_CTRUNC) != 0) {
      errno = ECANCELED;
      return -1;
   }
   return count;
}

} // namespace Hubdb
