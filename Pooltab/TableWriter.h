#pragma once

#include "Pooltab/PoolWriter.h"
#include "Pooltab/Spot.h"
#include "Pooltab/TableWalk.h"

#include <array>
#include <optional>
#include <span>

/// A table of rows in the hands of its one writer. A light handle: copy it as you like; the pool must outlive
/// it.
///
///    Pooltab::PoolWriter pool(Pooltab::sharedFolder("mpls"));
///    Pooltab::TableWriter<Mpls::LfibRoute> routes(pool, "lfibRoute");
///    routes.is(route);
///    pool.flush(); // at the end of the turn: wakes the readers
///
/// Readers see each change whole, as soon as the call returns or earlier, in the order of the calls, across
/// all tables of the pool.

namespace Pooltab {

template <class Row>
class TableWriter {
  public:
   using Key = typename Row::Key;

   /// Raises Vok::Error or Vok::CorruptionDetectedError; see PoolWriter::store.
   TableWriter(PoolWriter& pool, const std::string& name)
       : pool_(&pool), store_(&pool.store(name, shapeOf<Row>())) {}

   /// A key for several of the calls below, each of which takes a key as well.
   Spot<Key> spot(const Key& key) const { return Spot<Key>(*store_, key); }

   /// Inserts or overwrites. Returns true when the key is new. Raises Vok::Error when the memory is full; the
   /// table is as before then.
   bool is(const Row& row) {
      const Packed<Row> packed(row);
      const bool inserted = store_->put(spot(row.rowKey()).packed(), packed.row());
      pool_->note();
      return inserted;
   }

   /// The same unless an equal row stands there. Returns true when it wrote.
   bool isIfChanged(const Row& row) { return isIfChanged(spot(row.rowKey()), row); }
   bool isIfChanged(const Spot<Key>& spot, const Row& row) {
      const Packed<Row> packed(row);
      const bool written = store_->putIfChanged(spot.packed(), packed.row());
      if (written)
         pool_->note();
      return written;
   }

   /// Writes rows in order; each is followed by written(row). What they will touch is fetched ahead, and
   /// readers are shown a few at a time.
   template <class Written>
   void is(std::span<const Row> rows, Written&& written);
   void is(std::span<const Row> rows) {
      is(rows, [](const Row&) {});
   }

   /// Returns false when there is no such row.
   bool del(const Key& key) { return del(spot(key)); }
   bool del(const Spot<Key>& spot) {
      const bool deleted = store_->erase(spot.packed());
      if (deleted)
         pool_->note();
      return deleted;
   }

   /// Deletes row by row, in slot order, each noted in the log.
   void delAll() {
      Row row;
      for (U64 slot = 0; walk(slot, row);)
         del(row.rowKey());
   }

   bool find(const Key& key, Row& row) const { return find(spot(key), row); }
   bool find(const Spot<Key>& spot, Row& row) const {
      const std::optional<PackedRow> found = peek(spot);
      return found && load(*found, row);
   }
   /// The row as it stands in the table; good until the next change.
   std::optional<PackedRow> peek(const Spot<Key>& spot) const { return store_->find(spot.packed()); }
   std::optional<Row> find(const Key& key) const {
      std::optional<Row> row(std::in_place);
      if (!find(key, *row))
         row.reset();
      return row;
   }
   /// The row, or a default one.
   Row lookup(const Key& key) const { return find(key).value_or(Row()); }
   bool has(const Key& key) const { return peek(spot(key)).has_value(); }

   /// The first row at or after `slot`, in slot order; sets `slot` to where the walk goes on. Start at 0. The
   /// table may change between two calls.
   bool walk(U64& slot, Row& row) const {
      const std::optional<PackedRow> found = store_->walk(slot);
      return found && load(*found, row);
   }
   TableWalk<TableWriter> begin() const { return TableWalk<TableWriter>(*this); }
   std::default_sentinel_t end() const { return {}; }

   /// For callers that know what they will touch next: has the index's lines come into the cache, and once
   /// they are there the rows'. A processor waits for about sixteen of them at the same time.
   void fetchIndex(std::span<const Spot<Key>> spots) const {
      for (const Spot<Key>& spot : spots)
         store_->prefetchIndex(spot.tag());
   }
   void fetchRows(std::span<const Spot<Key>> spots) const {
      for (const Spot<Key>& spot : spots)
         store_->prefetchRow(spot.packed());
   }

   U64 size() const { return store_->size(); }
   /// Raised before every write.
   U64 changeCounter() const { return store_->changeCounter(); }
   TableStatistics statistics() const { return pool_->statistics(*store_); }
   TableStore& store() const { return *store_; }

  private:
   bool load(const PackedRow& found, Row& row) const {
      if (Vok::rowLoad(row, found.words, found.bytes))
         return true;
      throw Vok::CorruptionDetectedError(store_->name() + ": a row's bytes are not a valid row");
   }

   PoolWriter* pool_;
   TableStore* store_;
};

template <class Row>
template <class Written>
void TableWriter<Row>::is(std::span<const Row> rows, Written&& written) {
   // While a row is written, the index line of one further ahead is on its way, and between them a row.
   constexpr std::size_t ahead = 8;
   std::array<std::optional<Spot<Key>>, 4 * ahead> ring;
   const auto spotOf = [&](std::size_t number) -> auto& {
      return ring[number % ring.size()];
   };
   for (std::size_t step = 0; step < rows.size() + 2 * ahead; ++step) {
      if (step < rows.size())
         store_->prefetchIndex(spotOf(step).emplace(*store_, rows[step].rowKey()).tag());
      if (const std::size_t next = step - ahead; step >= ahead && next < rows.size())
         store_->prefetchRow(spotOf(next)->packed());
      if (step < 2 * ahead)
         continue;
      const Row& row = rows[step - 2 * ahead];
      const Packed<Row> packed(row);
      store_->put(spotOf(step - 2 * ahead)->packed(), packed.row());
      if (step % ahead == 0)
         pool_->note();
      written(row);
   }
   pool_->note();
}

} // namespace Pooltab
