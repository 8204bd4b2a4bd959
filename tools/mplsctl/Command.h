#pragma once

#include "tools/common/CommandLine.h"
#include "tools/common/Paths.h"

#include <string>
#include <string_view>

/// What main and the verbs agree on. A verb is one source file: it declares its options on the program in
/// `<verb>Verb( program, session )` and leaves its outcome in the session when it ran. main.cpp holds the
/// list of verbs, in the order of the help.

namespace mplsctl {

using tools::Command;
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

/// Declares a verb: adds a verb to `program` that sets `session.outcome` or raises Failure.
/// The session outlives the program; options belong to the callback (capture a shared_ptr).
using Verb = void (*)(Command program, Session& session);

void loadVerb(Command program, Session& session);
void routeVerb(Command program, Session& session);
void showVerb(Command program, Session& session);
void explainVerb(Command program, Session& session);
void watchVerb(Command program, Session& session);
void verifyVerb(Command program, Session& session);
void statsVerb(Command program, Session& session);
void schemaVerb(Command program, Session& session);
void sourceVerb(Command program, Session& session);
void configVerb(Command program, Session& session);
void dbVerb(Command program, Session& session);
void ldpVerb(Command program, Session& session);
void segmentRoutingVerb(Command program, Session& session);
void labelVerb(Command program, Session& session);
void ownerVerb(Command program, Session& session);

/// The nouns of `show` that stand beside their verbs.
void addShowLdp(Command show, Session& session);
void addShowLabels(Command show, Session& session);

} // namespace mplsctl
