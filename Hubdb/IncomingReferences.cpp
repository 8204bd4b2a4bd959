// Incoming's pointers to entities of other roots.

#include "Hubdb/Incoming.h"

#include <cstring>

namespace Hubdb {

using Vok::AttributeKind;
using Vok::AttrId;

namespace {

Bytes bytesOf(std::string_view bytes) {
   return {reinterpret_cast<const Vok::U8*>(bytes.data()), bytes.size()};
}

/// Who is to point somewhere, as the key of a map.
struct Holder {
   EntityNumber number;
   AttrId attr;
   Bytes key;

   static constexpr std::size_t headSize = sizeof(number) + sizeof(attr);

   std::string pack() const {
      std::string packed(headSize, '\0');
      std::memcpy(packed.data(), &number, sizeof(number));
      std::memcpy(packed.data() + sizeof(number), &attr, sizeof(attr));
      return packed.append(reinterpret_cast<const char*>(key.data()), key.size());
   }
   static Holder unpack(const std::string& packed) {
      Holder holder{0, 0, bytesOf(packed).subspan(headSize)};
      std::memcpy(&holder.number, packed.data(), sizeof(number));
      std::memcpy(&holder.attr, packed.data() + sizeof(number), sizeof(attr));
      return holder;
   }
};

} // namespace

void Incoming::forgetMissing(EntityNumber number, AttrId attr, Bytes key) {
   if (!missing_.empty())
      missing_.erase(Holder{number, attr, key}.pack());
}

void Incoming::refer(EntityNumber number, EntityPlan::Attribute& attribute, Bytes key, Bytes address) {
   const bool points = pointTo(number, attribute, key, address); // raises for what is no address
   mention(numbers_[number], number, attribute.declared->id, key);
   if (points && missing_.empty())
      return;
   const std::string holder = Holder{number, attribute.declared->id, key}.pack();
   if (points || address.empty())
      missing_.erase(holder);
   else
      missing_[holder].assign(reinterpret_cast<const char*>(address.data()), address.size());
}

/// Returns false, and points nowhere, when nothing of the attribute's type stands at the address. For
/// references, `key` is the entry's.
bool Incoming::pointTo(EntityNumber number, EntityPlan::Attribute& attribute, Bytes key, Bytes address) {
   const Vok::Attribute& declared = *attribute.declared;
   Vok::Ptr<Vok::Entity> target = references_.find(address, plans_);
   if (target && !target->vokEntityType().isA(*declared.entityType()))
      target = nullptr;
   Vok::Entity& entity = *numbers_[number].entity;
   const void* at = unpackKey(attribute, key);
   if (declared.kind == AttributeKind::pointer)
      declared.access.refer(entity, nullptr, target.get());
   else if (target)
      declared.access.refer(entity, at, target.get());
   else
      declared.access.erase(entity, at);
   return target != nullptr;
}

void Incoming::resolve() {
   std::erase_if(missing_, [this](const auto& missing) {
      const Holder holder = Holder::unpack(missing.first);
      const Slot* slot = numbers_.find(holder.number);
      return !slot || pointTo(holder.number, plans_[slot->plan].attributes()[holder.attr], holder.key,
                              bytesOf(missing.second));
   });
}

void Incoming::forgetUnmentionedMissing() {
   std::erase_if(missing_, [this](const auto& missing) {
      const Holder holder = Holder::unpack(missing.first);
      const Slot* slot = numbers_.find(holder.number);
      return !slot || (slot->kept && !mentioned_.has(holder.number, holder.attr, holder.key));
   });
}

void Incoming::leave() {
   for (EntityNumber number = 0; number < numbers_.limit(); ++number)
      if (const Slot* slot = numbers_.find(number))
         references_.goes(*slot->entity);
}

void Incoming::targetGoes(const Vok::Entity& target, Bytes address) {
   const Vok::EntityType& type = target.vokEntityType();
   for (const EntityNumber number : referring_) {
      const Slot* slot = numbers_.find(number);
      if (!slot)
         continue;
      for (EntityPlan::Attribute& attribute : plans_[slot->plan].attributes()) {
         const Vok::Attribute& declared = *attribute.declared;
         if (!declared.access.refer || !type.isA(*declared.entityType()))
            continue;
         if (declared.keyType)
            letGoUnderKeys(number, attribute, target, address);
         else
            letGo(number, attribute, nullptr, target, address);
      }
   }
}

/// References stand under a parameter of their entity; elsewhere each entry has to be looked at.
void Incoming::letGoUnderKeys(EntityNumber number, const EntityPlan::Attribute& attribute,
                              const Vok::Entity& target, Bytes address) {
   const Vok::Attribute& declared = *attribute.declared;
   if (!declared.typeName.starts_with("references")) {
      declared.access.walk(*numbers_[number].entity, [&](const void* key, const void*) {
         letGo(number, attribute, key, target, address);
      });
      return;
   }
   for (const Vok::Parameter& parameter : target.vokEntityType().parameters())
      if (parameter.type == declared.keyType)
         letGo(number, attribute, parameter.get(target), target, address);
}

/// If it points to the target, it points nowhere until something stands at the address again.
void Incoming::letGo(EntityNumber number, const EntityPlan::Attribute& attribute, const void* key,
                     const Vok::Entity& target, Bytes address) {
   const Vok::Attribute& declared = *attribute.declared;
   Vok::Entity& entity = *numbers_[number].entity;
   if (declared.access.entity(entity, key) != &target)
      return;
   keyLog_.clear();
   if (key)
      declared.keyType->writeLog(key, keyLog_);
   missing_[Holder{number, declared.id, keyLog_.buffer()}.pack()].assign(
       reinterpret_cast<const char*>(address.data()), address.size());
   if (key)
      declared.access.erase(entity, key);
   else
      declared.access.refer(entity, nullptr, nullptr);
}

} // namespace Hubdb
