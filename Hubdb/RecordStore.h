#pragma once
// Hubdb::RecordStore: the state of one root entity and all below it, as records.

#include "Hubdb/EntityNumbers.h"
#include "Hubdb/RecordCheck.h"
#include "Hubdb/RecordIndex.h"

#include <array>
#include <functional>

namespace Hubdb {

/// Keeps of every attribute and key the record that was applied last, verbatim, in the order in which entries
/// came to be: reading the store from its beginning gives a snapshot. A record of the same size is replaced
/// in its place, all else is appended; room that removed records leave is regained a chunk at a time, in
/// proportion to what changes. A record takes about 30 bytes here besides its own.
///
/// What is applied may be hostile.
class RecordStore {
  public:
   RecordStore(RecordCheck& check, const Vok::EntityType& type);
   ~RecordStore();
   RecordStore(const RecordStore&) = delete;

   /// Applies one record. Raises Vok::LogError or Vok::RangeError, with nothing changed, when it cannot be
   /// one of this root's.
   void apply(const Record& record);
   /// Applies a batch, record by record; what each will touch is fetched ahead. `before`, if there is one, is
   /// called with every record just before it is applied. Raises as for one record, or for bytes that are
   /// none: the first `applied` bytes are applied then.
   void apply(Bytes batch, std::size_t& applied, const std::function<void(const Record&)>& before = {});

   /// A place up to which somebody has read the store. It stays right whatever is applied meanwhile: what
   /// comes to be stands behind it. The store must outlive it.
   class Cursor {
     public:
      explicit Cursor(RecordStore& store);
      ~Cursor();
      Cursor(const Cursor&) = delete;

      /// Appends records from here on, about `limit` bytes of them. Returns false once it has come to the
      /// end.
      bool read(std::vector<Vok::U8>& records, std::size_t limit);
      /// Whether a reader who has read up to here must be told of this record, which is about to be applied.
      /// What comes to be is read later.
      bool concerns(const Record& record) const;

     private:
      friend class RecordStore;
      RecordStore& store_;
      RecordIndex::Ref at_ = 0;
   };

   std::size_t entities() const { return entities_; }
   /// Bytes allocated for all of it.
   std::size_t memory() const;

  private:
   using Ref = RecordIndex::Ref;
   static constexpr Ref none = RecordIndex::none;
   static constexpr unsigned chunkBits = 20;
   static constexpr std::size_t chunkSize = std::size_t(1) << chunkBits;
   static constexpr std::size_t maxChunks = (std::size_t(1) << (32 - chunkBits)) - 1;
   static constexpr std::size_t slotsPerPage = 1024;

   /// What stands before a record; the record follows, filled up to a multiple of four bytes.
   struct Stored {
      Vok::U32 hash;
      Ref previous; ///< of the same holder: the entity, or the parent for a member
      Ref next;
      Vok::U32 size : 31;
      Vok::U32 dead : 1;
      Vok::U8* bytes() { return reinterpret_cast<Vok::U8*>(this + 1); }
      std::size_t room() const { return sizeof(Stored) + ((size + 3) & ~std::size_t(3)); }
   };
   struct Slot {
      Ref member = none; ///< the record by which it came to be; of the root none
      Ref first = none;  ///< the records that it holds
      Vok::U16 plan = 0; ///< of its type
      bool used = false;
   };
   using Page = std::array<Slot, slotsPerPage>;

   Stored& at(Ref ref) {
      return *reinterpret_cast<Stored*>(&chunks_[ref >> chunkBits][ref & (chunkSize - 1)]);
   }
   static EntityNumber holderOf(Stored& stored);
   Slot* slot(EntityNumber entity) const;
   Slot& knownSlot(EntityNumber entity) const;
   Slot& newSlot(EntityNumber entity);

   Vok::U32 fetchPlace(const Record& record) const;
   void fetchStored(Vok::U32 hash) const;
   void applyOne(const Record& record, Vok::U32 hash);
   void entryApply(const Record& record, Vok::U32 hash);
   void memberApply(const Record& record);
   void gone(EntityNumber entity);
   Ref find(Vok::U32 hash, const Record& record, Bytes key);
   Ref append(Slot& holder, Vok::U32 hash, const Record& record);
   void remove(Ref ref);
   void markDead(Stored& stored, Ref ref);
   void roomCheck(std::size_t bytes) const;

   void compact();
   void compactChunk();
   void moved(Stored& stored, Ref from, Ref to);

   RecordCheck& check_;
   std::vector<std::vector<Vok::U8>> chunks_;
   RecordIndex index_;
   std::vector<std::unique_ptr<Page>> pages_;
   std::vector<EntityNumber> going_; ///< while an entity goes: what is below it
   std::vector<Cursor*> cursors_;
   std::size_t entities_ = 0;
   std::size_t live_ = 0; ///< bytes in chunks
   std::size_t dead_ = 0;
   std::size_t changed_ = 0; ///< bytes appended or removed that compaction has not answered yet
   /// A pass of compaction moves live records from the chunks at `source_` to the end of `target_`.
   bool passing_ = false;
   std::size_t source_ = 0;
   std::size_t target_ = 0;
};

} // namespace Hubdb
