#pragma once
// Hubdb::Access: who may own and who may read which part of the database.

#include "Vok/Types.h"

#include <string_view>
#include <sys/types.h>
#include <vector>

namespace Hubdb {

/// Who is at the other end of a socket, as the system says.
struct Credentials {
   pid_t process = 0;
   uid_t user = 0;
   std::vector<gid_t> groups; ///< the first one and the supplementary ones
};

/// Of a connected Unix socket. Raises std::system_error.
Credentials peerCredentials(int socket);

/// Root and the user that this process runs as, who could do whatever they like with it anyway.
bool isTrusted(const Credentials& who);

/// Grants, one a line:
///
///    grant = who ( "own" | "read" ) prefix      # a comment
///    who   = "user" name | "group" name | "any"
///
/// as in "group routing own routing/mpls/route/input". A prefix stands for the path itself and everything
/// below it, "/" for all paths. Who may own may read. What no line grants is forbidden, except to root and to
/// the user that the server runs as, who may do everything. Names may be numbers.
///
/// Without a configuration everybody who can open the socket may do everything.
class Access {
  public:
   Access() = default;
   /// Raises Vok::ParseError, beginning with "<source>:<line>: ", for a line that is no grant or names
   /// somebody unknown.
   Access(std::string_view text, std::string_view source);

   bool mayOwn(const Credentials& who, std::string_view path) const { return may(who, path, true); }
   bool mayRead(const Credentials& who, std::string_view path) const { return may(who, path, false); }

  private:
   enum class Subject { user, group, any };
   struct Grant {
      Subject subject = Subject::any;
      id_t id = 0;
      bool own = false;
      Vok::String prefix; ///< without '/' at its ends
   };

   static Grant grant(std::string_view line);
   bool may(const Credentials& who, std::string_view path, bool own) const;

   bool open_ = true;
   std::vector<Grant> grants_;
};

} // namespace Hubdb
