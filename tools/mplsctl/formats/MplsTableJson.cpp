#include "tools/mplsctl/formats/MplsTableJson.h"

#include "tools/mplsctl/formats/JsonRoutes.h"

#include <fmt/core.h>

#include <ranges>

namespace mplsctl {

namespace {

/// One label, or a stack as text with slashes.
OutStack outLabelOf(const JsonNode& field) {
   OutStack out;
   out.pushWord(wordOf(field));
   return out;
}

/// An array, top first.
OutStack outLabelStackOf(const JsonNode& field) {
   if (field.isWord())
      return outLabelOf(field);
   OutStack out;
   for (const JsonNode& label : elementsOf(field) | std::views::reverse)
      out.push(labelWord(wordOf(label)));
   return out;
}

void notInstalled(RouteBuilder& routes, const JsonNode& entry, std::string_view what) {
   const JsonNode* const installed = findMember(entry, "installed");
   if (!installed || !installed->isTrue())
      routes.note(entry.line, what);
}

void readHopField(RouteBuilder& routes, const JsonNode& field, bool isFirst, Mpls::LfibMplsVia& hop) {
   if (field.key == "type")
      readSource(routes, field, typeWord(wordOf(field)));
   else if (field.key == "outLabel")
      readOut(routes, field, outLabelOf(field), hop);
   else if (field.key == "outLabelStack")
      readOut(routes, field, outLabelStackOf(field), hop);
   else if (field.key == "nexthop")
      hop.nextHopIs(addressWord(wordOf(field)));
   else if (field.key == "interface")
      hop.intfIs(interfaceWord(wordOf(field)));
   else if (field.key == "weight")
      hop.weightIs(numberWord("weight", wordOf(field), 1, 256));
   else if (field.key == "distance" && isFirst)
      routes.metricIs(numberWord("distance", wordOf(field), 0, Mpls::RouteMetric::max));
   else if (field.key != "distance" && field.key != "installed")
      routes.skipped(field.line, fmt::format("'{}' of a next hop", field.key));
}

void readNextHops(RouteBuilder& routes, const JsonNode& list) {
   for (const JsonNode& entry : elementsOf(list)) {
      const bool isFirst = routes.hops() == 0;
      Mpls::LfibMplsVia& hop = routes.hop();
      const JsonNode* const stack = findMember(entry, "outLabelStack"); // beside it, outLabel repeats the top
      for (const JsonNode& field : membersOf(entry))
         if (field.key != "outLabel" || !stack)
            readField(routes, field, [&] { readHopField(routes, field, isFirst, hop); });
      notInstalled(routes, entry, "a next hop that is not installed there: taken all the same");
   }
}

void readRoute(RouteBuilder& routes, const JsonNode& entry) {
   const Vok::U32 label = incomingLabelWord(entry.key);
   routes.begin(entry.line, label);
   for (const JsonNode& field : membersOf(entry)) {
      readField(routes, field, [&] {
         if (field.key == "nexthops")
            readNextHops(routes, field);
         else if (field.key == "backupNexthops")
            for (const JsonNode& backup : elementsOf(field))
               routes.skipped(backup.line, "backup next hop");
         else if (field.key == "inLabel" && labelWord(wordOf(field)) != label)
            throw BadWord(fmt::format("inLabel {} stands under the key {}", field.text, entry.key));
         else if (field.key != "inLabel" && field.key != "installed")
            routes.skipped(field.line, fmt::format("'{}' of a route", field.key));
      });
   }
   routes.finish();
}

} // namespace

RouteFile readMplsTableJson(std::string name, std::string_view text) {
   return readJsonRoutes(std::move(name), text, Format::mplsTableJson, readRoute);
}

} // namespace mplsctl
