#include "Hubdb/Access.h"

#include "Hubdb/Path.h"

#include "Vok/Errors.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace Hubdb {

Credentials peerCredentials(int socket) {
   ucred peer{};
   socklen_t size = sizeof peer;
   if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
      throw std::system_error(errno, std::generic_category(), "asking who is at the other end of a socket");
   Credentials who{peer.pid, peer.uid, {}};
   who.groups.resize(64);
   for (;;) {
      size = static_cast<socklen_t>(who.groups.size() * sizeof(gid_t));
      if (getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, who.groups.data(), &size) == 0) {
         who.groups.resize(size / sizeof(gid_t));
         break;
      }
      if (errno != ERANGE) { // the first group is known all the same
         who.groups.clear();
         break;
      }
      who.groups.resize(size / sizeof(gid_t));
   }
   who.groups.insert(who.groups.begin(), peer.gid);
   return who;
}

bool isTrusted(const Credentials& who) {
   return who.user == 0 || who.user == geteuid();
}

/// Takes the next word from the line; empty at its end or before a comment.
static std::string_view takeWord(std::string_view& line) {
   const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
   const auto from = std::ranges::find_if_not(line, isBlank);
   const auto to = from != line.end() && *from == '#' ? from : std::find_if(from, line.end(), isBlank);
   const std::string_view word(from, to);
   line = word.empty() ? std::string_view() : std::string_view(to, line.end());
   return word;
}

static id_t idOf(std::string_view name, bool isUser) {
   id_t id = 0;
   const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), id);
   if (error == std::errc() && end == name.data() + name.size())
      return id;
   const Vok::String text(name);
   if (isUser) {
      if (const passwd* user = getpwnam(text.c_str()))
         return user->pw_uid;
   } else if (const group* group = getgrnam(text.c_str()))
      return group->gr_gid;
   throw Vok::ParseError("no " + Vok::String(isUser ? "user" : "group") + " is called '" + text +
                         "'; name one that exists, or give its number");
}

Access::Access(std::string_view text, std::string_view source) : open_(false) {
   for (std::size_t number = 1; !text.empty(); ++number) {
      const std::size_t end = text.find('\n');
      std::string_view line = text.substr(0, end);
      text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
      if (std::string_view rest = line; takeWord(rest).empty())
         continue;
      try {
         grants_.push_back(grant(line));
      } catch (const Vok::Error& error) {
         throw Vok::ParseError(Vok::String(source) + ":" + std::to_string(number) + ": " + error.what());
      }
   }
}

Access::Grant Access::grant(std::string_view line) {
   Grant grant;
   const std::string_view subject = takeWord(line);
   if (subject == "user" || subject == "group") {
      grant.subject = subject == "user" ? Subject::user : Subject::group;
      grant.id = idOf(takeWord(line), subject == "user");
   } else if (subject != "any")
      throw Vok::ParseError("'" + Vok::String(subject) +
                            "' is nobody; write 'user NAME', 'group NAME' or 'any'");
   const std::string_view right = takeWord(line);
   if (right != "own" && right != "read")
      throw Vok::ParseError("'" + Vok::String(right) + "' is no right; write 'own' or 'read'");
   grant.own = right == "own";
   const std::string_view prefix = takeWord(line);
   if (prefix != "/")
      grant.prefix = checkedPath(prefix);
   if (const std::string_view more = takeWord(line); !more.empty())
      throw Vok::ParseError("'" + Vok::String(more) + "' is too much; a path ends the line");
   return grant;
}

bool Access::may(const Credentials& who, std::string_view path, bool own) const {
   if (open_ || isTrusted(who))
      return true;
   return std::ranges::any_of(grants_, [&](const Grant& grant) {
      const bool isTheirs = grant.subject == Subject::any ||
                            (grant.subject == Subject::user && grant.id == who.user) ||
                            (grant.subject == Subject::group && std::ranges::count(who.groups, grant.id) > 0);
      const bool covers =
          grant.prefix.empty() || (path.starts_with(grant.prefix) &&
                                   (path.size() == grant.prefix.size() || path[grant.prefix.size()] == '/'));
      return isTheirs && covers && (grant.own || !own);
   });
}

} // namespace Hubdb
