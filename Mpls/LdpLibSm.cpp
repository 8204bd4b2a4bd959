#include "Mpls/LdpLibSm.h"

#include "Mpls/LdpRouterId.h"
#include "Pooltab/CheckedRead.h"
#include "Vok/Assert.h"
#include "Vok/Trace.h"

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

// What a row of labels or times says, and what its absence says.

void labelIs(const Vok::Ptr<Mpls::LabelBindingTable>& table, const Mpls::FwdEqvClass& fec,
             Kinet::MplsLabel label) {
   table->bindingIs(fec)->mplsLabelIs(label, true);
}

void labelDel(const Vok::Ptr<Mpls::LabelBindingTable>& table, const Mpls::FwdEqvClass& fec,
              Kinet::MplsLabel label) {
   if (const auto labelSet = table ? table->binding(fec) : nullptr)
      labelSet->mplsLabelDel(label);
}

void lastUpdateIs(const Vok::Ptr<Mpls::LabelBindingTable>& table, const Mpls::FwdEqvClass& fec, double time) {
   table->bindingIs(fec)->lastUpdateIs(time);
}

void lastUpdateDel(const Vok::Ptr<Mpls::LabelBindingTable>& table, const Mpls::FwdEqvClass& fec) {
   if (const auto labelSet = table ? table->binding(fec) : nullptr)
      labelSet->lastUpdateIs(0.0);
}

/// The inverse of toRouterId().
LdpIdentifier toLdpIdentifier(const Mpls::RouterId& routerId) {
   return LdpIdentifier(routerId.rtrId(), routerId.lblSpace());
}

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
   const auto table = localLabelBindingTable();
   if (Pooltab::checkedHas(pooltabLbtColl()->localLbtLabelTable(), key)) {
      labelIs(table, key.fwdEqvClass(), key.label());
   } else {
      labelDel(table, key.fwdEqvClass(), key.label());
      deleteUnusedBinding(table, key.fwdEqvClass());
   }
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
   const auto table = localLabelBindingTable();
   LdpLocalLbtLastUpdateEntry entry;
   if (Pooltab::checkedFind(pooltabLbtColl()->localLbtLastUpdateTable(), fec, entry)) {
      lastUpdateIs(table, fec, entry.lastUpdate());
   } else {
      lastUpdateDel(table, fec);
      deleteUnusedBinding(table, fec);
   }
}

// Rows of its peers.

void LdpLibConsumerSm::handlePeerLbtLabel(const LdpPeerLbtLabelKey& key) {
   if (auto line = trace.entry(8))
      line << " ldpIdentifier: " << key.ldpIdentifier() << " fec: " << key.fwdEqvClass()
           << " label: " << key.label();
   if (!initialized())
      return;
   const auto tables = peerLabelBindingTableColl();
   const Mpls::RouterId routerId = toRouterId(key.ldpIdentifier());
   if (Pooltab::checkedHas(pooltabLbtColl()->peerLbtLabelTable(), key)) {
      labelIs(tables->bindingTableIs(routerId), key.fwdEqvClass(), key.label());
   } else {
      labelDel(tables->bindingTable(routerId), key.fwdEqvClass(), key.label());
      deleteUnusedPeerTable(routerId, key.fwdEqvClass());
   }
}

void LdpLibConsumerSm::handlePeerLbtFilteredFec(const LdpIdentifierFecKey& key) {
   if (auto line = trace.entry(8))
      line << " ldpIdentifier: " << key.ldpIdentifier() << " fec: " << key.fwdEqvClass();
   if (!initialized())
      return;
   const auto tables = peerLabelBindingTableColl();
   const Mpls::RouterId routerId = toRouterId(key.ldpIdentifier());
   if (Pooltab::checkedHas(pooltabLbtColl()->peerLbtFilteredFecTable(), key)) {
      tables->bindingTableIs(routerId)->filteredFecIs(key.fwdEqvClass(), true);
   } else {
      if (const auto table = tables->bindingTable(routerId))
         table->filteredFecDel(key.fwdEqvClass());
      deleteUnusedPeerTable(routerId, key.fwdEqvClass());
   }
}

