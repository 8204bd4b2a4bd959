#include "tools/common/Reflect.h"
#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/formats/Words.h"
#include "tools/mplsctl/verbs/RouteText.h"
#include "tools/mplsctl/verbs/Show.h"

namespace mplsctl {

namespace {

void printRoutes(const LfibTables& tables, const RouteFilter& filter, tools::Output& out) {
   tools::TextTable table({{"Inbound Label"}, {"Type"}, {"Nexthop"}, {"Outbound Label"}});
   std::string label;
   Hop hop;
   eachChain(tables, filter, [&](const Chain& chain) {
      label.clear();
      appendLabels(label, chain.route.key().labelStack());
      const std::string_view type = routeType(chain.route.source());
      for (const Chain::Link& link : chain.vias) {
         table.cell(label).cell(type);
         if (link.row) {
            describe(*link.row, hop);
            table.cell(hop.towards()).cell(hop.outbound);
         } else {
            table.cell("(no such via)").cell("-");
         }
      }
      if (chain.vias.empty())
         table.cell(label).cell(type).cell(chain.hasViaSet ? "(no next hop)" : "(no such via set)").cell("-");
   });
   table.print(out);
}

Vok::U64 viaVersion(const LfibTables& tables, const Mpls::LfibViaKey& key) {
   Vok::U64 version = 0;
   tables.eachViaTable([&]<class Row>(const Pooltab::TableReader<Row>& table) {
      if (key.viaType() == Row::viaType)
         version = table.version(key);
   });
   return version;
}

template <class Visit>
void visitFields(const ViaRow& via, Visit&& visit) {
   std::visit([&]<class Row>(const Row& row) { visit(Row::vokType(), &row); }, via);
}

void writeRouteInFull(const LfibTables& tables, const Chain& chain, tools::Output& out) {
   tools::Json json(out, 1);
   json.object().field("label", labelText(chain.route.key()));
   writeFields(json, Mpls::LfibRoute::vokType(), &chain.route);
   json.field("version", tables.lfibRoute.version(chain.route.key()));
   json.field("whole", chain.isWhole());
   writeRoute(json.key("route"), chain);
   json.key("viaSet").object();
   if (const auto viaSet = tables.viaSet.find(chain.route.viaSetKey())) {
      json.field("key", keyText(viaSet->key())).field("backup", keyText(viaSet->backupViaSetKey()));
      json.field("isUsableAsPrimaryVia", viaSet->isUsableAsPrimaryVia());
      json.field("version", tables.viaSet.version(viaSet->key()));
   }
   json.end().key("vias").array();
   for (const Chain::Link& link : chain.vias) {
      json.object().field("key", keyText(link.key)).field("found", link.row.has_value());
      if (link.row) {
         json.field("version", viaVersion(tables, link.key));
         visitFields(*link.row,
                     [&](const Vok::ValueType& type, const void* row) { writeFields(json, type, row); });
      }
      json.end();
   }
   json.end().end();
}

void printRouteInFull(const LfibTables& tables, const Chain& chain, tools::Output& out) {
   const Mpls::LfibRoute& route = chain.route;
   out.print("Route {}  ({}, version {})\n", labelText(route.key()), routeType(route.source()),
             tables.lfibRoute.version(route.key()));
   out.print("   source   {}\n   metric   {}\n   fec      {}\n", stringValue(route.source()),
             route.metric().value(), route.fec().stringValue());
   out.print("Via set {}", keyText(route.viaSetKey()));
   const auto viaSet = tables.viaSet.find(route.viaSetKey());
   if (!viaSet) {
      out << "  is not there\n";
      return;
   }
   out.print("  (version {}, {} vias)\n", tables.viaSet.version(viaSet->key()), viaSet->viaKeys());
   if (!!viaSet->backupViaSetKey())
      out.print("   backup   {}\n", keyText(viaSet->backupViaSetKey()));
   Hop hop;
   for (const Chain::Link& link : chain.vias) {
      out.print("Via {}", keyText(link.key));
      if (!link.row) {
         out << "  is not there\n";
         continue;
      }
      describe(*link.row, hop);
      out.print("  (version {}): {} {}\n", viaVersion(tables, link.key), hop.towards(), hop.outbound);
      visitFields(*link.row,
                  [&](const Vok::ValueType& type, const void* row) { printFields(out, type, row, 3); });
   }
}

} // namespace

void showRoutes(const LfibTables& tables, const RouteFilter& filter, ShowFormat format, tools::Output& out) {
   if (format == ShowFormat::text)
      return printRoutes(tables, filter, out);
   if (format == ShowFormat::jsonLines) {
      eachChain(tables, filter, [&](const Chain& chain) {
         tools::Json json(out, 0);
         writeRoute(json, chain);
      });
      return;
   }
   tools::Json json(out);
   json.object();
   std::string label;
   eachChain(tables, filter, [&](const Chain& chain) {
      // Keys are numbers here, whatever the label is called.
      writeRoute(json.key(chain.route.key().labelStack().stringValue()), chain);
   });
   json.end();
}

void showRoute(const LfibTables& tables, const Mpls::RouteKey& key, ShowFormat format, tools::Output& out) {
   Chain chain;
   if (!readChain(tables, key, chain))
      throw Failure(Outcome::failed, "there is no route for label " + labelText(key),
                    "mplsctl show routes lists those that are there");
   format == ShowFormat::text ? printRouteInFull(tables, chain, out) : writeRouteInFull(tables, chain, out);
}

} // namespace mplsctl
