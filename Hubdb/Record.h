#pragma once
// Records: what travels about one entity and everything below it. Layout and worked bytes: docs/hubdb.md.

#include "Vok/EntityType.h"
#include "Vok/NboAttrLog.h"

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
