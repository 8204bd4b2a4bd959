#include "tools/mplsctl/ldp/LdpView.h"

#include "tools/common/Json.h"
#include "tools/mplsctl/ldp/LdpWords.h"

#include "Pooltab/TableAttribute.h"

#include <map>
#include <set>

namespace mplsctl {

namespace {

using namespace Ldp::LdpPooltab;

Ldp::LdpIdentifier peerOf(const Mpls::RouterId& routerId) {
   return Ldp::LdpIdentifier(routerId.rtrId(), routerId.lblSpace());
}

/// What is bound to a FEC, here and by neighbours in the order of their identifiers.
struct FecRows {
   const Mpls::FecLabelSet* local = nullptr;
   std::map<Ldp::LdpIdentifier, const Mpls::FecLabelSet*> peers;
};

std::map<Mpls::FwdEqvClass, FecRows> rowsOf(const LdpView& view) {
   std::map<Mpls::FwdEqvClass, FecRows> rows;
   for (const auto& [fec, labelSet] : view.local().bindingEach())
      rows[fec].local = labelSet.get();
   for (const auto& [routerId, table] : view.peers().bindingTableEach())
      for (const auto& [fec, labelSet] : table->bindingEach())
         rows[fec].peers[peerOf(routerId)] = labelSet.get();
   return rows;
}

/// The labels of a set, "-" without any.
std::string labelsText(const Mpls::FecLabelSet* labelSet, Kinet::AddressFamily family) {
   std::set<Kinet::MplsLabel> labels;
   if (labelSet)
      for (const auto& [label, isIn] : labelSet->mplsLabelEach())
         labels.insert(label);
   std::string text;
   for (const Kinet::MplsLabel label : labels)
      text += (text.empty() ? "" : ",") + ldpLabelText(label, family);
   return text.empty() ? "-" : text;
}

struct BindingRow {
   std::string_view family;
   std::string fec, neighbor, localLabel, remoteLabel;
   bool inUse;
};

template <class Visit>
void eachBinding(const LdpView& view, Visit&& visit) {
   for (const auto& [fec, rows] : rowsOf(view)) {
      const Kinet::AddressFamily family = fec.prefix().family();
      BindingRow row{familyText(family), fecText(fec), "0.0.0.0", labelsText(rows.local, family), "-", false};
      if (rows.peers.empty())
         visit(row);
      for (const auto& [peer, labelSet] : rows.peers) {
         row.neighbor = ldpPeerText(peer);
         row.remoteLabel = labelsText(labelSet, family);
         row.inUse = view.tables().usedBindingTable().has(LdpIdentifierFecKey(peer, fec));
         visit(row);
      }
   }
}

/// How many bindings concern each neighbour.
struct Counts {
   Vok::U64 received = 0, advertised = 0, inUse = 0;
};

std::map<Ldp::LdpIdentifier, Counts> countsOf(const LdpView& view) {
   std::map<Ldp::LdpIdentifier, Counts> counts;
   for (const LdpNeighbor& row : view.tables().neighborEach())
      counts.try_emplace(row.key());
   for (const auto& [routerId, table] : view.peers().bindingTableEach())
      for (const auto& [fec, labelSet] : table->bindingEach())
         counts[peerOf(routerId)].received += labelSet->mplsLabels() > 0;
   for (const auto& [fec, told] : view.advertised().advertisedToEach())
      for (const auto& [peer, isIn] : told->identifierEach())
         ++counts[peer].advertised;
   for (const LdpIdentifierFecEntry& row : view.tables().usedBindingEach())
      ++counts[row.key().ldpIdentifier()].inUse;
   return counts;
}

void writeNeighbor(tools::Json& json, const Ldp::LdpIdentifier& peer, const LdpNeighbor* row,
                   const Counts& counts) {
   json.key(ldpPeerText(peer)).object().field("peerId", ldpPeerText(peer));
   if (row) {
      json.field("tcpLocalAddress", row->localAddress().stringValue())
          .field("tcpLocalPort", row->localPort());
      json.field("tcpRemoteAddress", row->remoteAddress().stringValue());
      json.field("tcpRemotePort", row->remotePort()).field("sessionHoldtime", row->holdTime());
      json.field("keepAliveInterval", row->keepAlive()).field("state", std::string_view(row->state().text()));
      json.key("discoverySources").object().key(familyText(row->localAddress().family())).array();
      for (const auto [index, link] : row->linkEach())
         json.value("interface: " + std::string(link.name()));
      json.end().end();
   }
   json.key("counts").object().field("received", counts.received);
   json.field("advertised", counts.advertised).field("inUse", counts.inUse).end().end();
}

} // namespace

LdpView::LdpView(Vok::Ptr<const LdpPublication> tables)
    : tables_(std::move(tables)), local_(Mpls::labelBindingTableFactory(Mpls::RouterId())),
      peers_(Mpls::labelBindingTableCollFactory("peers")),
      advertised_(Ldp::labelAdvertisementCollFactory("advertised")),
      bindings_(LdpLibConsumerSmIs(tables_, local_, peers_)),
      advertisements_(LdpLibAdvertisementConsumerSmIs(tables_, advertised_)) {}

void LdpView::requireWhole() const {
   for (const Vok::Attribute& attribute : tables_->vokEntityType().attributes())
      if (attribute.kind == Vok::AttributeKind::table &&
          static_cast<const Pooltab::CollectionControl*>(attribute.access.get(*tables_))->corruptions() > 0)
         throw Vok::CorruptionDetectedError(std::string(attribute.name) +
                                            ": rows that cannot be read are missing");
}

void showLdpBindings(const LdpView& view, bool asJson, tools::Output& out) {
   if (asJson) {
      tools::Json json(out, 2);
      json.object().key("bindings").array();
      eachBinding(view, [&](const BindingRow& row) {
         json.object().field("addressFamily", row.family).field("prefix", row.fec);
         json.field("neighborId", row.neighbor).field("localLabel", row.localLabel);
         json.field("remoteLabel", row.remoteLabel).field("inUse", row.inUse ? 1 : 0).end();
      });
      json.end().end();
      return;
   }
   tools::TextTable table(
       {{"AF"}, {"Destination"}, {"Nexthop"}, {"Local Label"}, {"Remote Label"}, {"In Use"}});
   eachBinding(view, [&](const BindingRow& row) {
      table.cell(row.family).cell(row.fec).cell(row.neighbor).cell(row.localLabel);
      table.cell(row.remoteLabel).cell(row.inUse ? "yes" : "no");
   });
   table.print(out);
}

void showLdpNeighbors(const LdpView& view, bool asJson, tools::Output& out) {
   const auto counts = countsOf(view);
   std::map<Ldp::LdpIdentifier, LdpNeighbor> rows;
   for (const LdpNeighbor& row : view.tables().neighborEach())
      rows.emplace(row.key(), row);
   const auto rowOf = [&](const Ldp::LdpIdentifier& peer) {
      const auto at = rows.find(peer);
      return at == rows.end() ? nullptr : &at->second;
   };
   if (asJson) {
      tools::Json json(out);
      json.object();
      for (const auto& [peer, count] : counts)
         writeNeighbor(json, peer, rowOf(peer), count);
      json.end();
      return;
   }
   using Align = tools::TextTable::Align;
   tools::TextTable table({{"AF"},
                           {"ID"},
                           {"State"},
                           {"Remote Address"},
                           {"Interface"},
                           {"Received", Align::right},
                           {"Advertised", Align::right},
                           {"In Use", Align::right}});
   for (const auto& [peer, count] : counts) {
      const LdpNeighbor* const row = rowOf(peer);
      std::string links;
      if (row)
         for (const auto [index, link] : row->linkEach())
            links.append(links.empty() ? "" : ",").append(link.name());
      table.cell(row ? familyText(row->remoteAddress().family()) : "-").cell(ldpPeerText(peer));
      table.cell(row ? std::string_view(row->state().text()) : "-");
      table.cell(row ? row->remoteAddress().stringValue() : "-").cell(links.empty() ? "-" : links);
      table.cell(count.received).cell(count.advertised).cell(count.inUse);
   }
   table.print(out);
}

} // namespace mplsctl
