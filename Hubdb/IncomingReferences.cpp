// Incoming's pointers to entities of other roots.

#include "Hubdb/Incoming.h"

#include <algorithm>

namespace Hubdb {

using Vok::AttributeKind;
using Vok::AttrId;

namespace {

/// Who is to point somewhere, as a key of a map.
std::string holderKey(EntityNumber number, AttrId attr, Bytes key) {
   std::string holder(sizeof(number) + sizeof(attr), '\0');
   std::copy_n(reinterpret_cast<const char*>(&number), sizeof(number), holder.begin());
   std::copy_n(reinterpret_cast<const char*>(&attr), sizeof(attr), holder.begin() + sizeof(number));
   return holder.append(reinterpret_cast<const char*>(key.data()), key.size());
}

Bytes bytesOf(std::string_view bytes) {
   return {reinterpret_cast<const Vok::U8*>(bytes.data()), bytes.size()};
}

} // namespace

void Incoming::forgetMissing(EntityNumber number, AttrId attr, Bytes key) {
   if (!missing_.empty())
      missing_.erase(holderKey(number, attr, key));
}

void Incoming::refer(EntityNumber number, EntityPlan::Attribute& attribute, Bytes key, Bytes address) {
   const bool points = pointTo(number, attribute, key, address); // raises for what is no address
   mention(numbers_[number], number, attribute.declared->id, key);
   if (points && missing_.empty())
      return;
   const std::string holder = holderKey(number, attribute.declared->id, key);
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
   for (auto at = missing_.begin(); at != missing_.end();) {
      EntityNumber number = 0;
      AttrId attr = 0;
      const std::string& holder = at->first;
      std::copy_n(holder.begin(), sizeof(number), reinterpret_cast<char*>(&number));
      std::copy_n(holder.begin() + sizeof(number), sizeof(attr), reinterpret_cast<char*>(&attr));
      const Slot* slot = numbers_.find(number);
      const bool done =
          !slot || pointTo(number, plans_[slot->plan].attributes()[attr],
                           bytesOf(std::string_view(holder).substr(sizeof(number) + sizeof(attr))),
                           bytesOf(at->second));
      at = done ? missing_.erase(at) : std::next(at);
   }
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
         if (declared.kind == AttributeKind::pointer && type.isA(*declared.entityType()))
            letGo(number, attribute, nullptr, target, address);
         if (declared.kind != AttributeKind::references || !type.isA(*declared.entityType()))
            continue;
         // References stand under a parameter of their own; a map's pointer under another key is not found.
         for (const Vok::Parameter& parameter : type.parameters())
            if (parameter.type == declared.keyType)
               letGo(number, attribute, parameter.get(target), target, address);
      }
   }
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
   missing_[holderKey(number, declared.id, keyLog_.buffer())].assign(
       reinterpret_cast<const char*>(address.data()), address.size());
   if (key)
      declared.access.erase(entity, key);
   else
      declared.access.refer(entity, nullptr, nullptr);
}

} // namespace Hubdb
