#include "tools/common/EntityText.h"
#include "tools/common/Paths.h"
#include "tools/mplsctl/sources/StoredSession.h"
#include "tools/mplsctl/verbs/ConfigSession.h"

namespace mplsctl {

namespace {

namespace paths = tools::paths;

struct ConfigOptions {
   std::string session; ///< empty: what holds
   std::string attribute;
   std::vector<std::string> words;
   bool dryRun = false;
   bool json = false;

   std::string path() const {
      return session.empty() ? std::string(paths::config) : paths::candidate(session, paths::config);
   }
};

void showConfig(const ConfigOptions& options, const Session& session) {
   Connection connection(session);
   if (!options.session.empty())
      StoredSession(connection, options.session).requireBegun();
   auto config = connection.present(options.path(), Mpls::Config::vokType());
   if (!config)
      config = Mpls::configFactory("global"); // nobody has set anything: all stands at its default
   tools::Output out;
   if (options.json) {
      tools::Json json(out);
      tools::writeEntity(json, *config);
   } else {
      tools::printEntity(out, *config);
   }
   out.flush();
}

using Change = std::function<std::string(Vok::Entity&, const ConfigOptions&)>;

void changeConfig(const ConfigOptions& options, const Session& session, const Change& change) {
   Connection connection(session);
   if (!options.session.empty())
      StoredSession(connection, options.session).requireBegun();
   const auto config = connection.input(options.path(), Mpls::Config::vokType(), options.dryRun);
   const std::string done = change(*config, options);
   if (!options.dryRun)
      connection.database.settle();
   tools::Output out;
   if (options.json)
      tools::Json(out, 0)
          .object()
          .field("attribute", options.attribute)
          .field("done", done)
          .field("dryRun", options.dryRun)
          .end();
   else
      out.print("{}{} {}\n", options.dryRun ? "dry run: would be " : "", done, options.attribute);
   out.flush();
}

} // namespace

void configVerb(Command program, Session& session) {
   const Command config = program.verb("config", "What holds for MPLS on the whole router").needsVerb();
   auto options = std::make_shared<ConfigOptions>();
   const auto declare = [&](const char* name, const char* help, std::function<void()> work) {
      return config.verb(name, help)
          .option("--session", options->session, "Show or change the copy of this configuration session")
          .flag("--json", options->json, "Print one JSON object")
          .does(std::move(work));
   };
   const auto declareChange = [&](const char* name, const char* help, const char* what, Change change) {
      declare(name, help,
              [options, &session, change = std::move(change)] { changeConfig(*options, session, change); })
          .flag("--dry-run", options->dryRun, "Say what would be done, and do nothing")
          .argument("ATTRIBUTE", options->attribute, "As 'mplsctl config show' names it")
          .argument("WORDS", options->words, what);
   };
   const Change set = [](Vok::Entity& entity, const ConfigOptions& given) {
      tools::setAttribute(entity, given.attribute, given.words);
      return std::string("set");
   };
   declare("show", "Print the configuration", [options, &session] { showConfig(*options, session); });
   declareChange("set", "Set an attribute, or an entry of a collection",
                 "The value; of labelRange: NAME BASE SIZE", set);
   declareChange("add", "Add an entry to a collection", "The entry: its key, and its value if it has one",
                 set);
   declareChange("del", "Remove an entry of a collection", "The key of the entry",
                 [](Vok::Entity& entity, const ConfigOptions& given) {
                    if (!tools::eraseEntry(entity, given.attribute, given.words))
                       throw Failure(Outcome::failed, "there is no such entry in " + given.attribute,
                                     "'mplsctl config show' shows what there is");
                    return std::string("removed from");
                 });
   declareConfigSession(config, session);
}

} // namespace mplsctl
