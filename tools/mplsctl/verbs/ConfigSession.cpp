#include "tools/mplsctl/verbs/ConfigSession.h"

#include "tools/common/Paths.h"
#include "tools/config/Candidate.h"
#include "tools/mplsctl/Connection.h"

namespace mplsctl {

namespace {

namespace paths = tools::paths;
using Hubdb::MountFilter;
using tools::config::SessionPart;
using tools::config::Side;

struct SessionOptions {
   std::string name = "default";
   bool json = false;
};

std::string checkedName(const SessionOptions& options) {
   if (options.name.empty() || options.name.find('/') != std::string::npos)
      throw Failure(Outcome::usage, "'" + options.name + "' cannot be the name of a session",
                    "give a word without '/'");
   return options.name;
}

/// The copy of a part, read; null when the session was not started.
Vok::Ptr<Vok::Entity> candidateOf(Connection& connection, const std::string& name, const SessionPart& part) {
   return connection.present(paths::candidate(name, part.path), *part.type);
}

void requireSession(Connection& connection, const std::string& name, bool exists) {
   const bool found = candidateOf(connection, name, tools::config::sessionParts().back()) != nullptr;
   if (found == exists)
      return;
   throw found ? Failure(Outcome::failed, "there is a configuration session " + name + " already",
                         "go on with it, or end it with 'mplsctl config session abort " + name + "'")
               : Failure(Outcome::failed, "there is no configuration session " + name,
                         "begin one with 'mplsctl config session start " + name + "'");
}

void say(const SessionOptions& options, std::string_view done) {
   tools::Output out;
   if (options.json)
      tools::Json(out, 0).object().field("session", options.name).field("done", done).end();
   else
      out.print("{} {}\n", done, options.name);
   out.flush();
}

void start(const SessionOptions& options, const Session& session) {
   const std::string name = checkedName(options);
   Connection connection(session);
   requireSession(connection, name, false);
   for (const SessionPart& part : tools::config::sessionParts()) {
      const auto original = connection.present(std::string(part.path), *part.type);
      const auto copy = connection.input(paths::candidate(name, part.path), *part.type, false);
      if (original)
         tools::config::copyEntity(copy, original);
   }
   connection.database.settle();
   say(options, "started");
}

/// Ends the session: its copies leave the database.
void discard(Connection& connection, const std::string& name) {
   for (const SessionPart& part : tools::config::sessionParts()) {
      const std::string path = paths::candidate(name, part.path);
      connection.input(path, *part.type, false);
      connection.manager()->del(path);
   }
   // Nobody acknowledges a deletion; but who answers this has seen it.
   connection.database.mount(
       {{paths::candidate(name, ""), Vok::Dir::vokType().name(), MountFilter::names()}});
}

void abort(const SessionOptions& options, const Session& session) {
   const std::string name = checkedName(options);
   Connection connection(session);
   requireSession(connection, name, true);
   discard(connection, name);
   say(options, "aborted");
}

void commit(const SessionOptions& options, const Session& session) {
   const std::string name = checkedName(options);
   Connection connection(session);
   requireSession(connection, name, true);
   // All that is needed is there before anything changes; then all changes in one turn.
   std::vector<Vok::Ptr<Vok::Entity>> copies, originals;
   for (const SessionPart& part : tools::config::sessionParts()) {
      copies.push_back(candidateOf(connection, name, part));
      originals.push_back(connection.input(std::string(part.path), *part.type, false));
   }
   for (std::size_t i = 0; i < copies.size(); ++i)
      tools::config::copyEntity(originals[i], copies[i]);
   connection.database.settle();
   discard(connection, name);
   say(options, "committed");
}

/// The configuration that holds, or the copy of it in a session; empty where there is none.
Side sideOf(Connection& connection, const std::function<std::string(std::string_view)>& pathOf) {
   const auto entity = [&](const SessionPart& part) {
      const auto found = connection.present(pathOf(part.path), *part.type);
      return found ? found : part.type->make(part.path.substr(part.path.rfind('/') + 1));
   };
   const auto& parts = tools::config::sessionParts();
   return {Vok::ptrCast<Mpls::RouteConfigInput>(entity(parts[0])),
           Vok::ptrCast<Mpls::VrfLabelConfigInput>(entity(parts[1])),
           Vok::ptrCast<Mpls::Config>(entity(parts[2]))};
}

void diff(const SessionOptions& options, const Session& session) {
   const std::string name = checkedName(options);
   Connection connection(session);
   requireSession(connection, name, true);
   connection.database.mount(tools::config::presentInputMounts());
   const Side before = sideOf(connection, [](std::string_view path) { return std::string(path); });
   const Side after = sideOf(connection, [&](std::string_view path) { return paths::candidate(name, path); });
   const auto preview =
       tools::config::preview(connection.manager(), before, after, [&](const std::function<bool()>& done) {
          connection.database.turnUntil(done, tools::Database::forEver);
       });
   tools::Output out;
   if (options.json) {
      tools::Json json(out, 2);
      writePreview(json, preview);
   } else {
      printPreview(out, preview);
   }
   out.flush();
}

void list(const SessionOptions& options, const Session& session) {
   Connection connection(session);
   connection.database.mount(
       {{std::string(paths::sessions), Vok::Dir::vokType().name(), MountFilter::names()}});
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
      declare(name, help, work).optionalArgument("NAME", options->name, "The session");
   };
   named("start", "Copy the configuration of the command line", start);
   named("diff", "Say what a commit would do, down to the routes of the LFIB", diff);
   named("commit", "Put the copy in the place of the configuration, and end the session", commit);
   named("abort", "Forget the copy", abort);
   declare("list", "The sessions that there are", list);
}

} // namespace mplsctl
