#pragma once

#include "Pooltab/CollectionControl.h"
#include "Pooltab/KnownKeys.h"
#include "Pooltab/TableReader.h"
#include "Pooltab/TableWriter.h"

/// What an entity's attribute `x : table<Row>` holds: unmounted, where it reads as empty; mounted as a writer
/// on a table in shared or private memory; or mounted as a reader.
///
/// A writer's collection notifies its entity from inside the mutator, after the row stands. A reader's
/// notifies from inside PoolReader::deliver(), key by key in the order of the change log, or of the whole
/// collection when changes were lost (see exactResyncIs). All reads raise Vok::CorruptionDetectedError when
/// they meet bytes that no writer left.

namespace Pooltab {

template <class Row>
class Collection final : public CollectionControl, private TableListener {
  public:
   using Key = typename Row::Key;

   Collection() = default;
   ~Collection() override { forget(); }

   // ---- reading ----

   bool find(const Key& key, Row& row) const {
      return writer_ ? writer_->find(key, row) : reader_ && reader_->find(key, row);
   }
   /// The row, or a default one.
   Row get(const Key& key) const {
      Row row;
      return find(key, row) ? row : Row();
   }
   bool has(const Key& key) const { return writer_ ? writer_->has(key) : reader_ && reader_->has(key); }
   U64 size() const { return writer_ ? writer_->size() : reader_ ? reader_->size() : 0; }
   /// Raised before every write.
   U64 changeCounter() const {
      return writer_ ? writer_->changeCounter() : reader_ ? reader_->changeCounter() : 0;
   }
   /// The first row at or after `slot`, in slot order; sets `slot` to where the walk goes on. Start at 0. The
   /// table may change between two calls.
   bool walk(U64& slot, Row& row) const {
      return writer_ ? writer_->walk(slot, row) : reader_ && reader_->walk(slot, row);
   }
   TableWalk<Collection> begin() const { return TableWalk<Collection>(*this); }
   std::default_sentinel_t end() const { return {}; }
   /// `for (const Row& row : status->xEach())`; keeps the entity alive meanwhile.
   auto each() const { return Vok::Each(owner(), *this); }

   // ---- writing; raises Vok::Error unless mounted as a writer ----

   /// Inserts or overwrites.
   void is(const Row& row) {
      writer().is(row);
      notifyKey(&row.rowKey());
   }
   /// The same for many rows, one after the other; faster, since what they will touch is fetched ahead.
   void is(std::span<const Row> rows) {
      writer().is(rows, [this](const Row& row) { notifyKey(&row.rowKey()); });
   }
   /// Inserts or overwrites unless an equal row stands there. Returns whether it wrote.
   bool commit(const Row& row) { return commit(spot(row.rowKey()), row); }
   /// Returns whether there was such a row. The key may stand in a row of this table.
   bool del(const Key& key) {
      const Key deleted = key;
      return del(spot(deleted), deleted);
   }
   /// A key for several calls to the collection of a writer: see Pooltab/Spot.h.
   Spot<Key> spot(const Key& key) { return writer().spot(key); }
   bool find(const Spot<Key>& spot, Row& row) const { return writer_ && writer_->find(spot, row); }
   bool commit(const Spot<Key>& spot, const Row& row) {
      const bool written = writer().isIfChanged(spot, row);
      if (written)
         notifyKey(&row.rowKey());
      return written;
   }
   /// `key` is the one that the spot was made of.
   bool del(const Spot<Key>& spot, const Key& key) {
      const bool deleted = writer().del(spot);
      if (deleted)
         notifyKey(&key);
      return deleted;
   }
   /// Deletes row by row, each notified.
   void delAll() {
      Row row;
      for (U64 slot = 0; writer().walk(slot, row);)
         del(row.rowKey());
   }

   // ---- the control attribute ----

   CollectionControl& control() { return *this; }
   const CollectionControl& control() const { return *this; }

   void mount(PoolWriter& pool, const std::string& table) override {
      TableWriter<Row> mounted(pool, table);
      forget();
      writer_ = mounted;
      announceMount();
   }
   void mount(PoolReader& pool, const std::string& table) override {
      forget();
      reader_.emplace(pool, table);
      reader_->view().listenerIs(this);
      if (known_)
         exactResyncIs(true);
      announceMount();
   }
   void unmount() override {
      if (!writer_ && !reader_)
         return;
      forget();
      announceMount();
   }
   void exactResyncIs(bool exact) override {
      known_.reset();
      if (!exact)
         return;
      known_ = std::make_unique<KnownKeys<Row>>();
      if (reader_)
         differences();
   }
   U32 keyBytes() const override { return Vok::packedSizeOf<Key>(); }
   MountStatus mountStatus() const override {
      return writer_ ? MountStatus::mounted : reader_ ? reader_->mountStatus() : MountStatus::unmounted;
   }
   std::string mountText() const override {
      return writer_ ? "" : reader_ ? reader_->mountText() : "no pool was given";
   }
   TableStatistics statistics() const override {
      return writer_ ? writer_->statistics() : reader_ ? reader_->statistics() : TableStatistics();
   }

   /// The table itself, for batches and prefetching; null unless mounted that way.
   const TableWriter<Row>* tableWriter() const { return writer_ ? &*writer_ : nullptr; }
   const TableReader<Row>* tableReader() const { return reader_ ? &*reader_ : nullptr; }

  private:
   TableWriter<Row>& writer() {
      if (!writer_)
         notWritable();
      return *writer_;
   }
   void forget() {
      if (reader_)
         reader_->view().listenerIs(nullptr);
      reader_.reset();
      writer_.reset();
      if (known_)
         *known_ = {};
   }
   void announceMount() const {
      notifyMountStatus();
      notifyCollection();
   }

   void onChange(TableView&, const Change& change) override {
      Key key;
      if (!Vok::rowLoad(key, change.key, change.keyBytes)) {
         onCollection(reader_->view()); // a key that is none: what changed is not known
         return;
      }
      if (known_)
         known_->note(key, change);
      notifyKey(&key);
   }
   void onCollection(TableView&) override {
      if (known_) {
         const Vok::Ptr<const Vok::Entity> keepAlive(owner());
         for (const Key& key : differences())
            notifyKey(&key);
         if (known_)
            return;
      }
      notifyCollection();
   }
   /// What is not known of the table, which is known then. A table that cannot be read ends exact resyncs.
   std::vector<Key> differences() {
      try {
         return known_->differences(*reader_);
      } catch (const Vok::CorruptionDetectedError& error) {
         known_.reset();
         corruptionDetected(error.what());
         return {};
      }
   }
   void onMountStatus(TableView&) override { notifyMountStatus(); }

   std::optional<TableWriter<Row>> writer_;
   std::optional<TableReader<Row>> reader_;
   std::unique_ptr<KnownKeys<Row>> known_; ///< while a resync is to be exact
};

} // namespace Pooltab
