#pragma once

#include "tools/config/Candidate.h"
#include "tools/mplsctl/Connection.h"

/// A configuration session as the database keeps it.

namespace mplsctl {

/// The copy that a session edits, what it began from (its base), and the sign that both have been written
/// whole. All three outlive the process that made them. Whoever works on them may be cut off at any moment:
/// what it leaves is a session as it was, or one that can be worked on again, or one without the sign, which
/// nothing but discard() takes.
class StoredSession {
  public:
   using Side = tools::config::Side;

   /// Raises Failure( usage ) for a name that cannot be one.
   StoredSession(Connection& connection, const std::string& name);

   const std::string& name() const { return name_; }

   /// Raises Failure when there is something of it already; when there is nothing of it; when it has not
   /// begun.
   void requireNone();
   void requireSome();
   void requireBegun();

   // What stands in the database, to be read; empty where nothing does. Follows what others change, whenever
   // the activity turns.
   Side running();
   Side copy();
   Side base();

   /// The same, and nobody else can change it while this process lives.
   Side ownRunning();
   Side ownCopy();
   Side ownBase();

   /// Writes the copy and the base, both as the configuration is now, and the sign.
   void begin();
   /// All of it leaves the database.
   void discard();

   /// The command that does so with this session: "'mplsctl config session diff night'".
   std::string command(std::string_view verb) const;

  private:
   bool isThere();
   Side present(const std::function<std::string(std::string_view)>& pathOf);
   Side own(const std::function<std::string(std::string_view)>& pathOf);
   /// Entities that this process owns go, and have gone when it returns.
   void del(const std::vector<std::string>& owned);

   Connection& connection_;
   const std::string name_;
};

} // namespace mplsctl
