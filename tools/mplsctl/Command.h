#pragma once

#include "tools/common/Failure.h"
#include "tools/common/Paths.h"

#include <string>
#include <string_view>

namespace CLI {
class App;
}

/// What main and the verbs agree on. A verb is one source file: it declares its options on the program in
/// `<verb>Verb( program, session )` and leaves its outcome in the session when it ran. main.cpp holds the
/// list of verbs, in the order of the help.

namespace mplsctl {

using tools::Failure;
using tools::Outcome;

/// What the program's own options say to every verb, and how the verb that ran ended.
struct Session {
   std::string pool = std::string(tools::pools::lfib); ///< of tables, under the directory in POOLTAB_DIR
   std::string socket;                                 ///< of the central database
   bool hasPool = false;                               ///< the user named the pool
   Outcome outcome = Outcome::done;

   /// The pool that the user named, or the usual one of a verb that works on other tables than the LFIB's.
   std::string poolOr(std::string_view usual) const { return hasPool ? pool : std::string(usual); }
};

/// Declares a verb: adds a subcommand to `program` whose callback sets `session.outcome` or raises Failure.
/// The session outlives the program; options belong to the callback (capture a shared_ptr).
using Verb = void (*)(CLI::App& program, Session& session);

void loadVerb(CLI::App& program, Session& session);
void routeVerb(CLI::App& program, Session& session);
void showVerb(CLI::App& program, Session& session);
void explainVerb(CLI::App& program, Session& session);
void watchVerb(CLI::App& program, Session& session);
void verifyVerb(CLI::App& program, Session& session);
void statsVerb(CLI::App& program, Session& session);
void schemaVerb(CLI::App& program, Session& session);
void sourceVerb(CLI::App& program, Session& session);
void configVerb(CLI::App& program, Session& session);
void dbVerb(CLI::App& program, Session& session);
void ldpVerb(CLI::App& program, Session& session);
void segmentRoutingVerb(CLI::App& program, Session& session);
void labelVerb(CLI::App& program, Session& session);
void ownerVerb(CLI::App& program, Session& session);

/// The nouns of `show` that stand beside their verbs.
void addShowLdp(CLI::App& show, Session& session);
void addShowLabels(CLI::App& show, Session& session);

} // namespace mplsctl
