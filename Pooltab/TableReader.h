#pragma once

#include "Pooltab/PoolReader.h"
#include "Pooltab/RowPacking.h"
#include "Pooltab/TableWalk.h"

#include <optional>
#include <span>

/// A table of rows in the eyes of a reader. A light handle: copy it as you like; the pool must outlive it.
///
///    Pooltab::PoolReader pool(Pooltab::sharedFolder("mpls"));
///    Pooltab::TableReader<Mpls::LfibRoute> routes(pool, "lfibRoute");
///    if (auto route = routes.find(key)) ...
///
/// A table that is not mounted reads as empty; mountStatus() says why. All lookups raise
/// Vok::CorruptionDetectedError when they meet bytes that no writer left.

namespace Pooltab {

template <class Row>
class TableReader {
  public:
   using Key = typename Row::Key;

   TableReader(PoolReader& pool, const std::string& name)
       : pool_(&pool), view_(&pool.view(name, shapeOf<Row>())) {}

   bool find(const Key& key, Row& row) const {
      RowCopy copy;
      return find(Packed<Key>(key), copy) && load(copy, key, row);
   }
   std::optional<Row> find(const Key& key) const {
      std::optional<Row> row(std::in_place);
      if (!find(key, *row))
         row.reset();
      return row;
   }
   /// The row, or a default one.
   Row lookup(const Key& key) const { return find(key).value_or(Row()); }
   bool has(const Key& key) const {
      RowCopy copy;
      return find(Packed<Key>(key), copy);
   }

   /// Looks up many keys, several times as fast as one by one in a large table: the cache misses of a group
   /// run side by side. Calls visit(number of the key, row) for each row that is there; returns how many.
   template <class Visit>
   std::size_t findAll(std::span<const Key> keys, Visit&& visit) const;

   /// The first row at or after `slot`, in slot order; sets `slot` to where the walk goes on. Start at 0. See
   /// TableView::walk for what a walk promises while the table changes.
   bool walk(U64& slot, Row& row) const {
      RowCopy copy;
      return view_->walk<fixedWords>(slot, copy) && load(copy, row);
   }
   /// The same with the number of the change that wrote the row: what is above PoolReader::position() has not
   /// been delivered yet.
   bool walk(U64& slot, Row& row, U64& version) const {
      RowCopy copy;
      const bool more = view_->walk<fixedWords>(slot, copy) && load(copy, row);
      version = more ? copy.version() : 0;
      return more;
   }
   /// The number of the change that wrote the row; 0 when there is none.
   U64 version(const Key& key) const {
      RowCopy copy;
      return find(Packed<Key>(key), copy) ? copy.version() : 0;
   }
   TableWalk<TableReader> begin() const { return TableWalk<TableReader>(*this); }
   std::default_sentinel_t end() const { return {}; }

   U64 size() const { return view_->size(); }
   U64 changeCounter() const { return view_->changeCounter(); }
   MountStatus mountStatus() const { return view_->mountStatus(); }
   const std::string& mountText() const { return view_->mountText(); }
   TableStatistics statistics() const { return pool_->statistics(*view_); }
   TableView& view() const { return *view_; }

  private:
   static constexpr std::size_t group = 16;
   static constexpr U32 keyBytes = Vok::rowBytesMax<Key>;
   static constexpr unsigned fixedWords = Vok::rowIsVariable<Row> ? 0 : wordsFor(Vok::rowBytesMax<Row>);

   bool find(const Packed<Key>& key, RowCopy& row) const {
      return view_->findTold<fixedWords, keyBytes>(key.words(), row) ||
             view_->find<fixedWords, keyBytes>({tagOf<Key>(key.words(), view_->seed()), key.words()}, row);
   }
   bool load(const RowCopy& copy, Row& row) const {
      return Vok::rowLoad(row, copy.payload, copy.bytes) || notValid(copy);
   }
   /// Of a row that was found by its key.
   bool load(const RowCopy& copy, const Key& key, Row& row) const {
      return Vok::rowLoad(row, key, copy.payload, copy.bytes) || notValid(copy);
   }
   [[noreturn]] bool notValid(const RowCopy& copy) const {
      throw Vok::CorruptionDetectedError(view_->name() + ": slot " + std::to_string(copy.slot) +
                                         ": the bytes are not a valid row");
   }

   PoolReader* pool_;
   TableView* view_;
};

template <class Row>
template <class Visit>
std::size_t TableReader<Row>::findAll(std::span<const Key> keys, Visit&& visit) const {
   if (!view_->isMounted())
      return 0;
   const bool ahead = view_->isWorthPrefetching();
   constexpr unsigned keyWords = wordsFor(keyBytes);
   std::array<std::array<Word, keyWords>, group> packed;
   std::array<U32, group> tag, slot;
   RowCopy copy;
   Row row;
   std::size_t found = 0;
   for (std::size_t start = 0; start < keys.size(); start += group) {
      const std::size_t count = std::min(group, keys.size() - start);
      for (std::size_t i = 0; i < count; ++i) {
         Vok::rowStore(keys[start + i], packed[i].data());
         tag[i] = tagOf<Key>(packed[i].data(), view_->seed());
         slot[i] = TableView::noSlot;
         if (ahead)
            view_->prefetchIndex(tag[i]);
      }
      for (std::size_t i = 0; ahead && i < count; ++i)
         if ((slot[i] = view_->findSlot(tag[i])) != TableView::noSlot)
            view_->prefetchRow(slot[i]);
      for (std::size_t i = 0; i < count; ++i) {
         const Word* const key = packed[i].data();
         const bool isAt =
             slot[i] != TableView::noSlot && view_->findAt<fixedWords, keyBytes>(slot[i], key, copy);
         if (isAt || view_->find<fixedWords, keyBytes>({tag[i], key}, copy)) {
            load(copy, keys[start + i], row);
            ++found;
            visit(start + i, row);
         }
      }
   }
   return found;
}

} // namespace Pooltab
