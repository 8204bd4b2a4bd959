#include "tools/common/EntityText.h"
#include "tools/common/Reflect.h"
#include "tools/mplsctl/Connection.h"
#include "tools/mplsctl/database/EntityWatcher.h"

#include <algorithm>

namespace mplsctl {

namespace {

using Hubdb::MountFilter;

struct DbOptions {
   std::string path;
   std::string type;
   std::string attribute;
   std::vector<std::string> words;
   Vok::U64 count = 0; ///< of changes to watch; 0 for no end
   bool untilCaughtUp = false;
   bool dryRun = false;
   bool json = false;
};

/// Mounts what stands at a path, whatever its type, by way of its directory.
Vok::Ptr<Vok::Entity> anyEntity(Connection& connection, const std::string& path) {
   const std::string directory = tools::paths::directoryOf(path);
   if (directory.empty())
      throw Failure(Outcome::usage, "'" + path + "' stands in no directory",
                    "give a path such as mpls/config/global");
   connection.database.mount({{directory, Vok::Dir::vokType().name(), MountFilter::entries()}});
   const auto entity = connection.manager()->getEntity(path);
   if (!entity || dynamic_cast<const Vok::Dir*>(entity.get()))
      throw Failure(Outcome::failed, "there is no entity at '" + path + "'",
                    "'mplsctl db ls " + directory + "' shows what there is");
   return entity;
}

void list(const DbOptions& options, const Session& session) {
   std::string path = options.path;
   while (!path.empty() && path.back() == '/')
      path.pop_back();
   Connection connection(session);
   connection.database.mount({{path + "/", Vok::Dir::vokType().name(), MountFilter::names()}});
   const auto dir = connection.manager()->get<Vok::Dir>(path);
   std::vector<std::string> names;
   for (const auto& entry : dir->entityPtrEach()) {
      const bool isDir = dynamic_cast<const Vok::Dir*>(entry.value.get());
      names.push_back(entry.key.text() + (isDir ? "/" : ""));
   }
   std::ranges::sort(names);
   tools::Output out;
   if (options.json) {
      tools::Json json(out, 0);
      json.object().field("path", path).key("entries").array();
      for (const std::string& name : names)
         json.value(name);
      json.end().end();
   } else {
      for (const std::string& name : names)
         out.print("{}\n", name);
   }
   out.flush();
   if (names.empty())
      throw Failure(Outcome::failed, "there is nothing at '" + path + "'",
                    "begin with 'mplsctl db ls routing' or 'mplsctl db ls mpls'");
}

void get(const DbOptions& options, const Session& session) {
   Connection connection(session);
   const auto entity = anyEntity(connection, options.path);
   tools::Output out;
   if (options.json) {
      tools::Json json(out);
      json.object().field("path", options.path).field("type", entity->vokEntityType().name());
      tools::writeEntity(json.key("value"), *entity);
      json.end();
   } else {
      out.print("{}  {}\n", options.path, entity->vokEntityType().name());
      tools::printEntity(out, *entity, 3);
   }
   out.flush();
}

/// The type that is to stand at the path: of what stands there, or as it was given.
const Vok::EntityType& typeToSet(Connection& connection, const DbOptions& options) {
   if (options.type.empty())
      return anyEntity(connection, options.path)->vokEntityType();
   const Vok::EntityType* type = connection.manager()->catalogue().find(options.type);
   if (!type || !type->isMadeFromName())
      throw Failure(Outcome::usage, "'" + options.type + "' is no type that can stand in the database",
                    "'mplsctl schema' describes the types");
   return *type;
}

void set(const DbOptions& options, const Session& session) {
   Connection connection(session);
   const auto entity = connection.input(options.path, typeToSet(connection, options), options.dryRun);
   tools::setAttribute(*entity, options.attribute, options.words);
   if (!options.dryRun)
      connection.database.settle();
   tools::Output out;
   out.print("{}set {} of {}\n", options.dryRun ? "dry run: would be " : "", options.attribute, options.path);
   out.flush();
}

void watch(const DbOptions& options, const Session& session) {
   Connection connection(session);
   const auto entity = anyEntity(connection, options.path);
   tools::Output out;
   Vok::U64 told = 0;
   EntityWatcher watcher(entity, [&](const EntityChange& change) {
      ++told;
      if (options.json)
         tools::Json(out, 0)
             .object()
             .field("number", told)
             .field("entity", change.entity)
             .field("attribute", change.attribute)
             .field("key", change.key)
             .field("event", change.gone ? "gone" : "set")
             .field("value", change.value)
             .end();
      else
         out.print("{}  {}.{} {} {}\n", told, change.entity, change.attribute, change.key,
                   change.gone ? "(gone)" : change.value);
   });
   if (options.json)
      tools::Json(out, 0).object().field("event", "caughtUp").end();
   else
      out << "# caught up\n";
   out.flush();
   while (!options.untilCaughtUp && !out.isGone() && (options.count == 0 || told < options.count)) {
      connection.activity.turn(-1);
      out.flush();
   }
}

} // namespace

void dbVerb(Command program, Session& session) {
   const Command db = program.verb("db", "The central database as it stands, entity by entity").needsVerb();
   auto options = std::make_shared<DbOptions>();
   using Work = void (*)(const DbOptions&, const Session&);
   const auto declare = [&](const char* name, const char* help, const char* path, Work work) {
      return db.verb(name, help).argument("PATH", options->path, path).does([options, &session, work] {
         work(*options, session);
      });
   };
   const char* entity = "Where the entity stands";
   declare("ls", "What there is in a directory; directories end with '/'",
           "The directory, such as routing/mpls", list)
       .flag("--json", options->json, "Print one JSON object");
   declare("get", "An entity with all its attributes", entity, get)
       .flag("--json", options->json, "Print one JSON object");
   declare("set", "Set an attribute of an entity, or an entry of a collection", entity, set)
       .argument("ATTRIBUTE", options->attribute, "As 'mplsctl db get' names it")
       .argument("WORDS", options->words, "The value; for a map, the key before it")
       .option("--type", options->type, "Make an entity of this type if there is none")
       .flag("--dry-run", options->dryRun, "Say what would be done, and do nothing");
   declare("watch", "Every change of an entity and of its members", entity, watch)
       .flag("--jsonl", options->json, "Print a JSON object a line")
       .option("--count", options->count, "End after so many changes")
       .flag("--until-caught-up", options->untilCaughtUp, "End when the entity is there");
}

} // namespace mplsctl
