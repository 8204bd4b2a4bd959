#include "Hubdb/Bells.h"

#include <array>
#include <fcntl.h>
#include <string>

namespace Hubdb {

namespace {

/// The pipe that nobody can write to yet; none when no more descriptors can be opened.
Vok::Descriptor newPipe() {
   int ends[2];
   if (pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0)
      return {};
   const Vok::Descriptor writing(ends[1]);
   return Vok::Descriptor(ends[0]);
}

/// With a mode and a position of its own. Who writes reads too: a pipe without readers would send a signal.
Vok::Descriptor opening(const Vok::Descriptor& pipe, int access) {
   const std::string path = "/proc/self/fd/" + std::to_string(pipe.fd());
   return Vok::Descriptor(open(path.c_str(), access | O_NONBLOCK | O_CLOEXEC));
}

} // namespace

void Bells::connect(Connection& owner, Connection& reader) {
   if (!wanted_ || &owner == &reader)
      return;
   Bell& bell = bells_[&owner];
   if (!bell.pipe) {
      bell.pipe = newPipe();
      owner.pass(opening(bell.pipe, O_RDWR));
   }
   if (bell.readers.insert(&reader).second)
      reader.pass(opening(bell.pipe, O_RDONLY));
}

void Bells::drain(const Connection& owner) {
   const auto found = bells_.find(&owner);
   if (found == bells_.end())
      return;
   std::array<char, 4096> rung;
   while (::read(found->second.pipe.fd(), rung.data(), rung.size()) > 0) {
   }
}

void Bells::clientDel(const Connection& client) {
   bells_.erase(&client);
   for (auto& [owner, bell] : bells_)
      bell.readers.erase(&client);
}

} // namespace Hubdb
