#include "Mpls/LdpLibSm.h"

#include "Mpls/LdpRouterId.h"
#include "Pooltab/CheckedRead.h"
#include "Vok/Assert.h"
#include "Vok/Trace.h"

#include <optional>

namespace Ldp {

// Identifiers.

LdpIdentifier::LdpIdentifier(Vok::U32 tmpLsrId, Vok::U16 tmpLblSpace)
    : lsrId_(tmpLsrId), lblSpace_(tmpLblSpace) {}

Mpls::RouterId toRouterId(const LdpIdentifier& ldpIdentifier) {
   Mpls::RouterId routerId(ldpIdentifier.lsrId().hostValue(), ldpIdentifier.lblSpace().hostValue());
   routerId.protocolIs(Mpls::Protocol::ldp);
   return routerId;
}

Vok::String LdpIdentifier::stringValue() const {
   return toRouterId(*this).stringValue();
}

void LdpIdentifier::parseText(Vok::TextParser& parser, LdpIdentifier& value) {
   Mpls::RouterId parsed;
   try {
      Mpls::RouterId::parseText(parser, parsed);
   } catch (const Vok::Error&) {
      parsed.protocolIs(Mpls::Protocol::unknown);
   }
   if (parsed.protocol() != Mpls::Protocol::ldp)
      throw Vok::RangeError("Invalid LdpIdentifier");
   value = LdpIdentifier(parsed.rtrId(), parsed.lblSpace());
}

void LdpIdentifier::stringValueIs(const Vok::String& text) {
   Vok::TextParser parser(text);
   LdpIdentifier parsed;
   parseText(parser, parsed);
   if (!parser.atEnd())
      throw Vok::RangeError("Invalid LdpIdentifier");
   *this = parsed;
}

namespace LdpPooltab {

namespace {

constinit Vok::TraceFacility trace("LdpLibSm");

/// Calls visit( ldpIdentifier, table ) for each peer that has a table.
template <class Visit>
void forEachPeer(const Mpls::LabelBindingTableColl& tables, Visit visit) {
   for (const auto& [routerId, table] : tables.bindingTableEach())
      visit(LdpIdentifier(routerId.rtrId(), routerId.lblSpace()), *table);
}

/// Calls visit( fec, label ) for each label in a table.
template <class Visit>
void forEachLabel(const Mpls::LabelBindingTable& table, Visit visit) {
   for (const auto& [fec, labelSet] : table.bindingEach())
      for (const auto& [label, isIn] : labelSet->mplsLabelEach())
         visit(fec, label);
}

/// Calls visit( fec ) for each class in a table that a last-update row may stand behind.
template <class Visit>
void forEachLastUpdate(const Mpls::LabelBindingTable& table, Visit visit) {
   for (const auto& [fec, labelSet] : table.bindingEach())
      if (labelSet->lastUpdate() != 0.0 || labelSet->mplsLabels() == 0)
         visit(fec);
}

/// The binding table that a row is about: this router's own, or that of a peer, which is there while it
/// carries something.
class Bindings {
  public:
   explicit Bindings(LdpLibConsumerSm& sm) : sm_(sm) {}
   Bindings(LdpLibConsumerSm& sm, const LdpIdentifier& peer) : sm_(sm), peer_(toRouterId(peer)) {}

   Vok::Ptr<Mpls::LabelBindingTable> table() const {
      return peer_ ? sm_.peerLabelBindingTableColl()->bindingTable(*peer_) : sm_.localLabelBindingTable();
   }
   Vok::Ptr<Mpls::LabelBindingTable> tableIs() const {
      return peer_ ? sm_.peerLabelBindingTableColl()->bindingTableIs(*peer_) : sm_.localLabelBindingTable();
   }
   void prune(const Mpls::FwdEqvClass& fec) const {
      peer_ ? sm_.deleteUnusedPeerTable(*peer_, fec) : sm_.deleteUnusedBinding(table(), fec);
   }

