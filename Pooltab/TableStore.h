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

/// Where a key stands in the index of its table, or would stand.
struct Place {
   U64 moves = ~U64{0}; ///< how often entries had moved by then; never at first
   U64 position = 0;    ///< of the entry, or the empty place for it
   U32 slot = 0;
   bool found = false;
};

/// A packed key and its tag.
struct PackedKey {
   U32 tag;
   const Word* words;      ///< what stands behind the last byte of the key is ignored
   Place* place = nullptr; ///< what a writer's caller knows of the key, kept up to date; readers have none
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

   /// For callers that know what they will touch next: first the index of several keys, then their rows. A
   /// key that has no row has its place looked up by the latter.
   void prefetchIndex(U32 tag) const { index_.prefetchToWrite(tag); }
   void prefetchRow(const PackedKey& key) const;

   /// True for the key that the last probe did not find, with its tag and place: whoever asks for a key in
   /// order to write it when it is not there need not compute and probe twice.
   bool recall(const Word* key, U32& tag, Place& place) const {
      if (missed_.moves != moves_ || index_.entry(missed_.position) != 0 ||
          !sameBytes(missed_.key.data(), key, rows_.shape().keyBytes))
         return false;
      tag = missed_.tag;
      place.moves = moves_;
      place.position = missed_.position;
      place.found = false;
      return true;
   }

   /// True when the group of neighbours comes right behind one that was worked on lately: the old rows and
   /// the new ones of a table that is rewritten in order are two such sequences.
   bool isNextGroup(U32 group) {
      for (U32& last : groups_)
         if (last == group || last + 1 == group)
            return std::exchange(last, group) != group;
      groups_[oldestGroup_++ % groups_.size()] = group;
      return false;
   }

  private:
   /// Whether a place still says where its key stands. Inserts move nothing, but may take an empty place.
   bool isGood(const Place& place) const {
      return place.moves == moves_ && (place.found || index_.entry(place.position) == 0);
   }
   const Place& locate(const PackedKey& key) const {
      if (!isGood(*key.place))
         search(key);
      return *key.place;
   }
   void search(const PackedKey& key) const;
   bool putAt(const Place& place, const PackedKey& key, const PackedRow& row);
   void make(const RowShape& shape, U64 oldGeneration);
   bool takeOver(const RowShape& shape, U64& oldGeneration);
   void insert(U64 position, const PackedKey& key, const PackedRow& row);
   void overwrite(const Place& place, const PackedKey& key, const PackedRow& row);
   void move(const Place& place, const PackedKey& key, const PackedRow& row);
   void growIndex();
   U64 sumWith(U32 added, U32 removed) const { return sum_ + added - removed; }

   /// What the last probe that found nothing was for, and where it ended. Not a Place, which would be copied
   /// whole: what was stored in pieces a moment ago can be loaded whole only when those stores are through.
   struct Missed {
      U32 tag = 0;
      U64 moves = ~U64{0};
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
   U64 moves_ = 0; ///< raised whenever an entry of the index moves or changes its slot
   std::array<U32, 4> groups_{};
   unsigned oldestGroup_ = 0;
   mutable Missed missed_;
};

} // namespace Pooltab
