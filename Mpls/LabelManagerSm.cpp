#include "Mpls/LabelManagerSm.h"

#include "Vok/Assert.h"
#include "Vok/Trace.h"

#include <algorithm>

namespace Mpls {

namespace {

constinit Vok::TraceFacility trace("LabelManagerSm");

/// Block indexes are those of one allocator: without it they mean nothing.
void forgetIndexes(LabelManagerSm& sm) {
   for (const auto& info : sm.clientInfoEach())
      info.value->blockIndexDelAll();
}

void withdrawAllocations(LabelManagerSm& sm) {
   forgetIndexes(sm);
   sm.status()->labelBlockAllocationDelAll();
}

void deleteAllocator(LabelManagerSm& sm) {
   forgetIndexes(sm);
   sm.drAllocIs(nullptr);
}

void buildAllocator(LabelManagerSm& sm) {
   sm.drAllocIs(Vok::make<Bolk::NumAllocator>(sm.drAllocConfig(), sm.drAllocStatus(), sm.timerWheel()));
}

/// Makes the allocator one of `count` blocks of the configured range. One whose blocks start where they did
/// stays; any other starts empty, or with the blocks in the status when the manager starts.
void prepareAllocator(LabelManagerSm& sm, Vok::U32 count) {
   if (auto line = trace.entry(1))
      line << " allocate " << count << " blocks.";
   sm.drAllocConfig()->rangeIs(Bolk::Range(0, count));
   sm.drAllocConfig()->expiryTimeIs(LabelManagerSm::allocExpiryTime);
   if (sm.drAlloc() && sm.status()->dynamicLabelRange().baseValue() == sm.configRangeBase())
      return;
   if (sm.drAlloc()) {
      if (auto line = trace.entry(1))
         line << " reset allocator";
      deleteAllocator(sm);
   }
   buildAllocator(sm);
   if (!sm.restarting()) {
      withdrawAllocations(sm);
   } else if (!sm.syncAllocations()) {
      deleteAllocator(sm);
      buildAllocator(sm);
      withdrawAllocations(sm);
   }
}

} // namespace

LabelRange LabelManagerSm::dynamicRange(const Vok::Ptr<const Config>& config) {
   const LabelRange none(Kinet::MplsLabel(0), 0);
   const Vok::Name dynamic(LabelRangeInfo::rangeTypeDynamic);
   if (!config->labelRangeHas(dynamic) || config->labelRange(dynamic) == none)
      return LabelRangeInfo::dynamicDefaultRange();
   return config->labelRange(dynamic);
}

Vok::U32 LabelManagerSm::blocksIn(const LabelRange& range) {
   const Vok::U32 end = std::min<Vok::U32>(range.baseValue() + range.size(), Kinet::MplsLabel::max);
   return range.baseValue() < end ? (end - range.baseValue()) >> LabelBlock::sizeShift : 0;
}

LabelRange LabelManagerSm::configRange() const {
   return dynamicRange(mplsConfig());
}

Vok::U32 LabelManagerSm::configRangeBase() const {
   return configRange().baseValue();
}

Vok::U32 LabelManagerSm::configRangeSize() const {
   return configRange().size();
}

Vok::U32 LabelManagerSm::configRangeMax() const {
   return configRangeBase() + configRangeSize();
}

bool LabelManagerSm::rangeExhausted() const {
   return drAllocStatus()->rangeExhausted();
}

Vok::U32 LabelManagerSm::blockIdx(Kinet::MplsLabel label) const {
   return (label.value() - configRangeBase()) >> LabelBlock::sizeShift;
}

Kinet::MplsLabel LabelManagerSm::blockStart(Vok::U32 idx) const {
   return Kinet::MplsLabel(Vok::U64(idx) * LabelBlock::size + configRangeBase());
}

bool LabelManagerSm::blockIsValid(const LabelBlock& block) const {
   const Vok::U32 start = block.blockStart().value();
   return start >= configRangeBase() && start + LabelBlock::size <= configRangeMax();
}

void LabelManagerSm::handleInitialized() {
   if (auto line = trace.entry(8))
      line << " mplsRouting " << mplsConfig()->mplsRouting();
   if (!client()) {
      drAllocConfigIs(Bolk::numAllocatorConfigFactory("drAllocConfig"));
      drAllocStatusIs(Bolk::numAllocatorStatusFactory("drAllocStatus"));
      clientIs(labelManagerClientFactory("client"));
   }
   initializedIs(true);
   if (!mplsConfig()->mplsRouting()) {
      withdrawAllocations(*this);
      return;
   }
   restartingIs(true);
   drAllocConfig()->rangeIs(Bolk::Range(0, 0));
   handleLabelRange();
   restartingIs(false);
}

void LabelManagerSm::checkClearLabelRanges() {
   if (auto line = trace.entry(8))
      line << " mplsRouting " << mplsConfig()->mplsRouting();
   handleInitialized();
}

void LabelManagerSm::handleLabelRange(const Vok::Name& name) {
   if (name == LabelRangeInfo::rangeTypeDynamic)
      handleLabelRange();
}

void LabelManagerSm::handleLabelRange() {
   if (auto line = trace.entry(8))
      line << " base " << configRangeBase() << " size " << configRangeSize();
   allocValidIs(false);
   const Vok::U32 base = configRangeBase();
   const Vok::U32 end = std::min<Vok::U32>(configRangeMax(), Kinet::MplsLabel::max);
   if (base >= end) {
      deleteAllocator(*this);
      withdrawAllocations(*this);
      clientInfoDelAll();
   } else if (const Vok::U32 count = blocksIn(configRange()); count > 0) {
      prepareAllocator(*this, count);
      allocValidIs(true);
   } else {
      deleteAllocator(*this);
   }
   status()->dynamicLabelRangeIs(configRange());
   handleLabelRequestDir();
   handleLabelManagerClient();
   handleLabelRequest();
}

bool LabelManagerSm::syncAllocations() {
   if (auto line = trace.entry(8))
      line << " clients " << status()->labelBlockAllocations();
   const Vok::U32 base = configRangeBase();
   for (const auto& allocation : status()->labelBlockAllocationEach()) {
      const Vok::Name& client = allocation.key;
      if (auto line = trace.entry(1))
         line << " sync client " << client << " with Hubdb (restart)";
      const auto cltInfo = clientInfoIs(client);
      for (const auto& [request, block] : allocation.value->blockEach()) {
         const Vok::U32 start = block.blockStart().value();
         const Vok::U32 idx = blockIdx(block.blockStart());
         const bool onBoundary = idx * LabelBlock::size + base == start;
         if (!onBoundary || start < base || start >= configRangeMax() ||
             !drAllocConfig()->range().contains(idx)) {
            if (auto line = trace.entry(1))
               line << " Hubdb status is inconsistent for client " << client << ", idx: " << idx
                    << ", idx max: " << drAllocConfig()->range().last() << ", iter->blockStart(): " << start
                    << ", blockStart( idx ): " << idx * LabelBlock::size + base;
            return false;
         }
         if (!drAlloc()->reserveNumber(idx)) {
            if (auto line = trace.entry(1))
               line << " error: idx already used for client " << client << ", idx: " << idx;
            return false;
         }
         cltInfo->blockIndexIs(request, idx);
         if (auto line = trace.entry(1))
            line << " uses block " << idx << " for request " << request << ", block start: " << start;
      }
   }
   return true;
}

void LabelManagerSm::handleLabelRequestDir() {
   for (const auto& entry : labelRequestDir()->entityPtrEach())
      handleLabelRequestDir(entry.key);
   for (const auto& entry : client()->requestEach())
      handleLabelRequestDir(entry.key);
}

void LabelManagerSm::handleLabelRequestDir(const Vok::Name& name) {
   if (auto line = trace.entry(8))
      line << " name " << name;
   const auto request = Vok::ptrCast<const ClientLabelRequest>(labelRequestDir()->entityPtr(name));
   if (request) {
      if (auto line = trace.entry(1))
         line << " creating client request, client: " << name;
      client()->requestIs(request);
   } else {
      if (auto line = trace.entry(1))
         line << " deleting client request, client: " << name;
      client()->requestDel(name);
   }
}

void LabelManagerSm::handleClientRequest(const Vok::Name& name) {
   if (const auto request = client()->request(name))
      clientRequestIs(request);
   else
      clientRequestDel(name);
   handleLabelManagerClient(name);
}

void LabelManagerSm::handleLabelManagerClient() {
   for (const auto& entry : client()->requestEach())
      handleLabelManagerClient(entry.key);
   for (const auto& entry : clientInfoEach())
      if (!client()->requestHas(entry.key))
         handleLabelManagerClient(entry.key);
}

void LabelManagerSm::handleLabelManagerClient(const Vok::Name& name) {
   if (auto line = trace.entry(8))
      line << " name " << name;
   if (!initialized() || !mplsConfig()->mplsRouting())
      return;
   if (client()->requestHas(name)) {
      if (auto line = trace.entry(1))
         line << " client added: " << name;
      pendingClientMountDel(name);
      const auto allocation = status()->labelBlockAllocationIs(name);
      clientInfoIs(name);
      for (const auto& block : allocation->blockEach())
         handleLabelRequest(name, block.key);
      for (const auto& request : client()->request(name)->labelRequestEach())
         handleLabelRequest(name, request.key);
      return;
   }
   if (auto line = trace.entry(1))
      line << " client removed: " << name;
   if (pendingClientMountHas(name)) {
      if (auto line = trace.entry(1))
         line << " defer pending client removal: " << name;
      return;
   }
   const auto cltInfo = clientInfo(name);
   vokAssert(cltInfo);
   // A request whose block was dropped, and that waits for another one, still has its index.
   for (const auto& index : cltInfo->blockIndexEach())
      removeLabelBlock(name, index.key);
   status()->labelBlockAllocationDel(name);
   clientInfoDel(name);
}

void LabelManagerSm::handleLabelRequest() {
   if (!initialized() || !mplsConfig()->mplsRouting())
      return;
   for (const auto& clientEntry : clientRequestEach())
      for (const auto& request : clientEntry.value->labelRequestEach())
         handleLabelRequest(clientEntry.key, request.key);
}

void LabelManagerSm::handleLabelRequest(const Vok::Name& client, const Vok::String& request) {
   if (auto line = trace.entry(8))
      line << " client " << client << " request " << request;
   if (!initialized() || !mplsConfig()->mplsRouting())
      return; // there are no allocations
   const auto cltReq = clientRequest(client);
   vokAssert(cltReq);
   if (cltReq->labelRequestHas(request))
      allocateLabelBlock(client, request);
   else
      removeLabelBlock(client, request);
}

void LabelManagerSm::allocateLabelBlock(const Vok::Name& client, const Vok::String& request) {
   const auto alloc = status()->labelBlockAllocation(client);
   vokAssert(alloc);
   if (alloc->blockHas(request) && !blockIsValid(alloc->block(request))) {
      if (auto line = trace.entry(1))
         line << " " << request << " is no longer valid.";
      alloc->blockDel(request);
   }
   if (alloc->blockHas(request)) {
      if (auto line = trace.entry(1))
         line << " " << request << " already fulfilled";
      const Vok::U32 start = alloc->block(request).blockStart().value();
      const Vok::U32 end = start + LabelBlock::size;
      vokAssert(start < end);
      vokAssert(start >= configRangeBase());
      vokAssert(end <= configRangeMax());
      return;
   }
   const auto cltInfo = clientInfo(client);
   vokAssert(cltInfo);
   // An index without a block is that of a block which the range did not cover any more. If it does now,
   // the request gets it back; nobody else can.
   const bool hadIdx = cltInfo->blockIndexHas(request);
   const Vok::U32 oldIdx = cltInfo->blockIndex(request);
   Vok::S64 idx = oldIdx;
   if (!hadIdx || !drAllocConfig()->range().contains(oldIdx)) {
      if (rangeExhausted()) {
         if (auto line = trace.entry(1))
            line << " " << request << " could not be fulfilled.";
         requestBacklogIs(true);
         return;
      }
      idx = drAlloc()->getNumber();
      vokAssert(idx >= 0);
      cltInfo->blockIndexIs(request, static_cast<Vok::U32>(idx));
      if (hadIdx)
         drAlloc()->releaseNumber(oldIdx);
   }
   // Whoever sees the block may end the request at once: all else is in place.
   alloc->blockIs(request, LabelBlock(blockStart(static_cast<Vok::U32>(idx))));
   if (auto line = trace.entry(1))
      line << " " << request << " was added, index: " << idx;
}

void LabelManagerSm::removeLabelBlock(const Vok::Name& client, const Vok::String& request) {
   const auto alloc = status()->labelBlockAllocation(client);
   vokAssert(alloc);
   const auto cltInfo = clientInfo(client);
   vokAssert(cltInfo);
   alloc->blockDel(request);
   if (!cltInfo->blockIndexHas(request)) {
      if (auto line = trace.entry(1))
         line << " " << request << " was removed (not allocated)";
      return;
   }
   const Vok::U32 idx = cltInfo->blockIndex(request);
   cltInfo->blockIndexDel(request);
   drAlloc()->releaseNumber(idx);
   if (auto line = trace.entry(1))
      line << " " << request << " was removed, index: " << idx;
}

void LabelManagerSm::handleRangeExhausted() {
   if (auto line = trace.entry(8))
      line << " rangeExhausted " << rangeExhausted();
   if (!initialized() || !mplsConfig()->mplsRouting() || !requestBacklog() || rangeExhausted())
      return;
   requestBacklogIs(false);
   if (allocValid()) // otherwise the range is being changed: the end of handleLabelRange serves every request
      handleLabelRequest();
}

} // namespace Mpls
