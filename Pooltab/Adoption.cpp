#include "Pooltab/Adoption.h"

#include "Pooltab/Checksum.h"
#include "Vok/Errors.h"

#include <algorithm>

namespace Pooltab {

void Adoption::corrupted(const std::string& what) const {
   throw Vok::CorruptionDetectedError(rows_.what() + ": " + what +
                                      " (remove the pool's directory to start afresh)");
}

Space Adoption::finish() {
   tail_ = loadRelaxed(rows_.header().tail);
   if (slotOffset(tail_) > rows_.bytes())
      corrupted("the table ends beyond its file");
   scanIndex();
   finishStep();
   if (found_ != loadRelaxed(rows_.header().rows))
      corrupted("the index has " + std::to_string(found_) + " entries for " +
                std::to_string(loadRelaxed(rows_.header().rows)) + " rows");
   zeroBeyondTail();
   Space space(rows_);
   collectFree(space);
   return space;
}

void Adoption::scanIndex() {
   named_.assign(tail_ / 64 + 1, 0);
   const U64 stride = rows_.shape().variable ? blockUnitBytes / granuleBytes
                                             : fixedBlockBytes(rows_.shape().rowBytesMax) / granuleBytes;
   // A table that is full but for its tail needs no division an entry.
   U64 doubled[2];
   unsigned doubles = 0;
   for (U64 at = 0; at < index_.capacity(); ++at) {
      const Word entry = index_.entry(at);
      if (entry == 0)
         continue;
      const U64 slot = entrySlot(entry);
      if (slot >= tail_ || slot % stride != 0)
         corrupted("the index names slot " + std::to_string(slot) + ", which is none");
      if (isNamed(slot)) {
         // Twice is what a deletion leaves that was cut off between its two stores; it can happen once only.
         if (doubles++)
            corrupted("the index names slot " + std::to_string(slot) + " twice");
         doubled[0] = slot;
         doubled[1] = at;
         continue;
      }
      named_[slot / 64] |= U64{1} << slot % 64;
      ++found_;
   }
   if (doubles == 0)
      return;
   for (U64 at = 0; at < doubled[1]; ++at)
      if (index_.entry(at) != 0 && entrySlot(index_.entry(at)) == doubled[0])
         return closeGap(at, doubled[1]);
}

void Adoption::closeGap(U64 first, U64 second) {
   // Along the probe the new place comes first: the other one is the gap.
   const U32 tag = entryTag(index_.entry(first));
   index_.erase(index_.probeLength(tag, first) < index_.probeLength(tag, second) ? second : first);
}

void Adoption::finishStep() {
   RowsHeader& header = rows_.header();
   const auto step = static_cast<Step>(loadRelaxed(header.step));
   if (step == Step::none)
      return;
   const U64 slot = loadRelaxed(header.slot);
   const U64 oldSlot = loadRelaxed(header.oldSlot);
   if (slotOffset(std::max(slot, oldSlot)) + blockBytesMax > rows_.bytes() + blockBytesMax)
      corrupted("the step under way lies beyond the file");
   const auto at = static_cast<U32>(slot);
   bool happened = false;
   switch (step) {
   case Step::overwrite:
      if (!isNamed(slot))
         corrupted("the row being overwritten is not in the index");
      replayJournal(at);
      happened = true;
      break;
   case Step::insert:
      happened = isNamed(slot);
      if (!happened)
         clearLeftover(at);
      break;
   case Step::erase:
      happened = !isNamed(slot);
      if (happened)
         clearLeftover(at);
      break;
   case Step::move:
      happened = isNamed(slot);
      clearLeftover(happened ? static_cast<U32>(oldSlot) : at);
      break;
   default:
      corrupted("the step under way is none that exists");
   }
   if (happened)
      rows_.stepDone(loadRelaxed(header.rowsAfter), loadRelaxed(header.sumAfter));
   else
      rows_.stepDone(loadRelaxed(header.rows), loadRelaxed(header.sum));
}

/// Of a block below the tail, all of which lies there.
U32 Adoption::blockBytesAt(U64 slot) const {
   const U32 bytes = rows_.blockBytesAt(static_cast<U32>(slot));
   if (slot + bytes / granuleBytes > tail_)
      corrupted("the block at slot " + std::to_string(slot) + " ends beyond the table");
   return bytes;
}

void Adoption::replayJournal(U32 slot) {
   const Journal& journal = rows_.journal();
   const PackedRow row{stampBytes(journal.stamp), journal.payload};
   const U32 checksum = guardChecksum(journal.guard);
   if (journal.slot != slot || !rows_.shape().allows(row.bytes) ||
       rows_.shape().blockBytes(row.bytes) != blockBytesAt(slot) ||
       rows_.checksum(slot, journal.stamp, row) != checksum)
      corrupted("the journal does not hold the row being overwritten");
   rows_.overwrite(slot, journal.stamp, row, checksum);
}

void Adoption::clearLeftover(U32 slot) {
   if (slot < tail_)
      rows_.clear(slot, blockBytesAt(slot));
}

void Adoption::zeroBeyondTail() {
   // A row may have been written there whose tail was not published any more.
   const U64 end = std::min(slotOffset(tail_) + blockBytesMax, rows_.bytes());
   rows_.zero(slotOffset(tail_), end);
}

void Adoption::collectFree(Space& space) {
   if (!rows_.shape().variable && found_ * (rows_.shape().blockBytes(0) / granuleBytes) == tail_)
      return;
   std::vector<std::pair<U32, U32>> free;
   for (U64 slot = 0; slot < tail_;) {
      const auto at = static_cast<U32>(slot);
      const U32 bytes = blockBytesAt(slot);
      if (!isNamed(slot)) {
         if (stampVersion(loadRelaxed(rows_.head(at).stamp)))
            rows_.clear(at, bytes);
         free.emplace_back(at, bytes);
      }
      slot += bytes / granuleBytes;
   }
   // The lowest slots are to be used first, and the list gives the last first.
   std::for_each(free.rbegin(), free.rend(),
                 [&](const auto& block) { space.free(block.first, block.second); });
}

} // namespace Pooltab
