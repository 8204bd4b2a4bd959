#include "tools/mplsctl/formats/IpRouteJson.h"

#include "tools/mplsctl/formats/JsonRoutes.h"

#include <fmt/core.h>

namespace mplsctl {

namespace {

Kinet::IpGenAddr viaOf(const JsonNode& via) {
   if (via.isWord())
      return addressWord(via.text);
   membersOf(via);
   const JsonNode* const family = findMember(via, "family");
   const JsonNode* const host = findMember(via, "host");
   if (!host)
      throw BadWord("'via' has no 'host'");
   return family ? addressWord(wordOf(*family), wordOf(*host)) : addressWord(wordOf(*host));
}

bool isHopField(std::string_view key) {
   return key == "to" || key == "via" || key == "gateway" || key == "dev" || key == "weight";
}

void readHopField(RouteBuilder& routes, const JsonNode& field, Mpls::LfibMplsVia& hop) {
   if (field.key == "to") {
      OutStack out;
      out.pushWord(wordOf(field));
      readOut(routes, field, out, hop);
   } else if (field.key == "dev") {
      hop.intfIs(interfaceWord(wordOf(field)));
   } else if (field.key == "weight") {
      hop.weightIs(numberWord("weight", wordOf(field), 1, 256));
   } else {
      hop.nextHopIs(viaOf(field));
   }
}

/// What `ip` says of a route or of one of its next hops, beside where it leads.
void readOption(RouteBuilder& routes, const JsonNode& field) {
   if (field.key == "protocol")
      readSource(routes, field, protocolWord(wordOf(field)));
   else if (field.key == "metric")
      routes.metricIs(numberWord("metric", wordOf(field), 0, Mpls::RouteMetric::max));
   else if (field.key == "ttl-propagate" || field.key == "ttl-propogate") // one release of ip spells it so
      routes.ttlModeIs(ttlPropagateWord(wordOf(field)));
   else if (field.key == "flags")
      for (const JsonNode& flag : elementsOf(field))
         routes.skipped(flag.line, fmt::format("flag '{}'", wordOf(flag)));
   else
      routes.skipped(field.line, fmt::format("'{}'", field.key));
}

void readNextHops(RouteBuilder& routes, const JsonNode& list) {
   if (routes.hops() > 0)
      throw BadWord("a route has either a next hop of its own or 'nexthops', not both");
   for (const JsonNode& entry : elementsOf(list)) {
      Mpls::LfibMplsVia& hop = routes.hop();
      bool empty = true;
      for (const JsonNode& field : membersOf(entry)) {
         empty = empty && (!isHopField(field.key) || field.key == "weight");
         readField(routes, field, [&] {
            isHopField(field.key) ? readHopField(routes, field, hop) : readOption(routes, field);
         });
      }
      if (empty)
         routes.bad(entry.line, "a next hop needs 'to', 'via' or 'dev'");
   }
}

void readRoute(RouteBuilder& routes, const JsonNode& entry) {
   if (membersOf(entry).empty())
      return; // printed for a route that a filter of the command left out
   const JsonNode* const dst = findMember(entry, "dst");
   if (!dst)
      throw BadWord("a route without 'dst'");
   routes.begin(entry.line, incomingLabelWord(wordOf(*dst)));
   Mpls::LfibMplsVia* own = nullptr;
   for (const JsonNode& field : entry.children) {
      if (isHopField(field.key)) {
         own = own ? own : &routes.hop();
         readField(routes, field, [&] { readHopField(routes, field, *own); });
      } else if (field.key != "dst" && field.key != "type" && field.key != "nexthops") {
         readField(routes, field, [&] { readOption(routes, field); });
      }
   }
   if (const JsonNode* const list = findMember(entry, "nexthops"))
      readField(routes, *list, [&] { readNextHops(routes, *list); });
   routes.finish();
}

} // namespace

RouteFile readIpRouteJson(std::string name, std::string_view text) {
   return readJsonRoutes(std::move(name), text, Format::ipRouteJson, readRoute);
}

} // namespace mplsctl
