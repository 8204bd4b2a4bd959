#pragma once

#include "Pooltab/Index.h"
#include "Pooltab/RowsReader.h"
#include "Pooltab/Status.h"
#include "Pooltab/TableStore.h"

namespace Pooltab {

class TableView;

/// Is told what happens to a table, from inside PoolReader::deliver().
class TableListener {
  public:
   virtual ~TableListener() = default;
   /// A row was written or deleted. It may have changed again since: read it by its key.
   virtual void onChange(TableView& table, const Change& change) = 0;
   /// Everything in the table may have changed: changes were lost, or another writer or file took over.
   virtual void onCollection(TableView& table) = 0;
   virtual void onMountStatus(TableView& table) = 0;
};

/// A table as a reader of another process sees it, at the level of packed bytes. The typed face is
/// TableReader.
///
/// Unmounted, it reads as empty. Mounted, it gives rows that were in the table at some moment during the
/// call.
class TableView {
  public:
   TableView(std::shared_ptr<const Folder> folder, const std::string& name, const RowShape& shape);
   TableView(const TableView&) = delete;

   const std::string& name() const { return name_; }
   const RowShape& shape() const { return shape_; }
   MountStatus mountStatus() const { return status_; }
   /// Why the status is not `mounted`; empty when it is.
   const std::string& mountText() const { return statusText_; }
   bool isMounted() const { return status_ == MountStatus::mounted; }

   /// Mounts the table if it can be mounted now, and again if another file has taken its place. Returns true
   /// when the status changed or the rows are another table's now.
   bool refresh();
   /// Another file has taken its place, or none: the next refresh() looks.
   void replaced() { isReplaced_ = true; }

   /// Whoever wants to hear of changes; null for nobody. Not owned.
   void listenerIs(TableListener* listener) { listener_ = listener; }
   TableListener* listener() const { return listener_; }
   /// Tells the listener of a change. Until it returns, findTold() knows the slot that the change names.
   void tell(const Change& change);

   /// 0 while unmounted. Tags are to be computed with it.
   U64 seed() const { return rows_.seed(); }
   U64 size() const { return isMounted() ? loadRelaxed(rows_.header().rows) : 0; }
   U64 changeCounter() const { return isMounted() ? loadRelaxed(rows_.header().changes) : 0; }
   /// Fills in what the table knows of itself.
   void statistics(TableStatistics& statistics) const;

   /// Copies the row under a key; false when there is none. Raises Vok::CorruptionDetectedError.
   /// `fixedWords` as for walk().
   template <unsigned fixedWords, U32 keyBytes>
   bool find(const PackedKey& key, RowCopy& row) const {
      // Most lookups find their row at the first look.
      const U32 slot = findSlot(key.tag);
      return (slot != noSlot && findAt<fixedWords, keyBytes>(slot, key.words, row)) ||
             findBesideWriter(key, row);
   }
   /// Copies the row in a slot if it is that key's; findSlot says where it should be. False says nothing
   /// about the row. `fixedWords` as for walk().
   template <unsigned fixedWords, U32 keyBytes>
   bool findAt(U32 slot, const Word* key, RowCopy& row) const {
      return isMounted() && rows_.fetch<fixedWords>(slot, row) == Fetch::row &&
             sameBytes(row.payload, key, keyBytes);
   }
   /// The same where a change says, while the listener is told of a change of this very key. It takes neither
   /// a hash nor a look at the index.
   template <unsigned fixedWords, U32 keyBytes>
   bool findTold(const Word* key, RowCopy& row) const {
      return told_ && sameBytes(told_->key, key, keyBytes) &&
             findAt<fixedWords, keyBytes>(told_->slot, key, row);
   }
   /// The first row at or after `slot`, in slot order; sets `slot` to where the walk goes on. Rows that stand
   /// throughout the walk come once; one whose size class changes meanwhile may come twice or not at all, and
   /// the log tells of it. Raises Vok::CorruptionDetectedError; `slot` then stands behind the place.
   /// `fixedWords`: how many words each row has, where that is known; 0 where rows vary.
   template <unsigned fixedWords = 0>
   bool walk(U64& slot, RowCopy& row) const {
      return isMounted() && rows_.walk<fixedWords>(slot, row);
   }

   /// For lookups in batches: the index of several keys first, then the slots their tags name, then the rows.
   void prefetchIndex(U32 tag) const { index_.prefetch(tag); }
   U32 findSlot(U32 tag) const {
      U64 end;
      U32 found = noSlot;
      if (index_)
         index_.probe(tag, end, [&](U32 slot, U64) {
            found = slot;
            return true;
         });
      return found;
   }
   void prefetchRow(U32 slot) const { rows_.prefetch(slot); }
   /// False while the table is so small that prefetching costs more than it saves.
   bool isWorthPrefetching() const { return index_.capacity() >= prefetchFrom; }

   static constexpr U32 noSlot = ~U32{0};

  private:
   static constexpr U64 prefetchFrom = 16384;

   bool findBesideWriter(const PackedKey& key, RowCopy& row) const;
   enum class Look { row, absent, again };
   Look look(const PackedKey& key, RowCopy& row, U64& length) const;
   bool indexIsCurrent() const;
   void mountIndex() const;
   void statusIs(MountStatus status, const std::string& text);

   std::shared_ptr<const Folder> folder_;
   std::string name_;
   RowShape shape_;
   MountStatus status_ = MountStatus::unmounted;
   std::string statusText_;
   bool isReplaced_ = false;
   TableListener* listener_ = nullptr;
   const Change* told_ = nullptr; ///< while its listener is told
   RowsReader rows_;
   mutable IndexReader index_; ///< follows the writer's; a cache of what the file says
};

} // namespace Pooltab
