#pragma once
// Records: what travels about one entity and everything below it. Layout and worked bytes: docs/hubdb.md.

#include "Vok/EntityType.h"
#include "Vok/NboAttrLog.h"

#include <array>
#include <exception>
#include <span>

namespace Hubdb {

/// The number of an entity below one root, given by its owner. The root is 0.
using EntityNumber = Vok::U32;
inline constexpr EntityNumber rootNumber = 0;

using Bytes = std::span<const Vok::U8>;

/// Longest key in bytes.
inline constexpr std::size_t maxKeySize = 65535;

enum class RecordOp : Vok::U8 {
   member = 1, ///< an entity comes to be in its parent's collection, or as its optional child
   gone = 2,   ///< an entity and everything below it goes
   set = 3,    ///< the value of a scalar, or what a pointer points to
   put = 4,    ///< an entry of a map, a set, values or references
   erase = 5   ///< an entry goes
};

/// One record, its byte strings pointing into the batch that it was read from.
struct Record {
   RecordOp op = RecordOp::gone;
   EntityNumber entity = 0;
   EntityNumber parent = 0; ///< member only
   Vok::AttrId attr = 0;    ///< of the parent for member, else of the entity; unused for gone
   Bytes key;               ///< member, put, erase
   Bytes value;             ///< set, put
   Bytes whole;             ///< the record itself
};

/// Takes records from a batch, in order. Does not own the bytes. Looks at lengths only: numbers, attributes,
/// keys and values are for whoever knows the types.
class RecordReader {
  public:
   explicit RecordReader(Bytes batch) : batch_(batch) {}

   /// False at the end of the batch. Raises Vok::LogError, naming the offset, for a record that is cut short
   /// or has no known operation.
   bool next(Record& record);
   /// Where the record that next() returned last begins.
   std::size_t offset() const { return start_; }

  private:
   Bytes take(std::size_t size) {
      if (size > batch_.size() - at_)
         raiseCutShort(size);
      const Bytes taken(batch_.data() + at_, size);
      at_ += size;
      return taken;
   }
   template <class Number>
   Number number() {
      Number value = 0;
      for (const Vok::U8 byte : take(sizeof(Number)))
         value = static_cast<Number>(value << 8 | byte);
      return value;
   }
   [[noreturn]] void raiseCutShort(std::size_t size) const;

   Bytes batch_;
   std::size_t start_ = 0;
   std::size_t at_ = 0;
};

/// Reads a batch some records ahead of the one that it hands out, so that what each will touch can be brought
/// near meanwhile.
template <class Hint>
class RecordsAhead {
  public:
   struct Entry {
      Record record;
      Hint hint = {}; ///< the reader's own
   };

   explicit RecordsAhead(Bytes batch) : reader_(batch) {}

   /// The next record, good until the next call; null at the end. Every record is shown to `first` when it is
   /// read and, if it was read as early as that, to `second` eight records before it is handed out. Raises
   /// Vok::LogError for bytes that are no record, when everything before them has been handed out.
   template <class First, class Second>
   const Entry* next(First&& first, Second&& second) {
      while (!ended_ && read_ - taken_ < size) {
         Entry& entry = ring_[read_ % size];
         if (readOne(entry.record)) {
            first(entry);
            ++read_;
         }
      }
      if (taken_ + size / 2 < read_)
         second(ring_[(taken_ + size / 2) % size]);
      if (taken_ < read_)
         return &ring_[taken_++ % size];
      if (bad_)
         std::rethrow_exception(bad_);
      return nullptr;
   }

  private:
   static constexpr std::size_t size = 16;

   bool readOne(Record& record) {
      try {
         ended_ = !reader_.next(record);
      } catch (const Vok::Error&) {
         bad_ = std::current_exception();
         ended_ = true;
      }
      return !ended_;
   }

   RecordReader reader_;
   std::array<Entry, size> ring_;
   std::size_t read_ = 0;
   std::size_t taken_ = 0;
   bool ended_ = false;
   std::exception_ptr bad_; ///< bytes that are no record, behind records that are
};

/// Appends records to a buffer of its own. Raises Vok::RangeError for a key of more than 65535 bytes; nothing
/// is appended then.
class RecordWriter {
  public:
   void member(EntityNumber entity, EntityNumber parent, Vok::AttrId attr, Bytes key);
   void gone(EntityNumber entity);
   void set(EntityNumber entity, Vok::AttrId attr, const Vok::Type& type, const void* value);
   void set(EntityNumber entity, Vok::AttrId attr, Bytes value);
   void put(EntityNumber entity, Vok::AttrId attr, Bytes key, const Vok::Type& type, const void* value);
   void put(EntityNumber entity, Vok::AttrId attr, Bytes key, Bytes value);
   void erase(EntityNumber entity, Vok::AttrId attr, Bytes key);

   Bytes bytes() const { return log_.buffer(); }
   std::size_t size() const { return log_.size(); }
   void clear() { log_.clear(); }

  private:
   void head(RecordOp op, EntityNumber entity, Bytes key = {});
   void keyBytes(Bytes key);
   void valueBytes(Bytes value);
   void valueOf(const Vok::Type& type, const void* value);

   Vok::NboAttrLog::Writer log_;
};

/// Changes with the declaration of the type and of every type that can stand below it: both sides of a mount
/// must agree on it.
Vok::U64 fingerprint(const Vok::EntityType& type);

} // namespace Hubdb
