#include "tools/mplsctl/verbs/ConfigSession.h"

#include "tools/common/Paths.h"
#include "tools/config/Drift.h"
#include "tools/mplsctl/sources/StoredSession.h"

namespace mplsctl {

namespace {

namespace paths = tools::paths;
using tools::config::Changes;
using tools::config::Drift;
using tools::config::Side;
using Which = tools::config::Drift::Which;

struct SessionOptions {
   std::string name = "default";
   std::string prefer; ///< of what was changed on both sides; empty: neither
   bool force = false;
   bool dryRun = false;
   bool json = false;
};

/// What was changed outside of a session, in words that stay when the sides go on.
struct Outside {
   Outside(const Side& base, const Side& copy, const Side& running)
       : drift(base, copy, running), all(between(Which::all, base, running)),
         conflicts(between(Which::conflict, running, copy)) {}

   Drift drift;
   Changes all;       ///< since the session began
   Changes conflicts; ///< from what holds to what the session has

  private:
   Changes between(Which which, const Side& before, const Side& after) const {
      return tools::config::changes(drift.only(which, before), drift.only(which, after));
   }
};

std::string entries(std::size_t count) {
   return count == 1 ? "1 entry has" : fmt::format("{} entries have", count);
}

void writeOutside(tools::Json& json, const Outside& outside) {
   writeChanges(json.key("changedOutside"), outside.all);
   writeChanges(json.key("changedOnBothSides"), outside.conflicts);
}

/// How a verb ended. `outside` is null where it makes no difference to the verb.
void say(const SessionOptions& options, std::string_view done, const Outside* outside = nullptr,
         const std::string& more = {}) {
   tools::Output out;
   if (options.json) {
      tools::Json json(out, 0);
      json.object().field("session", options.name).field("done", done).field("dryRun", options.dryRun);
      if (outside)
         writeOutside(json, *outside);
      json.end();
   } else {
      out.print("{}{} {}{}\n", options.dryRun ? "dry run: would be " : "", done, options.name, more);
   }
   out.flush();
}

/// Ends the verb: nothing was done, for this reason. Programs are told of all the entries.
[[noreturn]] void refuse(const SessionOptions& options, const Outside& outside, const std::string& what,
                         const std::string& next) {
   if (options.json)
      say(options, "refused", &outside);
   throw Failure(Outcome::failed, what, next);
}

void start(const SessionOptions& options, const Session& session) {
   Connection connection(session);
   StoredSession stored(connection, options.name);
   stored.requireNone();
   if (!options.dryRun)
      stored.begin();
   say(options, "started");
}

void abort(const SessionOptions& options, const Session& session) {
   Connection connection(session);
   StoredSession stored(connection, options.name);
   stored.requireSome();
   if (!options.dryRun)
      stored.discard();
   say(options, "aborted");
}

/// A commit puts back what was changed outside: only when it is told to.
void requireNoDrift(const SessionOptions& options, const StoredSession& stored, const Outside& outside) {
   if (options.force || outside.drift.empty())
      return;
   refuse(
       options, outside,
       fmt::format("{} changed since session {} began, and a commit would put back: {}",
                   entries(outside.drift.size(Which::all)), stored.name(), listed(outside.all)),
       fmt::format("look with {}, and carry the session over to what holds now with {}; or put its copy in "
                   "the place of that all the same with {}",
                   stored.command("diff"), stored.command("rebase"), stored.command("commit --force")));
}

void commit(const SessionOptions& options, const Session& session) {
   Connection connection(session);
   StoredSession stored(connection, options.name);
   stored.requireBegun();
   // Before anything is owned, for that would make it. What is owned nobody else can change any more.
   const Outside before(stored.base(), stored.copy(), stored.running());
   requireNoDrift(options, stored, before);
   if (options.dryRun)
      return say(options, "committed", &before);
   const Side base = stored.ownBase(), copy = stored.ownCopy(), running = stored.ownRunning();
   const Outside outside(base, copy, running);
   requireNoDrift(options, stored, outside);
   running.become(copy); // in one turn
   connection.database.settle();
   stored.discard();
   say(options, "committed", &outside);
}

bool prefersRunning(const SessionOptions& options) {
   if (!options.prefer.empty() && options.prefer != "session" && options.prefer != "running")
      throw Failure(Outcome::usage, "'" + options.prefer + "' cannot be preferred",
                    "give session, or running for what was set outside");
   return options.prefer == "running";
}

void rebase(const SessionOptions& options, const Session& session) {
   const bool runningWins = prefersRunning(options);
   Connection connection(session);
   StoredSession stored(connection, options.name);
   stored.requireBegun();
   const Side copy = options.dryRun ? stored.copy() : stored.ownCopy();
   const Side base = options.dryRun ? stored.base() : stored.ownBase();
   const Side running = stored.running().copy(); // which may go on changing
   const Outside outside(base, copy, running);
   const std::size_t conflicts = outside.drift.size(Which::conflict);
   if (conflicts > 0 && options.prefer.empty())
      refuse(options, outside,
             fmt::format("{} changed both outside and in session {}: {}", entries(conflicts), stored.name(),
                         listed(outside.conflicts)),
             fmt::format("look with {}; then change the session, or choose for all of them with {} or {}",
                         stored.command("diff"), stored.command("rebase --prefer session"),
                         stored.command("rebase --prefer running")));
   if (!options.dryRun) {
      // The copy first: a base that is ahead of it would make changes of others the session's own to undo.
      outside.drift.take(runningWins ? Which::all : Which::outside, copy, running);
      connection.database.settle();
      base.become(running);
      connection.database.settle();
   }
   const std::size_t kept = runningWins ? 0 : conflicts;
   say(options, "rebased", &outside,
       fmt::format(": {} taken over, {} kept", outside.drift.size(Which::all) - kept, kept));
}

void printOutside(const StoredSession& stored, const Outside& outside, tools::Output& out) {
   if (outside.drift.empty())
      return;
   printChanges(out, outside.all, " changed outside since the session began");
   printChanges(out, outside.conflicts, " changed on both sides, from outside to the session");
   out.print("Changes from outside keep the session from being committed; {} takes them over\n",
             stored.command("rebase"));
}

void diff(const SessionOptions& options, const Session& session) {
   Connection connection(session);
   StoredSession stored(connection, options.name);
   stored.requireBegun();
   connection.database.mount(tools::config::presentInputMounts());
   const Side copy = stored.copy(), before = stored.running();
   const Outside outside(stored.base(), copy, before);
   Side after = copy;
   if (!outside.drift.empty()) {
      after = copy.copy();
      outside.drift.take(Which::outside, after, before);
   }
   const auto preview =
       tools::config::preview(connection.manager(), before, after, [&](const std::function<bool()>& done) {
          connection.database.turnUntil(done, tools::Database::forEver);
       });
   tools::Output out;
   if (options.json) {
      tools::Json json(out, 2);
      json.object();
      writePreview(json, preview);
      writeOutside(json, outside);
      json.end();
   } else {
      printPreview(out, preview);
      printOutside(stored, outside, out);
   }
   out.flush();
}

void list(const SessionOptions& options, const Session& session) {
   Connection connection(session);
   connection.database.mount(
       {{std::string(paths::sessions), Vok::Dir::vokType().name(), Hubdb::MountFilter::names()}});
   const auto sessions = connection.manager()->get<Vok::Dir>(paths::sessions);
   tools::Output out;
   tools::Json json(out, 0);
   if (options.json)
      json.object().key("sessions").array();
   for (const auto& entry : sessions->entityPtrEach()) {
      if (options.json)
         json.value(entry.key.text());
      else
         out.print("{}\n", entry.key.text());
   }
   if (options.json)
      json.end().end();
   out.flush();
}

} // namespace

void declareConfigSession(Command config, const Session& session) {
   const Command parent =
       config.verb("session", "Edit configuration apart, and commit it in one step").needsVerb();
   auto options = std::make_shared<SessionOptions>();
   using Work = void (*)(const SessionOptions&, const Session&);
   const auto declare = [&](const char* name, const char* help, Work work) {
      return parent.verb(name, help)
          .flag("--json", options->json, "Print one JSON object")
          .does([options, &session, work] { work(*options, session); });
   };
   const auto named = [&](const char* name, const char* help, Work work) {
      return declare(name, help, work).optionalArgument("NAME", options->name, "The session");
   };
   const auto change = [&](const char* name, const char* help, Work work) {
      return named(name, help, work)
          .flag("--dry-run", options->dryRun, "Say what would be done, and do nothing");
   };
   change("start", "Copy the configuration of the command line", start);
   named("diff",
         "Say what a commit would do, down to the routes of the LFIB, and what was changed outside meanwhile",
         diff);
   change("rebase", "Take over into the copy what was changed outside since the session began", rebase)
       .option("--prefer", options->prefer,
               "What stays of an entry that was changed outside and in the session: session or running; "
               "otherwise nothing is done");
   change("commit",
          "Put the copy in the place of the configuration, and end the session. Exit status: 1 what stands "
          "there was changed since the session began",
          commit)
       .flag("--force", options->force, "Even though that puts back what was changed outside meanwhile");
   change("abort", "Forget the copy", abort);
   declare("list", "The sessions that there are", list);
}

} // namespace mplsctl
