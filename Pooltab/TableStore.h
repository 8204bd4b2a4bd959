#pragma once

#include "Pooltab/ChangeLog.h"
#include "Pooltab/Index.h"
#include "Pooltab/RowsWriter.h"
#include "Pooltab/Space.h"

#include <array>
#include <optional>

/// A table in the hands of its writer, at the level of packed bytes. The typed face is TableWriter.
///
/// Every change is one row: the change counter goes up, the step is announced to whoever may have to finish
/// it, the row is written, one store publishes it, the change is noted in the log.

namespace Pooltab {

/// A packed key and its tag.
struct PackedKey {
   U32 tag;
   const Word* words;       ///< what stands behind the last byte of the key is ignored
   bool wasMissing = false; ///< the key that the last probe did not find
};

class TableStore {
  public:
   /// Takes the table over from an earlier writer, or makes it when there is none or its rows are declared
   /// otherwise. Raises Vok::CorruptionDetectedError for a table that no writer left behind, Vok::Error when
   /// it cannot be made.
   TableStore(std::shared_ptr<Folder> folder, const std::string& name, const RowShape& shape, U8 number,
              ChangeLogWriter& log, U64 epoch);
   TableStore(const TableStore&) = delete;

   const std::string& name() const { return name_; }
   const RowShape& shape() const { return rows_.shape(); }
   U64 seed() const { return seed_; }
   U64 size() const { return count_; }
   U64 changeCounter() const { return changes_; }
   U64 bytes() const { return rows_.bytes() + index_.bytes(); }
   U64 capacity() const { return index_.limit(); }
   U64 freeBytes() const { return space_->freeBytes(); }

   /// Inserts or overwrites. Returns true when the row is new. Raises Vok::Error when the memory is full; the
   /// table is as before then.
   bool put(const PackedKey& key, const PackedRow& row);
   /// The same unless the very bytes stand there already. Returns true when it wrote.
   bool putIfChanged(const PackedKey& key, const PackedRow& row);
   /// Returns false when there is no such row.
   bool erase(const PackedKey& key);

   /// The row under a key; good until the next change.
   std::optional<PackedRow> find(const PackedKey& key) const;
   /// The first row at or after `slot`, in slot order; sets `slot` to where the walk goes on. The table may
   /// change between two calls.
   std::optional<PackedRow> walk(U64& slot) const;

   /// For callers that know what they will touch next: first the index of several keys, then their rows.
   void prefetchIndex(U32 tag) const { index_.prefetch(tag); }
   void prefetchRow(U32 tag) const;

   /// True for the key that the last probe did not find, if the index has not changed since: whoever asks for
   /// a key in order to write it when it is not there need not compute and probe twice.
   bool wasMissing(const Word* key) const {
      return missed_.known && sameBytes(missed_.key.data(), key, rows_.shape().keyBytes);
   }
   U32 missingTag() const { return missed_.tag; }

   /// True when the tag is of another group of eight neighbours than that of the call before.
   bool isNewGroup(U32 tag) { return std::exchange(group_, tag >> 3) != tag >> 3; }

   /// Marks the files as replaced, for readers that have them mapped.
   void retire() { storeRelease(rows_.header().preamble.retired, 1); }

  private:
   struct Place {
      bool found;
      U64 position; ///< in the index: of the entry, or the empty place for it
      U32 slot;
   };
   Place locate(const PackedKey& key) const;
   bool putAt(const Place& place, const PackedKey& key, const PackedRow& row);
   void make(const RowShape& shape, U64 oldGeneration);
   bool takeOver(const RowShape& shape, U64& oldGeneration);
   void insert(U64 position, const PackedKey& key, const PackedRow& row);
   void overwrite(const Place& place, const PackedKey& key, const PackedRow& row);
   void move(const Place& place, const PackedKey& key, const PackedRow& row);
   void growIndex();
   U64 sumWith(U32 added, U32 removed) const { return sum_ + added - removed; }

   /// What the last probe that found nothing was for, and where it ended.
   struct Missed {
      bool known = false;
      U32 tag = 0;
      U64 position = 0;
      std::array<Word, 8> key{};
   };

   std::shared_ptr<Folder> folder_;
   std::string name_;
   U8 number_;
   ChangeLogWriter* log_;
   RowsWriter rows_;
   IndexWriter index_;
   std::optional<Space> space_;
   // The header's numbers, in private memory.
   U64 seed_ = 0;
   U64 count_ = 0;
   U64 sum_ = 0;
   U64 changes_ = 0;
   U32 group_ = 0;
   mutable Missed missed_;
};

} // namespace Pooltab
