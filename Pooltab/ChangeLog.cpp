#include "Pooltab/ChangeLog.h"

namespace Pooltab {

ChangeLogWriter::ChangeLogWriter(ControlHeader& header, std::byte* ring)
    : header_(&header), ring_(reinterpret_cast<Word*>(ring)), mask_((U64{1} << header.ringEntriesLog2) - 1),
      entryWords_(header.ringEntryBytes / 8), head_(loadRelaxed(header.head)), announced_(head_) {}

void ChangeLogWriter::append(U8 table, Operation operation, U32 slot, const Word* key, U16 keyBytes) {
   Word* shared = entry(head_);
   ++head_;
   // The sequence goes first. Partner: ChangeCursor::next, which looks at it again after it copied the entry.
   storeRelease(shared[0], head_);
   storeRelease(shared[1], ringWhat(slot, keyBytes, table, operation));
   copyIn(shared + 2, key, wordsFor(keyBytes));
   // What is not announced must stay less than a lap, or a reader would take it for what was overwritten.
   if (head_ - announced_ > mask_ / 2)
      announce();
}

void ChangeLogWriter::announce() {
   if (announced_ == head_)
      return;
   announced_ = head_;
   storeRelease(header_->head, head_); // Partner: ChangeCursor::next.
}

void ChangeLogWriter::overtakeReaders() {
   head_ += mask_ + 1;
   announce();
}

ChangeCursor::ChangeCursor(const ControlHeader& header, const std::byte* ring, U32 entryBytes,
                           unsigned entriesLog2)
    : header_(&header), ring_(reinterpret_cast<const Word*>(ring)), mask_((U64{1} << entriesLog2) - 1),
      entryWords_(entryBytes / 8), position_(loadAcquire(header.head)), seenHead_(position_) {}

ChangeCursor::Next ChangeCursor::lapped(U64 head) {
   position_ = seenHead_ = head;
   return Next::lapped;
}

ChangeCursor::Next ChangeCursor::next(Change& change) {
   if (position_ == seenHead_) {
      seenHead_ = loadAcquire(header_->head); // Partner: ChangeLogWriter::announce.
      if (position_ == seenHead_)
         return Next::nothing;
   }
   if (seenHead_ - position_ > mask_ + 1) // also when the head went back, which no writer does
      return lapped(loadAcquire(header_->head));
   const Word* shared = place(position_);
   const Word what = loadAcquire(shared[1]);
   change.sequence = position_ + 1;
   change.slot = ringSlot(what);
   change.keyBytes = static_cast<U16>(what >> 32);
   change.table = ringTable(what);
   change.operation = static_cast<Operation>(what >> 56);
   if (change.keyBytes > entryWords_ * 8 - ringEntryHeadBytes)
      return lapped(loadAcquire(header_->head));
   copyOut(entry_, shared + 2, wordsFor(change.keyBytes));
   // Partner: ChangeLogWriter::append. Had a newer entry lent us one word, its sequence would stand here.
   if (loadAcquire(shared[0]) != change.sequence)
      return lapped(loadAcquire(header_->head));
   change.key = entry_;
   ++position_;
   return Next::change;
}

} // namespace Pooltab