void LdpLibConsumerSm::handlePeerLbtLastUpdate(const LdpIdentifierFecKey& key) {
   if (auto line = trace.entry(8))
      line << " ldpIdentifier: " << key.ldpIdentifier() << " fec: " << key.fwdEqvClass();
   if (!initialized())
      return;
   const auto tables = peerLabelBindingTableColl();
   const Mpls::RouterId routerId = toRouterId(key.ldpIdentifier());
   LdpPeerLbtLastUpdateEntry entry;
   if (Pooltab::checkedFind(pooltabLbtColl()->peerLbtLastUpdateTable(), key, entry)) {
      lastUpdateIs(tables->bindingTableIs(routerId), key.fwdEqvClass(), entry.lastUpdate());
   } else {
      lastUpdateDel(tables->bindingTable(routerId), key.fwdEqvClass());
      deleteUnusedPeerTable(routerId, key.fwdEqvClass());
   }
}

// Whole tables: what was taken from rows that are gone goes first, then comes what the rows say.

void LdpLibConsumerSm::handleLocalLbtLabels() {
   if (!initialized())
      return;
   const auto table = localLabelBindingTable();
   forEachLabel(*table, [this](const Mpls::FwdEqvClass& fec, Kinet::MplsLabel label) {
      handleLocalLbtLabel(LdpLocalLbtLabelKey(fec, label));
   });
   Pooltab::checkedWalkAll(pooltabLbtColl()->localLbtLabelTable(), [&](const LdpLocalLbtLabelEntry& row) {
      labelIs(table, row.key().fwdEqvClass(), row.key().label());
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
   const auto table = localLabelBindingTable();
   forEachLastUpdate(*table, [this](const Mpls::FwdEqvClass& fec) { handleLocalLbtLastUpdate(fec); });
   Pooltab::checkedWalkAll(
       pooltabLbtColl()->localLbtLastUpdateTable(),
       [&](const LdpLocalLbtLastUpdateEntry& row) { lastUpdateIs(table, row.key(), row.lastUpdate()); });
}

void LdpLibConsumerSm::handlePeerLbtLabels() {
   if (!initialized())
      return;
   const auto tables = peerLabelBindingTableColl();
   for (const auto& [routerId, table] : tables->bindingTableEach()) {
      const LdpIdentifier peer = toLdpIdentifier(routerId);
      forEachLabel(*table, [&](const Mpls::FwdEqvClass& fec, Kinet::MplsLabel label) {
         handlePeerLbtLabel(LdpPeerLbtLabelKey(peer, fec, label));
      });
   }
   Pooltab::checkedWalkAll(pooltabLbtColl()->peerLbtLabelTable(), [&](const LdpPeerLbtLabelEntry& row) {
      labelIs(tables->bindingTableIs(toRouterId(row.key().ldpIdentifier())), row.key().fwdEqvClass(),
              row.key().label());
   });
}

void LdpLibConsumerSm::handlePeerLbtFilteredFecs() {
   if (!initialized())
      return;
   const auto tables = peerLabelBindingTableColl();
   for (const auto& [routerId, table] : tables->bindingTableEach()) {
      const LdpIdentifier peer = toLdpIdentifier(routerId);
      for (const auto& [fec, isIn] : table->filteredFecEach())
         handlePeerLbtFilteredFec(LdpIdentifierFecKey(peer, fec));
   }
   Pooltab::checkedWalkAll(pooltabLbtColl()->peerLbtFilteredFecTable(),
                           [&](const LdpIdentifierFecEntry& row) {
                              tables->bindingTableIs(toRouterId(row.key().ldpIdentifier()))
                                  ->filteredFecIs(row.key().fwdEqvClass(), true);
                           });
}

void LdpLibConsumerSm::handlePeerLbtLastUpdates() {
   if (!initialized())
      return;
   const auto tables = peerLabelBindingTableColl();
   for (const auto& [routerId, table] : tables->bindingTableEach()) {
      const LdpIdentifier peer = toLdpIdentifier(routerId);
      forEachLastUpdate(*table, [&](const Mpls::FwdEqvClass& fec) {
         handlePeerLbtLastUpdate(LdpIdentifierFecKey(peer, fec));
      });
   }
   Pooltab::checkedWalkAll(pooltabLbtColl()->peerLbtLastUpdateTable(),
                           [&](const LdpPeerLbtLastUpdateEntry& row) {
                              lastUpdateIs(tables->bindingTableIs(toRouterId(row.key().ldpIdentifier())),
                                           row.key().fwdEqvClass(), row.lastUpdate());
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
