#include "Hubdb/SocketPath.h"

#include "Hubdb/Access.h"

#include "Vok/Errors.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

namespace Hubdb {

namespace {

sockaddr_un addressOf(const Vok::String& path) {
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   if (path.empty() || path.size() >= sizeof address.sun_path)
      throw Vok::RangeError("socket path '" + path + "' has " + std::to_string(path.size()) +
                            " bytes; 1 to " + std::to_string(sizeof address.sun_path - 1) + " are allowed");
   std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
   return address;
}

Vok::Descriptor newSocket() {
   Vok::Descriptor made(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
   if (!made)
      throw Vok::Error(Vok::String("a socket cannot be made: ") + std::strerror(errno));
   return made;
}

} // namespace

Vok::Descriptor connectedSocket(const Vok::String& path) {
   const sockaddr_un address = addressOf(path);
   Vok::Descriptor made = newSocket();
   if (connect(made.fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
      return made;
   const int error = errno;
   made = Vok::Descriptor();
   errno = error;
   return made;
}

Vok::Descriptor listeningSocket(const Vok::String& path) {
   const sockaddr_un address = addressOf(path);
   const auto failed = [&](const char* what) {
      return Vok::Error("socket '" + path + "': " + what + ": " + std::strerror(errno));
   };
   // Two servers that start together look one after the other.
   const Vok::Descriptor lock(open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
   if (!lock || flock(lock.fd(), LOCK_EX) != 0)
      throw failed("its directory must be there and writable");
   if (const Vok::Descriptor other = connectedSocket(path))
      throw Vok::Error("process " + std::to_string(peerCredentials(other.fd()).process) + " serves socket '" +
                       path + "' already; stop it, or name another socket");
   struct stat status {};
   if (lstat(path.c_str(), &status) == 0) {
      if (!S_ISSOCK(status.st_mode))
         throw Vok::Error("'" + path + "' is no socket; name another path, or remove it");
      unlink(path.c_str());
   }
   Vok::Descriptor made = newSocket();
   const mode_t before = umask(0117);
   const int bound = bind(made.fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
   umask(before);
   if (bound != 0)
      throw failed("binding");
   if (::listen(made.fd(), SOMAXCONN) != 0)
      throw failed("listening");
   return made;
}

Vok::String defaultSocketPath() {
   const char* directory = std::getenv("XDG_RUNTIME_DIR");
   return directory && *directory && geteuid() != 0 ? Vok::String(directory) + "/hubdb.sock"
                                                    : "/run/mpls/hubdb.sock";
}

} // namespace Hubdb
