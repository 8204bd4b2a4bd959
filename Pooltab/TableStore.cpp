#include "Pooltab/TableStore.h"

#include "Pooltab/Adoption.h"
#include "Pooltab/Preamble.h"
#include "Pooltab/Status.h"

#include <cstring>
#include <random>

namespace Pooltab {

namespace {

U64 freshSeed() {
   std::random_device source;
   return U64{source()} << 32 | source() | 1;
}

} // namespace

TableStore::TableStore(std::shared_ptr<Folder> folder, const std::string& name, const RowShape& shape,
                       U8 number, ChangeLogWriter& log, U64 epoch)
    : folder_(std::move(folder)), name_(name), number_(number), log_(&log) {
   U64 oldGeneration = 0;
   if (!takeOver(shape, oldGeneration))
      make(shape, oldGeneration);
   storeRelease(rows_.header().preamble.epoch, epoch);
   seed_ = rows_.seed();
   count_ = loadRelaxed(rows_.header().rows);
   sum_ = loadRelaxed(rows_.header().sum);
   changes_ = loadRelaxed(rows_.header().changes);
   for (const std::string& file : folder_->names()) {
      const bool ours = file.starts_with(name_ + ".index.");
      if (ours && file != indexFileName(name_, index_.generation()))
         folder_->remove(file);
   }
}

bool TableStore::takeOver(const RowShape& shape, U64& oldGeneration) {
   try {
      rows_ = RowsWriter::adopt(*folder_, name_, shape);
      if (!rows_)
         return false;
      oldGeneration = rows_.header().indexGeneration;
      checkFingerprint(rows_.header().preamble, shape.fingerprint, rows_.what());
   } catch (const MountError& error) {
      if (error.status() != MountStatus::fingerprintMismatch &&
          error.status() != MountStatus::versionMismatch)
         throw;
      return false; // rows of another declaration cannot be kept: a new table takes the place of the old
   }
   index_ = IndexWriter::adopt(*folder_, name_, oldGeneration, rows_.seed());
   space_.emplace(Adoption(rows_, index_).finish());
   return true;
}

void TableStore::make(const RowShape& shape, U64 oldGeneration) {
   rows_ = RowsWriter(*folder_, name_, shape, freshSeed());
   const U64 generation = oldGeneration + 1;
   index_ = IndexWriter(*folder_, name_, rows_.header().preamble, generation, indexBitsMin);
   rows_.header().indexGeneration = generation;
   folder_->publish(indexFileName(name_, generation));
   retireFile(*folder_, name_ + ".rows");
   folder_->publish(name_ + ".rows");
   space_.emplace(rows_);
}

void TableStore::search(const PackedKey& key) const {
   const U32 keyBytes = shape().keyBytes;
   U64 end;
   U32 last = 0;
   const bool found = index_.probe(key.tag, end, [&](U32 slot, U64) {
      last = slot;
      return sameBytes(rows_.payload(slot), key.words, keyBytes);
   });
   *key.place = Place{moves_, end, last, found};
   if (found || keyBytes > sizeof missed_.key)
      return;
   missed_.tag = key.tag;
   missed_.moves = moves_;
   missed_.position = end;
   std::copy_n(key.words, wordsFor(keyBytes), missed_.key.data());
}

std::optional<PackedRow> TableStore::find(const PackedKey& key) const {
   const Place& place = locate(key);
   if (!place.found)
      return std::nullopt;
   return PackedRow{stampBytes(loadRelaxed(rows_.head(place.slot).stamp)), rows_.payload(place.slot)};
}

std::optional<PackedRow> TableStore::walk(U64& slot) const {
   while (slot < space_->tail()) {
      const auto at = static_cast<U32>(slot);
      const Word stamp = loadRelaxed(rows_.head(at).stamp);
      slot += rows_.blockBytesAt(at) / granuleBytes;
      if (stampVersion(stamp))
         return PackedRow{stampBytes(stamp), rows_.payload(at)};
   }
   return std::nullopt;
}

void TableStore::prefetchRow(const PackedKey& key) const {
   U64 end;
   const bool perhaps = index_.probe(key.tag, end, [&](U32 slot, U64) {
      const Word* row = rows_.payload(slot);
      __builtin_prefetch(row, 1);
      __builtin_prefetch(row + 8, 1);
      return true;
   });
   if (!perhaps)
      *key.place = Place{moves_, end, 0, false};
}

bool TableStore::put(const PackedKey& key, const PackedRow& row) {
   return putAt(locate(key), key, row);
}

bool TableStore::putIfChanged(const PackedKey& key, const PackedRow& row) {
   const Place& place = locate(key);
   if (place.found && stampBytes(loadRelaxed(rows_.head(place.slot).stamp)) == row.bytes &&
       std::memcmp(rows_.payload(place.slot), row.words, row.bytes) == 0)
      return false;
   putAt(place, key, row);
   return true;
}

bool TableStore::putAt(const Place& place, const PackedKey& key, const PackedRow& row) {
   storeRelease(rows_.header().changes, ++changes_);
   if (!place.found) {
      insert(place.position, key, row);
      return true;
   }
   const U32 bytesNow = stampBytes(loadRelaxed(rows_.head(place.slot).stamp));
   if (shape().blockBytes(bytesNow) == shape().blockBytes(row.bytes))
      overwrite(place, key, row);
   else
      move(place, key, row);
   return false;
}

void TableStore::insert(U64 position, const PackedKey& key, const PackedRow& row) {
   while (index_.isFull(count_, position)) {
      growIndex();
      position = locate(key).position;
   }
   const U32 slot = space_->allocate(shape().blockBytes(row.bytes));
   const Word stamp = stampOf(log_->next(), row.bytes);
   const U32 checksum = rows_.checksum(slot, stamp, row);
   rows_.stepIs(Step::insert, slot, slot, count_ + 1, sumWith(checksum, 0));
   rows_.place(slot, stamp, row, checksum);
   // Partner: the walks of readers, which stop at the tail.
   storeRelease(rows_.header().tail, space_->tail());
   index_.insert(position, key.tag, slot);
   rows_.stepDone(++count_, sum_ = sumWith(checksum, 0));
   log_->append(number_, Operation::set, slot, key.words, static_cast<U16>(shape().keyBytes));
}

void TableStore::overwrite(const Place& place, const PackedKey& key, const PackedRow& row) {
   const U32 slot = place.slot;
   const Word stamp = stampOf(log_->next(), row.bytes);
   const U32 checksum = rows_.checksum(slot, stamp, row);
   const U64 sum = sumWith(checksum, guardChecksum(loadRelaxed(rows_.head(slot).guard)));
   rows_.journalIs(slot, stamp, row, checksum);
   rows_.stepIs(Step::overwrite, slot, slot, count_, sum);
   rows_.overwrite(slot, stamp, row, checksum);
   rows_.stepDone(count_, sum_ = sum);
   log_->append(number_, Operation::set, slot, key.words, static_cast<U16>(shape().keyBytes));
}

void TableStore::move(const Place& place, const PackedKey& key, const PackedRow& row) {
   const U32 slot = space_->allocate(shape().blockBytes(row.bytes));
   const U32 oldBytes = rows_.blockBytesAt(place.slot);
   const Word stamp = stampOf(log_->next(), row.bytes);
   const U32 checksum = rows_.checksum(slot, stamp, row);
   const U64 sum = sumWith(checksum, guardChecksum(loadRelaxed(rows_.head(place.slot).guard)));
   rows_.stepIs(Step::move, slot, place.slot, count_, sum);
   rows_.place(slot, stamp, row, checksum);
   storeRelease(rows_.header().tail, space_->tail());
   index_.replace(place.position, key.tag, slot);
   ++moves_;
   rows_.clear(place.slot, oldBytes);
   rows_.stepDone(count_, sum_ = sum);
   space_->free(place.slot, oldBytes);
   log_->append(number_, Operation::set, slot, key.words, static_cast<U16>(shape().keyBytes));
}

bool TableStore::erase(const PackedKey& key) {
   const Place place = locate(key);
   if (!place.found)
      return false;
   storeRelease(rows_.header().changes, ++changes_);
   const U32 slot = place.slot;
   const U32 bytes = rows_.blockBytesAt(slot);
   const U64 sum = sumWith(0, guardChecksum(loadRelaxed(rows_.head(slot).guard)));
   rows_.stepIs(Step::erase, slot, slot, count_ - 1, sum);
   index_.erase(place.position);
   ++moves_;
   rows_.clear(slot, bytes);
   rows_.stepDone(--count_, sum_ = sum);
   space_->free(slot, bytes);
   log_->append(number_, Operation::del, slot, key.words, static_cast<U16>(shape().keyBytes));
   return true;
}

void TableStore::growIndex() {
   ++moves_;
   const U64 old = index_.generation();
   const std::string what = folder_->where() + "/" + name_;
   if (index_.bits() == indexBitsMax)
      throw Vok::Error(what + ": the index has reached its largest size");
   IndexWriter larger(*folder_, name_, rows_.header().preamble, old + 1, index_.bits() + 1);
   if (!larger.fill(index_))
      throw Vok::CorruptionDetectedError(what +
                                         ": the index has entries where none can be (remove the pool's "
                                         "directory to start afresh)");
   folder_->publish(indexFileName(name_, old + 1));
   // Partner: TableView, which maps the new index when its miss finds the generation changed. The old file
   // lives on for those who have it mapped; what they find there is checked against the rows.
   storeRelease(rows_.header().indexGeneration, old + 1);
   index_ = std::move(larger);
   folder_->remove(indexFileName(name_, old));
}

} // namespace Pooltab
