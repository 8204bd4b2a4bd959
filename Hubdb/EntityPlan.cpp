#include "Hubdb/EntityPlan.h"

#include "Vok/Assert.h"

#include <algorithm>

namespace Hubdb {

using Vok::AttributeKind;

void unpack(const Vok::Type& type, Bytes bytes, void* value) {
   Vok::NboAttrLog::Reader log(bytes.data(), bytes.size());
   type.readLog(log, value);
   if (log.left() > 0)
      throw Vok::LogError("bytes left over behind a " + Vok::String(type.name()) + ": " +
                          std::to_string(log.left()));
   try {
      type.checkRange(value);
   } catch (const Vok::RangeError&) {
      // What was never set may lie outside: an unset label range begins above the largest label.
      if (!type.storage().equal(value, Vok::AnyValue(type).data()))
         throw;
   }
}

EntityPlan::EntityPlan(const Vok::EntityType& type) : type_(type) {
   attributes_.reserve(type.attributes().size());
   for (const Vok::Attribute& declared : type.attributes()) {
      const AttributeKind kind = declared.kind;
      const bool below = kind == AttributeKind::members || kind == AttributeKind::child;
      Attribute& planned = attributes_.emplace_back();
      planned.declared = &declared;
      planned.travels = kind != AttributeKind::table && (!below || declared.access.create);
      if (!planned.travels)
         continue;
      refers_ = refers_ || kind == AttributeKind::pointer || kind == AttributeKind::references;
      if (declared.keyType)
         planned.key.emplace(*declared.keyType);
      if (declared.valueType)
         planned.value.emplace(*declared.valueType);
      if (kind == AttributeKind::scalar && declared.valueType->parsable()) {
         // Most begin as they are made; and what is made out of bounds, to be set, has a text that does not
         // parse.
         Vok::AnyValue& initial = planned.initial.emplace(*declared.valueType);
         Vok::TextParser text(declared.defaultText);
         if (initial.text() != declared.defaultText)
            declared.valueType->parse(text, initial.data());
      }
   }
   for (const Vok::Parameter& parameter : type.parameters())
      if (parameter.type)
         parameters_.emplace_back(*parameter.type);
   for (const Vok::AnyValue& parameter : parameters_)
      unpacked_.push_back(parameter.data());
}

void EntityPlan::packParameters(const Vok::Entity& entity, Vok::NboAttrLog::Writer& log) const {
   for (const Vok::Parameter& parameter : type_.parameters())
      parameter.type->writeLog(parameter.get(entity), log);
}

std::span<const void* const> EntityPlan::unpackParameters(Bytes key) {
   Vok::NboAttrLog::Reader log(key.data(), key.size());
   for (Vok::AnyValue& parameter : parameters_) {
      parameter.type().readLog(log, parameter.data());
      parameter.type().checkRange(parameter.data());
   }
   if (log.left() > 0)
      throw Vok::LogError("bytes left over behind the parameters of a " + Vok::String(type_.name()) + ": " +
                          std::to_string(log.left()));
   return unpacked_;
}

bool EntityPlan::madeFromThem(const Vok::Entity& entity) const {
   return std::ranges::equal(parameters_, type_.parameters(), [&](const auto& wanted, const auto& parameter) {
      return parameter.type->storage().equal(wanted.data(), parameter.get(entity));
   });
}

const void* EntityPlan::keyOf(const Vok::Entity& entity) const {
   return type_.parameters().empty() ? nullptr : type_.parameters().front().get(entity);
}

Vok::U16 Plans::numberOf(const Vok::EntityType& type) {
   const auto [found, added] = numbers_.emplace(&type, static_cast<Vok::U16>(plans_.size()));
   const Vok::U16 number = found->second;
   if (!added)
      return number;
   vokAssert(plans_.size() < EntityPlan::nothingBelow);
   plans_.push_back(std::make_unique<EntityPlan>(type));
   EntityPlan& plan = *plans_.back();
   for (EntityPlan::Attribute& attribute : plan.attributes()) {
      const AttributeKind kind = attribute.declared->kind;
      if (attribute.travels && (kind == AttributeKind::members || kind == AttributeKind::child))
         attribute.below = numberOf(*attribute.declared->entityType());
   }
   return number;
}

} // namespace Hubdb
