#include "Hubdb/RecordCheck.h"

namespace Hubdb {

using Vok::AttributeKind;

/// Reads one value. Returns the number of bytes it took.
static std::size_t decode(Vok::AnyValue& into, Bytes from) {
   Vok::NboAttrLog::Reader log(from.data(), from.size());
   into.type().readLog(log, into.data());
   into.type().checkRange(into.data());
   return from.size() - log.left();
}

static bool isEntityKind(AttributeKind kind) {
   return kind == AttributeKind::members || kind == AttributeKind::child;
}

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

const TypePlan& RecordCheck::plan(const Vok::EntityType& type) {
   const auto [found, isNew] = numbers_.try_emplace(&type, static_cast<Vok::U32>(plans_.size() + 1));
   if (!isNew)
      return plan(found->second);
   TypePlan& plan = plans_.emplace_back();
   plan.number = found->second;
   plan.type = &type;
   for (const Vok::Attribute& attribute : type.attributes()) {
      AttributePlan& made = plan.attributes.emplace_back();
      made.attribute = &attribute;
      if (isEntityKind(attribute.kind)) {
         for (const Vok::Parameter& parameter : attribute.entityType()->parameters())
            if (parameter.type)
               made.keys.push_back(scratch(*parameter.type));
      } else if (attribute.keyType)
         made.keys.push_back(scratch(*attribute.keyType));
      if (attribute.valueType && attribute.kind != AttributeKind::set)
         made.value = scratch(*attribute.valueType);
   }
   return plan;
}

Vok::AnyValue* RecordCheck::scratch(const Vok::Type& type) {
   auto& made = scratch_[&type];
   if (!made)
      made = std::make_unique<Vok::AnyValue>(type);
   return made.get();
}

Bytes RecordCheck::check(const TypePlan& plan, const Record& record) const {
   if (record.attr >= plan.attributes.size())
      throw Vok::LogError(Vok::String(plan.type->name()) + " has no attribute number " +
                          std::to_string(record.attr));
   const AttributePlan& attribute = plan.attributes[record.attr];
   const auto refuse = [&](const Vok::String& why) -> void {
      throw Vok::LogError(Vok::String(plan.type->name()) + "::" + Vok::String(attribute.attribute->name) +
                          ": " + why);
   };
   if (!fits(record.op, attribute.attribute->kind))
      refuse("operation " + std::to_string(static_cast<unsigned>(record.op)) +
             " is not for attributes of this kind");
   Bytes identity;
   try {
      std::size_t used = 0;
      // An optional child without a key is made from its defaults.
      if (attribute.attribute->kind != AttributeKind::child || !record.key.empty())
         for (Vok::AnyValue* key : attribute.keys) {
            used += decode(*key, record.key.subspan(used));
            if (identity.empty() && attribute.attribute->kind != AttributeKind::child)
               identity = record.key.first(used);
         }
      if (used != record.key.size())
         refuse(std::to_string(record.key.size() - used) + " bytes too many in a key");
      if (record.op == RecordOp::set || record.op == RecordOp::put) {
         // What names an entity is text of any bytes.
         used = attribute.value ? decode(*attribute.value, record.value)
                : attribute.attribute->kind == AttributeKind::set ? 0
                                                                  : record.value.size();
         if (used != record.value.size())
            refuse(std::to_string(record.value.size() - used) + " bytes too many in a value");
      }
   } catch (const Vok::RangeError& error) {
      refuse(error.what());
   }
   return identity;
}

} // namespace Hubdb
