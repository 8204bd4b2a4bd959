#include "tools/mplsctl/verbs/ShowTracking.h"

#include "tools/common/Lfib.h"
#include "tools/mplsctl/formats/RouteWords.h"
#include "tools/mplsctl/lfib/Users.h"
#include "tools/mplsctl/verbs/RouteText.h"
#include "tools/mplsctl/verbs/Show.h"

#include "Vok/Enum.h"
#include "Vok/Errors.h"

#include <limits>
#include <sstream>

namespace mplsctl {

namespace {

using Mpls::LfibViaKey;
using Mpls::LfibViaSetKey;
using Mpls::LfibViaType;
using Mpls::LFib::Source;

constexpr auto viaSetsNext = "'mplsctl show viasets' lists them";
constexpr auto viasNext = "'mplsctl show vias' lists them";

/// Makes a key of the words between slashes, which must be so many.
template <class Make>
auto keyFromText(const std::string& text, std::size_t count, const char* what, const char* next, Make make) {
   std::vector<std::string> words;
   std::istringstream in(text);
   for (std::string word; std::getline(in, word, '/');)
      words.push_back(word);
   try {
      if (words.size() == count)
         return make(words);
   } catch (const Vok::RangeError&) {
   } catch (const BadWord&) {
   }
   throw Failure(Outcome::usage, fmt::format("'{}' is no key of a {}", text, what), next);
}

template <class Enum>
Enum enumWord(std::string_view word) {
   return Vok::enumInstance<Enum>(word);
}

Vok::U32 indexWord(std::string_view word) {
   return numberWord("index", word, 0, std::numeric_limits<Vok::U32>::max());
}

LfibViaSetKey viaSetKeyFromText(const std::string& text) {
   return keyFromText(text, 4, "via set", viaSetsNext, [](const std::vector<std::string>& words) {
      return LfibViaSetKey(enumWord<Source>(words[0]), indexWord(words[3]), enumWord<LfibViaType>(words[1]),
                           enumWord<Mpls::LfibViaSetType>(words[2]));
   });
}

LfibViaKey viaKeyFromText(const std::string& text) {
   return keyFromText(text, 3, "via", viasNext, [](const std::vector<std::string>& words) {
      return LfibViaKey(enumWord<Source>(words[0]), enumWord<LfibViaType>(words[1]), indexWord(words[2]));
   });
}

using Users = std::map<LfibViaSetKey, std::vector<Mpls::RouteKey>>;

void print(const Users& users, bool inJson, tools::Output& out) {
   tools::Json json(out, 2);
   if (inJson)
      json.object().key("viaSets").object();
   for (const auto& [key, routes] : users) {
      if (!inJson) {
         out.print("Via set {} is used by {} routes\n", keyText(key), routes.size());
         for (const Mpls::RouteKey& route : routes)
            out.print("   {}\n", labelText(route));
         continue;
      }
      json.key(keyText(key)).object().key("routes").array();
      for (const Mpls::RouteKey& route : routes)
         json.value(labelText(route));
      json.end().end();
   }
   if (inJson)
      json.end().end();
}

} // namespace

void trackViaSet(const LfibTables& tables, const std::string& text, bool inJson, tools::Output& out) {
   const LfibViaSetKey key = viaSetKeyFromText(text);
   const Users users = routesUsing(tables, {key});
   if (!tables.viaSet.has(key) && users.at(key).empty())
      throw Failure(Outcome::failed, "there is no via set " + text, viaSetsNext);
   print(users, inJson, out);
}

void trackVia(const LfibTables& tables, const std::string& text, bool inJson, tools::Output& out) {
   const LfibViaKey key = viaKeyFromText(text);
   const std::vector<LfibViaSetKey> viaSets = viaSetsListing(tables, key);
   if (viaSets.empty())
      throw Failure(Outcome::failed,
                    tables.via(key) ? "no via set lists via " + text : "there is no via " + text, viasNext);
   print(routesUsing(tables, viaSets), inJson, out);
}

void trackLabel(const LfibTables& tables, const std::string& text, bool inJson, tools::Output& out) {
   const Mpls::RouteKey key = routeKeyFromText(text);
   const auto route = tables.lfibRoute.find(key);
   if (!route)
      throw Failure(Outcome::failed, "there is no route for label " + labelText(key),
                    "'mplsctl show routes' lists those that are there");
   print(routesUsing(tables, {route->viaSetKey()}), inJson, out);
}

void declareShowTracking(Command show, const Session& session) {
   const Command tracking =
       show.verb("tracking", "Who uses a via set, a via, or what a label uses").needsVerb();
   using Tracked = void (*)(const LfibTables&, const std::string&, bool, tools::Output&);
   const auto by = [&](const char* name, const char* argument, const char* what, Tracked tracked) {
      auto text = std::make_shared<std::string>();
      auto inJson = std::make_shared<bool>(false);
      tracking.verb(name, what)
          .argument(argument, *text)
          .flag("--json", *inJson, "Print one JSON object")
          .does([&session, text, inJson, tracked] {
             const auto tables = openTables(tools::folderOf(session.pool));
             tools::Output out;
             tracked(*tables, *text, *inJson, out);
             out.flush();
          });
   };
   by("viaset", "KEY", "The routes that use this via set", trackViaSet);
   by("via", "KEY", "The via sets that list this via, and their routes", trackVia);
   by("label", "LABEL", "The via set of this label, and the routes that share it", trackLabel);
}

} // namespace mplsctl
