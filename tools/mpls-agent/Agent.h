#pragma once

#include "tools/common/Database.h"
#include "tools/common/Failure.h"
#include "tools/common/Paths.h"

#include "Vok/Activity.h"

#include <csignal>

/// What main and the verbs of mpls-agent agree on. Each verb is one agent: it declares its options on the
/// program, and when it is chosen serves until a signal ends it.

namespace agent {

using tools::Failure;
using tools::Outcome;

/// What the program's own options say to every agent.
struct Options {
   std::string socket; ///< of the central database
};

/// Declares an agent: adds a verb to `program` that serves. The options outlive the program.
using Verb = void (*)(tools::Command program, const Options& options);

void routesVerb(tools::Command program, const Options& options);
void forwardVerb(tools::Command program, const Options& options);
void labelsVerb(tools::Command program, const Options& options);

/// Raised in what an agent waits for when a signal asks it to end; main ends the process in good order.
struct Stopped {};

/// The process of an agent: its loop, its connection, and its end. One a process.
class Process {
  public:
   /// `name` is how the server's messages call it: "mpls-agent routes".
   Process(const Options& options, const std::string& name);
   ~Process();
   Process(const Process&) = delete;

   Vok::Activity& activity() { return activity_; }
   tools::Database& database() { return database_; }
   const Vok::Ptr<Hubdb::EntityManager>& manager() const { return database_.manager(); }

   /// Waits, for as long as it takes, until all is mounted. Raises Failure for what may not be, Stopped when
   /// a signal comes. Another process that owns what is wanted is waited for too.
   void mount(const std::vector<tools::Database::Mount>& mounts) {
      database_.mount(mounts, tools::Database::forEver);
   }
   /// Makes entities exist that others are to own; see Database::makeExist().
   void makeExist(const std::vector<tools::Database::Mount>& mounts) {
      database_.makeExist(mounts, tools::Database::forEver);
   }
   /// Waits until `done`; raises Stopped when a signal comes.
   void waitUntil(const std::function<bool()>& done) { database_.turnUntil(done, tools::Database::forEver); }
   /// Prints "ready", once, for whoever started the process: when the server has taken over what it
   /// published, however long that takes. Raises Stopped when a signal comes before.
   void sayReady();
   /// Turns the loop until a signal comes.
   void serve();

  private:
   Vok::Activity activity_;
   tools::Database database_;
   bool ready_ = false;
};

} // namespace agent
