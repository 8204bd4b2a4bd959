#include "Hubdb/RecordCheck.h"

namespace Hubdb {

using Vok::AttributeKind;

/// Whether records of this operation exist for attributes of this kind.
static bool fits(RecordOp op, AttributeKind kind) {
   switch (kind) {
   case AttributeKind::scalar:
   case AttributeKind::pointer:
      return op == RecordOp::set;
   case AttributeKind::members:
   case AttributeKind::child:
      return op == RecordOp::member;
   case AttributeKind::set:
   case AttributeKind::map:
   case AttributeKind::values:
   case AttributeKind::references:
      return op == RecordOp::put || op == RecordOp::erase;
   case AttributeKind::table:
      return false;
   }
   return false;
}

Vok::String RecordCheck::attributeName(Vok::U16 plan, Vok::AttrId attr) {
   const Vok::EntityType& type = plans_[plan].type();
   return Vok::String(type.name()) + "::" + Vok::String(type.attributes()[attr].name);
}

Bytes RecordCheck::check(Vok::U16 number, const Record& record) {
   EntityPlan& plan = plans_[number];
   if (record.attr >= plan.attributes().size())
      throw Vok::LogError(Vok::String(plan.type().name()) + " has no attribute number " +
                          std::to_string(record.attr));
   EntityPlan::Attribute& attribute = plan.attributes()[record.attr];
   if (!attribute.travels || !fits(record.op, attribute.declared->kind))
      throw Vok::LogError(attributeName(number, record.attr) + " has no records of operation " +
                          std::to_string(static_cast<unsigned>(record.op)));
   try {
      if (record.op == RecordOp::member)
         return checkMember(attribute, record.key);
      if (attribute.key)
         unpack(attribute.key->type(), record.key, attribute.key->data());
      if (record.op != RecordOp::erase)
         checkValue(attribute, record);
      return record.key;
   } catch (const Vok::RangeError& error) {
      throw Vok::RangeError(attributeName(number, record.attr) + ": " + error.what());
   } catch (const Vok::LogError& error) {
      throw Vok::LogError(attributeName(number, record.attr) + ": " + error.what());
   }
}

/// Members are told apart by their first parameter, of all those in the key.
Bytes RecordCheck::checkMember(EntityPlan::Attribute& attribute, Bytes key) {
   const auto parameters = plans_[attribute.below].unpackParameters(key);
   if (!attribute.declared->keyType)
      return {};
   key_.clear();
   attribute.declared->keyType->writeLog(parameters.front(), key_);
   if (key_.size() > key.size() || !std::equal(key_.buffer().begin(), key_.buffer().end(), key.begin()))
      throw Vok::LogError("a key that is not in its log form");
   return key.first(key_.size());
}

void RecordCheck::checkValue(EntityPlan::Attribute& attribute, const Record& record) {
   if (attribute.declared->entityType)
      return; // an address, at which nothing need stand
   if (attribute.declared->kind != AttributeKind::set)
      unpack(attribute.value->type(), record.value, attribute.value->data());
   else if (!record.value.empty())
      throw Vok::LogError("a value in a set");
}

} // namespace Hubdb
