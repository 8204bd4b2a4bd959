// How a store of records regains room, and what keeps its place meanwhile.

#include "Hubdb/RecordStore.h"

#include <cstring>

namespace Hubdb {

using Vok::U8;

/// Does its share: while records go faster than a quarter of what is left, one chunk for every 256 KiB that
/// changed.
void RecordStore::compact() {
   constexpr std::size_t share = 256 * 1024;
   if (changed_ < share)
      return;
   changed_ -= share;
   if (!passing_ && dead_ > share && dead_ > live_ / 4) {
      passing_ = true;
      source_ = target_ = 0;
   }
   if (passing_)
      compactChunk();
}

/// Moves the live records of the next chunk. They never overtake one another.
void RecordStore::compactChunk() {
   const std::size_t end = chunks_[source_].size();
   std::size_t to = source_ == target_ ? 0 : chunks_[target_].size();
   for (std::size_t from = 0; from <= end;) {
      const auto fromRef = static_cast<Ref>((source_ << chunkBits) + from);
      if (from < end && source_ != target_ && !at(fromRef).dead && to + at(fromRef).room() > chunkSize) {
         ++target_;
         to = 0;
         if (source_ != target_)
            chunks_[target_].reserve(chunkSize);
      }
      const auto toRef = static_cast<Ref>((target_ << chunkBits) + to);
      for (Cursor* cursor : cursors_)
         if (cursor->at_ == fromRef)
            cursor->at_ = toRef;
      if (from == end)
         break;
      Stored& stored = at(fromRef);
      const std::size_t room = stored.room();
      if (stored.dead) {
         dead_ -= room;
      } else {
         if (source_ != target_)
            chunks_[target_].resize(to + room);
         std::memmove(&chunks_[target_][to], &stored, room);
         moved(at(toRef), fromRef, toRef);
         to += room;
      }
      from += room;
   }
   if (source_ == target_)
      chunks_[source_].resize(to);
   else
      std::vector<U8>().swap(chunks_[source_]);
   if (++source_ == chunks_.size()) {
      chunks_.resize(target_ + 1);
      passing_ = false;
   }
}

void RecordStore::moved(Stored& stored, Ref from, Ref to) {
   if (from == to)
      return;
   index_.replace(stored.hash, from, to);
   if (stored.previous != none)
      at(stored.previous).next = to;
   else
      knownSlot(holderOf(stored)).first = to;
   if (stored.next != none)
      at(stored.next).previous = to;
   if (static_cast<RecordOp>(stored.bytes()[0]) == RecordOp::member)
      knownSlot(Vok::NboAttrLog::Reader(stored.bytes() + 1, sizeof(EntityNumber)).u32()).member = to;
}

// -------------------------------------------------------------------------------------------------------------
// cursors

RecordStore::Cursor::Cursor(RecordStore& store) : store_(store) {
   store_.cursors_.push_back(this);
}

RecordStore::Cursor::~Cursor() {
   std::erase(store_.cursors_, this);
}

bool RecordStore::Cursor::read(std::vector<U8>& records, std::size_t limit) {
   const std::size_t begin = records.size();
   for (;;) {
      const std::size_t chunk = at_ >> chunkBits;
      if (chunk >= store_.chunks_.size())
         return false;
      if ((at_ & (chunkSize - 1)) >= store_.chunks_[chunk].size()) {
         if (chunk + 1 == store_.chunks_.size())
            return false;
         at_ = static_cast<Ref>((chunk + 1) << chunkBits);
         continue;
      }
      if (records.size() - begin >= limit)
         return true;
      Stored& stored = store_.at(at_);
      if (!stored.dead)
         records.insert(records.end(), stored.bytes(), stored.bytes() + stored.size);
      at_ += static_cast<Ref>(stored.room());
   }
}

bool RecordStore::Cursor::concerns(const Record& record) const {
   if (record.op == RecordOp::member)
      return false;
   const Slot* slot = store_.slot(record.entity);
   return slot && slot->used && (slot->member == none || slot->member < at_);
}

} // namespace Hubdb
