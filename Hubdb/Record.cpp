#include "Hubdb/Record.h"

#include <algorithm>
#include <bit>
#include <vector>

namespace Hubdb {

using Vok::U16;
using Vok::U32;
using Vok::U64;
using Vok::U8;

bool RecordReader::next(Record& record) {
   start_ = at_;
   if (at_ == batch_.size())
      return false;
   record = {};
   record.op = static_cast<RecordOp>(number<U8>());
   if (record.op < RecordOp::member || record.op > RecordOp::erase)
      throw Vok::LogError("record at byte " + std::to_string(start_) + ": no operation has the number " +
                          std::to_string(static_cast<U8>(record.op)));
   record.entity = number<EntityNumber>();
   if (record.op == RecordOp::member)
      record.parent = number<EntityNumber>();
   if (record.op != RecordOp::gone)
      record.attr = number<Vok::AttrId>();
   if (record.op == RecordOp::member || record.op == RecordOp::put || record.op == RecordOp::erase)
      record.key = take(number<U16>());
   if (record.op == RecordOp::set || record.op == RecordOp::put)
      record.value = take(number<U32>());
   record.whole = batch_.subspan(start_, at_ - start_);
   return true;
}

void RecordReader::raiseCutShort(std::size_t size) const {
   throw Vok::LogError("record at byte " + std::to_string(start_) + " is cut short: " + std::to_string(size) +
                       " bytes wanted at byte " + std::to_string(at_) + ", " +
                       std::to_string(batch_.size() - at_) + " left");
}

void RecordWriter::member(EntityNumber entity, EntityNumber parent, Vok::AttrId attr, Bytes key) {
   head(RecordOp::member, entity, key);
   log_.u32(parent);
   log_.u16(attr);
   keyBytes(key);
}

void RecordWriter::gone(EntityNumber entity) {
   head(RecordOp::gone, entity);
}

void RecordWriter::set(EntityNumber entity, Vok::AttrId attr, const Vok::Type& type, const void* value) {
   head(RecordOp::set, entity);
   log_.u16(attr);
   valueOf(type, value);
}

void RecordWriter::set(EntityNumber entity, Vok::AttrId attr, Bytes value) {
   head(RecordOp::set, entity);
   log_.u16(attr);
   valueBytes(value);
}

void RecordWriter::put(EntityNumber entity, Vok::AttrId attr, Bytes key, const Vok::Type& type,
                       const void* value) {
   head(RecordOp::put, entity, key);
   log_.u16(attr);
   keyBytes(key);
   valueOf(type, value);
}

void RecordWriter::put(EntityNumber entity, Vok::AttrId attr, Bytes key, Bytes value) {
   head(RecordOp::put, entity, key);
   log_.u16(attr);
   keyBytes(key);
   valueBytes(value);
}

void RecordWriter::erase(EntityNumber entity, Vok::AttrId attr, Bytes key) {
   head(RecordOp::erase, entity, key);
   log_.u16(attr);
   keyBytes(key);
}

void RecordWriter::head(RecordOp op, EntityNumber entity, Bytes key) {
   if (key.size() > maxKeySize)
      throw Vok::RangeError("a key of " + std::to_string(key.size()) + " bytes does not travel; at most " +
                            std::to_string(maxKeySize) + " do");
   log_.u8(static_cast<U8>(op));
   log_.u32(entity);
}

void RecordWriter::keyBytes(Bytes key) {
   log_.u16(static_cast<U16>(key.size()));
   log_.bytes(key.data(), key.size());
}

void RecordWriter::valueBytes(Bytes value) {
   log_.u32(static_cast<U32>(value.size()));
   log_.bytes(value.data(), value.size());
}

void RecordWriter::valueOf(const Vok::Type& type, const void* value) {
   const std::size_t at = log_.size();
   log_.u32(0);
   type.writeLog(value, log_);
   log_.u32At(at, static_cast<U32>(log_.size() - at - sizeof(U32)));
}

U64 fingerprint(const Vok::EntityType& type) {
   std::vector<const Vok::EntityType*> reached{&type};
   U64 result = 0;
   for (std::size_t i = 0; i < reached.size(); ++i) {
      result = std::rotl(result, 1) ^ reached[i]->fingerprint();
      for (const Vok::Attribute& attribute : reached[i]->attributes()) {
         const bool owned =
             attribute.kind == Vok::AttributeKind::members || attribute.kind == Vok::AttributeKind::child;
         if (owned && std::ranges::find(reached, attribute.entityType()) == reached.end())
            reached.push_back(attribute.entityType());
      }
   }
   return result;
}

} // namespace Hubdb
