#include "Hubdb/RecordStore.h"

#include "Vok/Errors.h"
#include "Vok/Hash.h"

#include <algorithm>
#include <cstring>
#include <random>

namespace Hubdb {

using Vok::U32;
using Vok::U64;
using Vok::U8;

namespace {

/// Where the number of the holder and that of the attribute stand, which follow each other in any record.
std::size_t holderOffset(RecordOp op) {
   return op == RecordOp::member ? 5 : 1;
}
constexpr std::size_t holderSize = sizeof(EntityNumber) + sizeof(Vok::AttrId);

/// Different in every process, so that nobody can prepare records that all fall on one place.
const U64 seed = std::random_device()() | U64(std::random_device()()) << 32;

U32 hashOf(const Record& record, Bytes key) {
   U64 holder = 0;
   std::memcpy(&holder, record.whole.data() + holderOffset(record.op), holderSize);
   Vok::Hash hash;
   hash.mix(holder ^ seed);
   hash.mix(key.data(), key.size());
   return hash.result();
}

/// Of what the whole key tells apart from others: anything but a member with several parameters.
U32 placeHash(const Record& record) {
   return record.op == RecordOp::gone ? 0 : hashOf(record, record.key);
}

} // namespace

RecordStore::RecordStore(RecordCheck& check, const Vok::EntityType& type) : check_(check) {
   newSlot(rootNumber) = {none, none, check.planOf(type), true};
}

RecordStore::~RecordStore() = default;

// -------------------------------------------------------------------------------------------------------------
// applying

void RecordStore::apply(const Record& record) {
   applyOne(record, placeHash(record));
}

void RecordStore::apply(Bytes batch, std::size_t& applied, const std::function<void(const Record&)>& before) {
   applied = 0;
   RecordsAhead<U32> records(batch);
   const auto first = [this](auto& entry) { entry.hint = fetchPlace(entry.record); };
   const auto second = [this](const auto& entry) { fetchStored(entry.hint); };
   while (const auto* entry = records.next(first, second)) {
      if (before)
         before(entry->record);
      applyOne(entry->record, entry->hint);
      applied += entry->record.whole.size();
   }
}

void RecordStore::applyOne(const Record& record, U32 hash) {
   if (record.op == RecordOp::gone) {
      if (record.entity == rootNumber)
         throw Vok::LogError("the root cannot go by a record");
      gone(record.entity);
   } else if (record.op == RecordOp::member) {
      memberApply(record);
   } else {
      entryApply(record, hash);
   }
   compact();
}

U32 RecordStore::fetchPlace(const Record& record) const {
   const U32 hash = placeHash(record);
   if (record.op == RecordOp::gone)
      return hash;
   if (const Slot* slot = this->slot(record.op == RecordOp::member ? record.parent : record.entity))
      __builtin_prefetch(slot);
   index_.fetch(hash);
   return hash;
}

void RecordStore::fetchStored(U32 hash) const {
   const Ref ref = index_.find(hash, [](Ref) { return true; });
   if (ref != none)
      __builtin_prefetch(&chunks_[ref >> chunkBits][ref & (chunkSize - 1)], 1);
}

/// set, put and erase. What tells entries of these apart is the whole key.
void RecordStore::entryApply(const Record& record, U32 hash) {
   Slot& holder = knownSlot(record.entity);
   const Bytes key = check_.check(holder.plan, record);
   const Ref found = find(hash, record, key);
   if (record.op == RecordOp::erase) {
      if (found != none)
         remove(found);
   } else if (found != none && at(found).size == record.whole.size()) {
      std::memcpy(at(found).bytes(), record.whole.data(), record.whole.size());
   } else {
      roomCheck(record.whole.size());
      if (found != none)
         remove(found);
      append(holder, hash, record);
   }
}

void RecordStore::memberApply(const Record& record) {
   Slot& parent = knownSlot(record.parent);
   const Bytes key = check_.check(parent.plan, record);
   if (const Slot* taken = slot(record.entity); taken && taken->used)
      throw Vok::LogError("entity " + std::to_string(record.entity) + " is there already");
   const U32 hash = hashOf(record, key);
   if (find(hash, record, key) != none)
      throw Vok::LogError(check_.attributeName(parent.plan, record.attr) +
                          " has an entity under this key already");
   roomCheck(record.whole.size());
   Slot& made = newSlot(record.entity);
   made = {append(parent, hash, record), none, check_.planBelow(parent.plan, record.attr), true};
   ++entities_;
}

void RecordStore::gone(EntityNumber entity) {
   remove(knownSlot(entity).member);
   going_.assign(1, entity);
   while (!going_.empty()) {
      Slot& slot = knownSlot(going_.back());
      going_.pop_back();
      for (Ref ref = slot.first; ref != none;) {
         Stored& stored = at(ref);
         if (static_cast<RecordOp>(stored.bytes()[0]) == RecordOp::member)
            going_.push_back(Vok::NboAttrLog::Reader(stored.bytes() + 1, sizeof(EntityNumber)).u32());
         const Ref next = stored.next;
         markDead(stored, ref);
         ref = next;
      }
      slot = {};
      --entities_;
   }
}

RecordStore::Ref RecordStore::find(U32 hash, const Record& record, Bytes key) {
   const U8* holder = record.whole.data() + holderOffset(record.op);
   return index_.find(hash, [&](Ref ref) {
      Stored& stored = at(ref);
      const auto op = static_cast<RecordOp>(stored.bytes()[0]);
      const U8* other = stored.bytes() + holderOffset(op);
      if (std::memcmp(other, holder, holderSize) != 0)
         return false;
      if (op == RecordOp::set || key.empty())
         return true;
      // Log forms tell their own length, so that equal beginnings of one type are equal keys.
      const U8* otherKey = other + holderSize + sizeof(Vok::U16);
      const auto left = static_cast<std::size_t>(stored.bytes() + stored.size - otherKey);
      return left >= key.size() && std::memcmp(otherKey, key.data(), key.size()) == 0;
   });
}

void RecordStore::roomCheck(std::size_t bytes) const {
   const bool fits = !chunks_.empty() && chunks_.back().size() + sizeof(Stored) + bytes + 3 <= chunkSize;
   if (!fits && chunks_.size() == maxChunks)
      throw Vok::RangeError("one root can have " + std::to_string(maxChunks * chunkSize >> 20) +
                            " MiB of records; this one would have more");
}

RecordStore::Ref RecordStore::append(Slot& holder, U32 hash, const Record& record) {
   Stored head{hash, none, holder.first, static_cast<U32>(record.whole.size()), 0};
   if (chunks_.empty() || chunks_.back().size() + head.room() > chunkSize) {
      chunks_.emplace_back();
      if (chunks_.size() > 1) // a small root does not pay for a whole chunk
         chunks_.back().reserve(chunkSize);
   }
   std::vector<U8>& chunk = chunks_.back();
   const auto ref = static_cast<Ref>((chunks_.size() - 1) << chunkBits | chunk.size());
   chunk.resize(chunk.size() + head.room());
   Stored& stored = at(ref);
   stored = head;
   std::memcpy(stored.bytes(), record.whole.data(), record.whole.size());
   if (holder.first != none)
      at(holder.first).previous = ref;
   holder.first = ref;
   index_.add(hash, ref);
   live_ += head.room();
   changed_ += head.room();
   return ref;
}

void RecordStore::remove(Ref ref) {
   Stored& stored = at(ref);
   if (stored.previous != none)
      at(stored.previous).next = stored.next;
   else
      knownSlot(holderOf(stored)).first = stored.next;
   if (stored.next != none)
      at(stored.next).previous = stored.previous;
   markDead(stored, ref);
}

void RecordStore::markDead(Stored& stored, Ref ref) {
   index_.del(stored.hash, ref);
   stored.dead = 1;
   live_ -= stored.room();
   dead_ += stored.room();
   changed_ += stored.room();
}

// -------------------------------------------------------------------------------------------------------------
// entities

EntityNumber RecordStore::holderOf(Stored& stored) {
   const U8* bytes = stored.bytes();
   return Vok::NboAttrLog::Reader(bytes + holderOffset(static_cast<RecordOp>(bytes[0])), sizeof(EntityNumber))
       .u32();
}

RecordStore::Slot* RecordStore::slot(EntityNumber entity) const {
   const std::size_t page = entity / slotsPerPage;
   return page < pages_.size() && pages_[page] ? &(*pages_[page])[entity % slotsPerPage] : nullptr;
}

RecordStore::Slot& RecordStore::knownSlot(EntityNumber entity) const {
   Slot* found = slot(entity);
   if (!found || !found->used)
      throw Vok::LogError("there is no entity " + std::to_string(entity));
   return *found;
}

RecordStore::Slot& RecordStore::newSlot(EntityNumber entity) {
   if (entity >= maxEntities)
      throw Vok::RangeError("entity number " + std::to_string(entity) + "; they are less than " +
                            std::to_string(maxEntities));
   const std::size_t page = entity / slotsPerPage;
   if (page >= pages_.size())
      pages_.resize(page + 1);
   if (!pages_[page])
      pages_[page] = std::make_unique<Page>();
   return (*pages_[page])[entity % slotsPerPage];
}

std::size_t RecordStore::memory() const {
   std::size_t bytes = sizeof *this + index_.memory() + pages_.capacity() * sizeof(pages_[0]);
   for (const auto& chunk : chunks_)
      bytes += chunk.capacity();
   for (const auto& page : pages_)
      bytes += page ? sizeof(Page) : 0;
   return bytes;
}

} // namespace Hubdb
