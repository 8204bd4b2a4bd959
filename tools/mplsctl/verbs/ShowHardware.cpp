#include "tools/mplsctl/verbs/ShowHardware.h"

#include "tools/common/Tables.h"
#include "tools/mplsctl/Connection.h"
#include "tools/mplsctl/verbs/RouteText.h"
#include "tools/mplsctl/verbs/Show.h"

#include "Mpls/LfibIpLookupSm.h"

#include <algorithm>

/// `mplsctl show hardware|ip-lookup`.

namespace mplsctl {

namespace {

namespace paths = tools::paths;
using Mpls::Hardware::Status;

constexpr auto agentNext = "start 'mpls-agent forward', which reports it";

/// The keys of a collection in their order.
template <class Key, class Each>
std::vector<Key> inOrder(Each&& each) {
   std::vector<Key> keys;
   for (const Key& key : each)
      keys.push_back(key);
   std::ranges::sort(keys);
   return keys;
}

// ---- hardware ----

void writeHardware(const HardwareView& view, tools::Output& out) {
   const Status& status = *view.status;
   tools::Json json(out, 2);
   json.object().field("programmed", view.programmed()).field("unprogrammed", view.unprogrammed());
   json.field("adjacencies", status.adjacencys()).key("routes").object();
   for (const Mpls::RouteKey& key : view.keys()) {
      const Mpls::Hardware::Route route = status.route(key);
      json.key(labelText(key)).object().field("programmed", !route.unprogrammed());
      if (route.unprogrammed())
         json.field("reason", view.reason(key));
      json.field("metric", route.metric().value()).field("adjacency", route.adjBaseKey().index()).end();
   }
   json.end().end();
}

void printHardware(const HardwareView& view, tools::Output& out) {
   using enum tools::TextTable::Align;
   tools::TextTable table(
       {{"Inbound Label"}, {"Programmed"}, {"Metric", right}, {"Adjacency", right}, {"Next Hops"}});
   for (const Mpls::RouteKey& key : view.keys()) {
      const Mpls::Hardware::Route route = view.status->route(key);
      std::string hops;
      if (const auto adjacency = view.status->adjacency(route.adjBaseKey().index()))
         for (const Mpls::Hardware::Via& via : adjacency->viaEach())
            hops.append(hops.empty() ? "" : ",").append(via.resolvedNextHop().stringValue());
      table.cell(labelText(key)).cell(route.unprogrammed() ? "no: " + view.reason(key) : "yes");
      table.cell(route.metric().value()).cell(route.adjBaseKey().index()).cell(hops.empty() ? "-" : hops);
   }
   table.print(out);
   out.print("{} routes programmed, {} not\n", view.programmed(), view.unprogrammed());
}

void showHardware(const Session& session, bool inJson, tools::Output& out) {
   Connection connection(session);
   const HardwareView view(connection);
   if (!view.status)
      throw Failure(Outcome::failed, "no hardware status is reported", agentNext);
   inJson ? writeHardware(view, out) : printHardware(view, out);
}

// ---- IP lookup ----

void showIpLookup(const Session& session, bool inJson, tools::Output& out) {
   Connection connection(session);
   const auto status = Vok::ptrCast<Mpls::LfibIpLookupStatus>(
       connection.present(std::string(paths::ipLookupStatus), Mpls::LfibIpLookupStatus::vokType()));
   if (!status)
      throw Failure(Outcome::failed, "no IP lookup is reported", agentNext);
   const auto mappings = inOrder<Mpls::LfibIpLookupStatusLabelVrfAf>(status->labelVrfAfEach());
   if (inJson) {
      tools::Json json(out, 2);
      json.object().key("labels").object();
      for (const auto& mapping : mappings)
         json.key(std::to_string(mapping.label().value()))
             .object()
             .field("vrf", std::string_view(mapping.vrfName().text()))
             .field("payloadType", stringValue(mapping.payloadType()))
             .end();
      json.end().end();
      return;
   }
   tools::TextTable table({{"Label"}, {"VRF"}, {"Payload"}});
   for (const auto& mapping : mappings)
      table.cell(std::to_string(mapping.label().value()))
          .cell(mapping.vrfName().text())
          .cell(stringValue(mapping.payloadType()));
   table.print(out);
}

} // namespace

HardwareView::HardwareView(Connection& connection)
    : refusals(Mpls::lfibHwStatusFactory(Vok::Name(std::string(tools::pools::hardware)))),
      refusalTables(tools::mountForReading(refusals, std::string(tools::pools::hardware), {})) {
   status = Vok::ptrCast<Status>(connection.present(std::string(paths::hardwareStatus), Status::vokType()));
}

std::vector<Mpls::RouteKey> HardwareView::keys() const {
   std::vector<Mpls::RouteKey> keys;
   for (const auto& entry : status->routeEach())
      keys.push_back(entry.key);
   std::ranges::sort(keys);
   return keys;
}

std::size_t HardwareView::unprogrammed() const {
   std::size_t count = 0;
   for (const auto& entry : status->routeEach())
      count += entry.value.unprogrammed();
   return count;
}

std::string HardwareView::reason(const Mpls::RouteKey& key) const {
   const Mpls::RouteInfo row = refusals->unprogrammedRoute(key);
   return !row ? "unknown" : std::string(stringValue(row.returnCode()));
}

void declareShowHardware(Command show, const Session& session) {
   using Shown = void (*)(const Session&, bool, tools::Output&);
   const auto noun = [&](const char* name, const char* what, Shown shown) {
      auto inJson = std::make_shared<bool>(false);
      show.verb(name, what).flag("--json", *inJson, "Print one JSON object").does([&session, inJson, shown] {
         tools::Output out;
         shown(session, *inJson, out);
         out.flush();
      });
   };
   noun("hardware", "The routes that are programmed, and why others are not", showHardware);
   noun("ip-lookup", "The labels whose packets are looked up in a VRF", showIpLookup);
}

} // namespace mplsctl
