#include "Mpls/LfibStatusSm.h"

#include "Pooltab/CheckedRead.h"
#include "Vok/Assert.h"
#include "Vok/Trace.h"

namespace Mpls {

namespace {

constinit Vok::TraceFacility trace("LfibStatusSm");

} // namespace

// The producer.

void LfibStatusProducerSm::handleInitialized() {
   onDot1qTagToVlanColl(); // each gets its reactor
   if (auto line = trace.entry(8))
      line << " lfibStatus " << lfibStatus()->name();
   initializedIs(true);
   Pooltab::checkedWalk(lfibStatus()->dot1qTagToVlanCompositeTable(),
                        [this](const LfibDot1qTagToVlanComposite& row) {
                           handleDot1qTagToVlan(row.key().dot1qTagToVlanKey(), row.key().dot1qTag());
                        });
   for (const auto& [key, entry] : lfibStatus()->dot1qTagToVlanCollEach())
      handleDot1qTagToVlanColl(key, entry);
}

void LfibStatusProducerSm::onDot1qTagToVlanColl() {
   for (const auto& [key, entry] : lfibStatus()->dot1qTagToVlanCollEach())
      dot1qTagToVlanCollIs(entry);
   for (const auto& [key, entry] : dot1qTagToVlanCollEach())
      if (!lfibStatus()->dot1qTagToVlanCollHas(key))
         dot1qTagToVlanCollDel(key);
}

void LfibStatusProducerSm::onDot1qTagToVlanColl(const LfibDot1qTagToVlanKey& key) {
   if (const auto entry = lfibStatus()->dot1qTagToVlanColl(key))
      dot1qTagToVlanCollIs(entry);
   else
      dot1qTagToVlanCollDel(key);
}

void LfibStatusProducerSm::handleNewEntry(const LfibDot1qTagToVlanKey& key) {
   handleDot1qTagToVlanColl(key, dot1qTagToVlanColl(key));
}

void LfibStatusProducerSm::handleDot1qTagToVlanColl(const LfibDot1qTagToVlanKey& key,
                                                    const Vok::Ptr<const LfibDot1qTagToVlan>& entry) {
   if (auto line = trace.entry(8))
      line << " key " << key;
   if (!initialized())
      return;
   for (const auto& [tag, vlan] : entry->dot1qTagToVlanIdEach())
      handleDot1qTagToVlan(key, tag);
}

void LfibStatusProducerSm::handleDot1qTagToVlan(const LfibDot1qTagToVlanKey& key, Bridging::VlanId tag) {
   if (auto line = trace.entry(8))
      line << " key " << key << " tag " << tag;
   if (!initialized())
      return;
   const LfibDot1qTagToVlanCompositeKey compositeKey(key, tag);
   const auto entry = lfibStatus()->dot1qTagToVlanColl(key);
   const Bridging::VlanIdOrNone vlan = entry ? entry->dot1qTagToVlanId(tag) : Bridging::VlanIdOrNone();
   if (vlan != Bridging::VlanIdOrNone())
      lfibStatus()->dot1qTagToVlanCompositeIs(LfibDot1qTagToVlanComposite(compositeKey, vlan));
   else
      lfibStatus()->dot1qTagToVlanCompositeDel(compositeKey);
}

// The consumer.

void LfibStatusConsumerSm::handleInitialized() {
   if (auto line = trace.entry(8))
      line << " lfibStatus " << lfibStatus()->name();
   vokAssert(!lfibStatus()->dot1qTagToVlanColls() &&
             "This sm should not have been created with a filled dot1qTagToVlanColl");
   initializedIs(true);
   handleDot1qTagToVlanComposites();
}

void LfibStatusConsumerSm::handleDot1qTagToVlanComposites() {
   if (auto line = trace.entry(8))
      line << " rows " << lfibStatus()->dot1qTagToVlanComposites();
   if (!initialized())
      return;
   Pooltab::checkedWalk(
       lfibStatus()->dot1qTagToVlanCompositeTable(),
       [this](const LfibDot1qTagToVlanComposite& row) { handleDot1qTagToVlanComposite(row.key()); });
}

void LfibStatusConsumerSm::handleDot1qTagToVlanComposite(const LfibDot1qTagToVlanCompositeKey& compositeKey) {
   if (auto line = trace.entry(8))
      line << " compositeKey " << compositeKey;
   if (!initialized())
      return;
   const LfibDot1qTagToVlanKey& key = compositeKey.dot1qTagToVlanKey();
   LfibDot1qTagToVlanComposite row;
   if (Pooltab::checkedFind(lfibStatus()->dot1qTagToVlanCompositeTable(), compositeKey, row)) {
      lfibStatus()->dot1qTagToVlanCollIs(key)->dot1qTagToVlanIdIs(compositeKey.dot1qTag(), row.localVlan());
      return;
   }
   const auto entry = lfibStatus()->dot1qTagToVlanColl(key);
   if (!entry)
      return;
   entry->dot1qTagToVlanIdDel(compositeKey.dot1qTag());
   if (entry->dot1qTagToVlanIds() == 0)
      lfibStatus()->dot1qTagToVlanCollDel(key);
}

} // namespace Mpls
