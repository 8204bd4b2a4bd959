#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace CLI {
class App;
}

/// What main and the verbs agree on. A verb is one source file: it declares its options on the program in
/// `<verb>Verb( program, session )` and leaves its outcome in the session when it ran. main.cpp holds the
/// list of verbs, in the order of the help.

namespace mplsctl {

/// The exit status of the program.
enum class Outcome : int {
   done = 0,
   failed = 1,          ///< not found, or what was compared differs
   usage = 2,           ///< the command line or the input file is wrong
   unreachable = 3,     ///< no tables there, or no right to them
   corrupt = 4,         ///< the tables are damaged
   versionMismatch = 5, ///< the tables were written by a build with other rows
};

/// Ends a verb early. main prints "mplsctl: what" and, on a line of its own, what to do next.
class Failure : public std::runtime_error {
  public:
   Failure(Outcome outcome, const std::string& what, std::string next = {})
       : std::runtime_error(what), outcome_(outcome), next_(std::move(next)) {}
   Outcome outcome() const { return outcome_; }
   /// What the user can do about it; empty when there is nothing to say.
   const std::string& next() const { return next_; }

  private:
   Outcome outcome_;
   std::string next_;
};

/// What the program's own options say to every verb, and how the verb that ran ended.
struct Session {
   std::string pool = "mpls-lfib"; ///< the pool of tables, under the directory in POOLTAB_DIR
   Outcome outcome = Outcome::done;
};

/// Declares a verb: adds a subcommand to `program` whose callback sets `session.outcome` or raises Failure.
/// The session outlives the program; options belong to the callback (capture a shared_ptr).
using Verb = void (*)(CLI::App& program, Session& session);

void loadVerb(CLI::App& program, Session& session);
void routeVerb(CLI::App& program, Session& session);
void showVerb(CLI::App& program, Session& session);
void watchVerb(CLI::App& program, Session& session);
void verifyVerb(CLI::App& program, Session& session);
void statsVerb(CLI::App& program, Session& session);
void schemaVerb(CLI::App& program, Session& session);

} // namespace mplsctl