   void settleLabel(const Mpls::FwdEqvClass& fec, Kinet::MplsLabel label, bool isBound) const {
      settle(fec, isBound, [&](Mpls::FecLabelSet& labelSet) {
         isBound ? labelSet.mplsLabelIs(label, true) : labelSet.mplsLabelDel(label);
      });
   }
   /// `time` counts only when there is a row.
   void settleLastUpdate(const Mpls::FwdEqvClass& fec, double time, bool isThere) const {
      settle(fec, isThere, [&](Mpls::FecLabelSet& labelSet) { labelSet.lastUpdateIs(isThere ? time : 0.0); });
   }

  private:
   /// Changes the label set of a FEC as its row says, or as the absence of the row does.
   template <class Change>
   void settle(const Mpls::FwdEqvClass& fec, bool isThere, Change change) const {
      if (isThere) {
         change(*tableIs()->bindingIs(fec));
         return;
      }
      const auto found = table();
      if (const auto labelSet = found ? found->binding(fec) : nullptr)
         change(*labelSet);
      prune(fec);
   }

   LdpLibConsumerSm& sm_;
   const std::optional<Mpls::RouterId> peer_; // none: this router
};

} // namespace

// The consumer of bindings.

void LdpLibConsumerSm::handleInitialized() {
   if (auto line = trace.entry(8))
      line << " pooltabLbtColl " << pooltabLbtColl()->name();
   initializedIs(true);
   handleLocalLbtLabels();
   handleLocalLbtFilteredFecs();
   handleLocalLbtLastUpdates();
   handlePeerLbtLabels();
   handlePeerLbtFilteredFecs();
   handlePeerLbtLastUpdates();
}

void LdpLibConsumerSm::handleDelete() {
   if (auto line = trace.entry(8))
      line << " pooltabLbtColl " << pooltabLbtColl()->name();
   initializedIs(false);
   localLabelBindingTable()->bindingDelAll();
   localLabelBindingTable()->filteredFecDelAll();
   peerLabelBindingTableColl()->bindingTableDelAll();
}

void LdpLibConsumerSm::deleteUnusedBinding(const Vok::Ptr<Mpls::LabelBindingTable>& table,
                                           const Mpls::FwdEqvClass& fec) {
   const auto labelSet = table->binding(fec);
   if (labelSet && labelSet->isUnused())
      table->bindingDel(fec);
}

void LdpLibConsumerSm::deleteUnusedPeerTable(const Mpls::RouterId& routerId, const Mpls::FwdEqvClass& fec) {
   const auto table = peerLabelBindingTableColl()->bindingTable(routerId);
   if (!table)
      return;
   deleteUnusedBinding(table, fec);
   if (table->isUnused())
      peerLabelBindingTableColl()->bindingTableDel(routerId);
}

// Rows of this router.

void LdpLibConsumerSm::handleLocalLbtLabel(const LdpLocalLbtLabelKey& key) {
   if (auto line = trace.entry(8))
      line << " fec: " << key.fwdEqvClass() << " label: " << key.label();
   if (!initialized())
      return;
   const bool isBound = Pooltab::checkedHas(pooltabLbtColl()->localLbtLabelTable(), key);
   Bindings(*this).settleLabel(key.fwdEqvClass(), key.label(), isBound);
}

void LdpLibConsumerSm::handleLocalLbtFilteredFec(const Mpls::FwdEqvClass& fec) {
   if (auto line = trace.entry(8))
      line << " fec: " << fec;
   if (!initialized())
      return;
   if (Pooltab::checkedHas(pooltabLbtColl()->localLbtFilteredFecTable(), fec))
      localLabelBindingTable()->filteredFecIs(fec, true);
   else
      localLabelBindingTable()->filteredFecDel(fec);
}

void LdpLibConsumerSm::handleLocalLbtLastUpdate(const Mpls::FwdEqvClass& fec) {
   if (auto line = trace.entry(8))
      line << " fec: " << fec;
   if (!initialized())
      return;
   LdpLocalLbtLastUpdateEntry row;
   const bool isThere = Pooltab::checkedFind(pooltabLbtColl()->localLbtLastUpdateTable(), fec, row);
   Bindings(*this).settleLastUpdate(fec, row.lastUpdate(), isThere);
}

// Rows of its peers.

void LdpLibConsumerSm::handlePeerLbtLabel(const LdpPeerLbtLabelKey& key) {
   if (auto line = trace.entry(8))
      line << " ldpIdentifier: " << key.ldpIdentifier() << " fec: " << key.fwdEqvClass()
           << " label: " << key.label();
   if (!initialized())
      return;
   const bool isBound = Pooltab::checkedHas(pooltabLbtColl()->peerLbtLabelTable(), key);
   Bindings(*this, key.ldpIdentifier()).settleLabel(key.fwdEqvClass(), key.label(), isBound);
}

void LdpLibConsumerSm::handlePeerLbtFilteredFec(const LdpIdentifierFecKey& key) {
   if (auto line = trace.entry(8))
      line << " ldpIdentifier: " << key.ldpIdentifier() << " fec: " << key.fwdEqvClass();
   if (!initialized())
      return;
   const Bindings peer(*this, key.ldpIdentifier());
   if (Pooltab::checkedHas(pooltabLbtColl()->peerLbtFilteredFecTable(), key)) {
      peer.tableIs()->filteredFecIs(key.fwdEqvClass(), true);
      return;
   }
   if (const auto table = peer.table())
      table->filteredFecDel(key.fwdEqvClass());
   peer.prune(key.fwdEqvClass());
}

void LdpLibConsumerSm::handlePeerLbtLastUpdate(const LdpIdentifierFecKey& key) {
   if (auto line = trace.entry(8))
      line << " ldpIdentifier: " << key.ldpIdentifier() << " fec: " << key.fwdEqvClass();
   if (!initialized())
      return;
   LdpPeerLbtLastUpdateEntry row;
   const bool isThere = Pooltab::checkedFind(pooltabLbtColl()->peerLbtLastUpdateTable(), key, row);
   Bindings(*this, key.ldpIdentifier()).settleLastUpdate(key.fwdEqvClass(), row.lastUpdate(), isThere);
}

// Whole tables: what was taken from rows that are gone goes first, then comes what the rows say.

void LdpLibConsumerSm::handleLocalLbtLabels() {
   if (!initialized())
      return;
   forEachLabel(*localLabelBindingTable(), [this](const Mpls::FwdEqvClass& fec, Kinet::MplsLabel label) {
      handleLocalLbtLabel(LdpLocalLbtLabelKey(fec, label));
   });
   Pooltab::checkedWalkAll(pooltabLbtColl()->localLbtLabelTable(), [this](const LdpLocalLbtLabelEntry& row) {
      Bindings(*this).settleLabel(row.key().fwdEqvClass(), row.key().label(), true);
   });
}

void LdpLibConsumerSm::handleLocalLbtFilteredFecs() {
   if (!initialized())
      return;
   const auto table = localLabelBindingTable();
   for (const auto& [fec, isIn] : table->filteredFecEach())
      handleLocalLbtFilteredFec(fec);
   Pooltab::checkedWalkAll(pooltabLbtColl()->localLbtFilteredFecTable(),
                           [&](const LdpFecEntry& row) { table->filteredFecIs(row.key(), true); });
}

void LdpLibConsumerSm::handleLocalLbtLastUpdates() {
   if (!initialized())
      return;
   forEachLastUpdate(*localLabelBindingTable(),
                     [this](const Mpls::FwdEqvClass& fec) { handleLocalLbtLastUpdate(fec); });
   Pooltab::checkedWalkAll(pooltabLbtColl()->localLbtLastUpdateTable(),
                           [this](const LdpLocalLbtLastUpdateEntry& row) {
                              Bindings(*this).settleLastUpdate(row.key(), row.lastUpdate(), true);
                           });
}

void LdpLibConsumerSm::handlePeerLbtLabels() {
   if (!initialized())
      return;
   forEachPeer(*peerLabelBindingTableColl(),
               [this](const LdpIdentifier& peer, const Mpls::LabelBindingTable& table) {
                  forEachLabel(table, [&](const Mpls::FwdEqvClass& fec, Kinet::MplsLabel label) {
                     handlePeerLbtLabel(LdpPeerLbtLabelKey(peer, fec, label));
                  });
               });
   Pooltab::checkedWalkAll(pooltabLbtColl()->peerLbtLabelTable(), [this](const LdpPeerLbtLabelEntry& row) {
      Bindings(*this, row.key().ldpIdentifier())
          .settleLabel(row.key().fwdEqvClass(), row.key().label(), true);
   });
}

void LdpLibConsumerSm::handlePeerLbtFilteredFecs() {
   if (!initialized())
      return;
   forEachPeer(*peerLabelBindingTableColl(),
               [this](const LdpIdentifier& peer, const Mpls::LabelBindingTable& table) {
                  for (const auto& [fec, isIn] : table.filteredFecEach())
                     handlePeerLbtFilteredFec(LdpIdentifierFecKey(peer, fec));
               });
   Pooltab::checkedWalkAll(pooltabLbtColl()->peerLbtFilteredFecTable(),
                           [this](const LdpIdentifierFecEntry& row) {
                              const Bindings peer(*this, row.key().ldpIdentifier());
                              peer.tableIs()->filteredFecIs(row.key().fwdEqvClass(), true);
                           });
}

void LdpLibConsumerSm::handlePeerLbtLastUpdates() {
   if (!initialized())
      return;
   forEachPeer(*peerLabelBindingTableColl(),
               [this](const LdpIdentifier& peer, const Mpls::LabelBindingTable& table) {
                  forEachLastUpdate(table, [&](const Mpls::FwdEqvClass& fec) {
                     handlePeerLbtLastUpdate(LdpIdentifierFecKey(peer, fec));
                  });
               });
   Pooltab::checkedWalkAll(pooltabLbtColl()->peerLbtLastUpdateTable(),
                           [this](const LdpPeerLbtLastUpdateEntry& row) {
                              const Bindings peer(*this, row.key().ldpIdentifier());
                              peer.settleLastUpdate(row.key().fwdEqvClass(), row.lastUpdate(), true);
                           });
}

// The consumer of advertisements.

void LdpLibAdvertisementConsumerSm::handleInitialized() {
   if (auto line = trace.entry(8))
      line << " pooltabLbtColl " << pooltabLbtColl()->name();
   vokAssert(!advertisement()->advertisedTos());
   initializedIs(true);
   handleLbtAdvertisedTos();
}

void LdpLibAdvertisementConsumerSm::handleDelete() {
   if (auto line = trace.entry(8))
      line << " pooltabLbtColl " << pooltabLbtColl()->name();
   initializedIs(false);
   advertisement()->advertisedToDelAll();
}

void LdpLibAdvertisementConsumerSm::handleLbtAdvertisedTo(const LdpIdentifierFecKey& key) {
   if (auto line = trace.entry(8))
      line << " ldpIdentifier: " << key.ldpIdentifier() << " fec: " << key.fwdEqvClass();
   if (!initialized())
      return;
   if (Pooltab::checkedHas(pooltabLbtColl()->localLbtAdvertisedToTable(), key)) {
      advertisement()->advertisedToIs(key.fwdEqvClass())->identifierIs(key.ldpIdentifier(), true);
      return;
   }
   const auto peers = advertisement()->advertisedTo(key.fwdEqvClass());
   if (!peers)
      return;
   peers->identifierDel(key.ldpIdentifier());
   if (peers->identifiers() == 0)
      advertisement()->advertisedToDel(key.fwdEqvClass());
}

void LdpLibAdvertisementConsumerSm::handleLbtAdvertisedTos() {
   if (!initialized())
      return;
   for (const auto& [fec, peers] : advertisement()->advertisedToEach())
      for (const auto& [peer, isIn] : peers->identifierEach())
         handleLbtAdvertisedTo(LdpIdentifierFecKey(peer, fec));
   Pooltab::checkedWalkAll(pooltabLbtColl()->localLbtAdvertisedToTable(),
                           [this](const LdpIdentifierFecEntry& row) { handleLbtAdvertisedTo(row.key()); });
}

} // namespace LdpPooltab

} // namespace Ldp
