#include "Hubdb/Incoming.h"

#include <algorithm>

namespace Hubdb {

using Vok::AttributeKind;
using Vok::AttrId;

namespace {

std::string text(std::uint64_t number) {
   return std::to_string(number);
}

[[noreturn]] void refuse(const std::string& why) {
   throw Vok::LogError(why);
}

bool isBelow(const EntityPlan::Attribute& attribute) {
   return attribute.below != EntityPlan::nothingBelow;
}

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

Incoming::Incoming(Vok::Ptr<Vok::Entity> root, Plans& plans, References& references)
    : root_(std::move(root)), plans_(plans), references_(references) {}

void Incoming::snapshotBegin() {
   numbers_.clear();
   mentioned_.clear();
   missing_.clear();
   referring_.clear();
   inSnapshot_ = true;
   const Vok::U16 plan = plans_.numberOf(root_->vokEntityType());
   numbers_.add(rootNumber, root_.get(), plan, EntityNumbers::none, 0).kept = !fresh_;
   if (plans_[plan].refers())
      referring_.push_back(rootNumber);
   fresh_ = false;
}

void Incoming::apply(Bytes batch) {
   RecordReader records(batch);
   Record record;
   const auto where = [&](const Vok::Error& error) {
      return "record at byte " + text(records.offset()) + " of a batch of " + text(batch.size()) + " for '" +
             root_->fullName() + "': " + error.what();
   };
   while (records.next(record)) {
      try {
         applyOne(record);
      } catch (const Vok::RangeError& error) {
         throw Vok::RangeError(where(error));
      } catch (const Vok::LogError& error) {
         throw Vok::LogError(where(error));
      }
   }
}

void Incoming::applyOne(const Record& record) {
   switch (record.op) {
   case RecordOp::member:
      return applyMember(record);
   case RecordOp::gone:
      return applyGone(record);
   case RecordOp::set:
      return applySet(record);
   case RecordOp::put:
      return applyPut(record);
   case RecordOp::erase:
      return applyErase(record);
   }
}

Incoming::Slot& Incoming::slotOf(EntityNumber number) {
   Slot* slot = numbers_.find(number);
   if (!slot)
      refuse("there is no entity " + text(number));
   return *slot;
}

EntityPlan::Attribute& Incoming::attributeOf(const Slot& slot, AttrId attr) {
   EntityPlan& plan = plans_[slot.plan];
   if (attr >= plan.attributes().size())
      refuse("'" + Vok::String(plan.type().name()) + "' has no attribute " + text(attr));
   EntityPlan::Attribute& attribute = plan.attributes()[attr];
   if (!attribute.travels)
      refuse("'" + Vok::String(plan.type().name()) + "::" + Vok::String(attribute.declared->name) +
             "' does not travel");
   return attribute;
}

const void* Incoming::unpackKey(EntityPlan::Attribute& attribute, Bytes key) {
   if (attribute.key) {
      unpack(attribute.key->type(), key, attribute.key->data());
      return attribute.key->data();
   }
   if (!key.empty())
      refuse("a key for '" + Vok::String(attribute.declared->name) + "', which has none");
   return nullptr;
}

void Incoming::applyMember(const Record& record) {
   const Slot parent = slotOf(record.parent);
   EntityPlan::Attribute& attribute = attributeOf(parent, record.attr);
   if (!isBelow(attribute))
      refuse("no entities stand in '" + Vok::String(attribute.declared->name) + "'");
   if (numbers_.find(record.entity) || record.entity >= maxEntities)
      refuse("the number " + text(record.entity) + " is " +
             (numbers_.find(record.entity) ? "taken" : "too large"));
   EntityPlan& plan = plans_[attribute.below];
   const auto parameters = plan.unpackParameters(record.key);
   const void* key = attribute.declared->keyType ? parameters.front() : nullptr;
   const Vok::AttributeAccess& access = attribute.declared->access;

   keyLog_.clear();
   if (key)
      attribute.declared->keyType->writeLog(key, keyLog_);
   Vok::Entity* entity = access.entity(*parent.entity, key);
   const bool known =
       entity && (!parent.kept || mentioned_.has(record.parent, record.attr, keyLog_.buffer()));
   if (known)
      refuse("it is there already under another number");
   mention(parent, record.parent, record.attr, keyLog_.buffer());
   if (entity && !plan.madeFromThem(*entity)) {
      eraseBelow(*parent.entity, *attribute.declared, key);
      entity = nullptr;
   }
   const bool kept = entity != nullptr;
   if (!entity)
      entity = access.create(*parent.entity, parameters);
   numbers_.add(record.entity, entity, attribute.below, record.parent, record.attr).kept = kept;
   if (plan.refers())
      referring_.push_back(record.entity);
}

/// Whoever points to the entity is told first.
void Incoming::eraseBelow(Vok::Entity& parent, const Vok::Attribute& attribute, const void* key) {
   if (const Vok::Entity* entity = attribute.access.entity(parent, key))
      references_.goes(*entity);
   attribute.access.erase(parent, key);
}

void Incoming::applyGone(const Record& record) {
   if (record.entity == rootNumber)
      refuse("the root does not go in a record");
   const Slot slot = slotOf(record.entity);
   const Slot& parent = numbers_[slot.parent];
   const EntityPlan::Attribute& attribute = plans_[parent.plan].attributes()[slot.attr];
   Vok::Entity& owner = *parent.entity;
   const void* key = attribute.declared->keyType ? plans_[slot.plan].keyOf(*slot.entity) : nullptr;
   numbers_.remove(record.entity, [&](EntityNumber number) {
      if (number != record.entity)
         references_.goes(*numbers_[number].entity);
   });
   eraseBelow(owner, *attribute.declared, key);
}

void Incoming::applySet(const Record& record) {
   const Slot& slot = slotOf(record.entity);
   EntityPlan::Attribute& attribute = attributeOf(slot, record.attr);
   switch (attribute.declared->kind) {
   case AttributeKind::scalar:
      unpack(attribute.value->type(), record.value, attribute.value->data());
      mention(slot, record.entity, record.attr, {});
      return attribute.declared->access.set(*slot.entity, attribute.value->data());
   case AttributeKind::pointer:
      return refer(record.entity, attribute, {}, record.value);
   default:
      refuse("'" + Vok::String(attribute.declared->name) + "' is no single value");
   }
}

void Incoming::applyPut(const Record& record) {
   const Slot& slot = slotOf(record.entity);
   EntityPlan::Attribute& attribute = attributeOf(slot, record.attr);
   if (!attribute.declared->keyType || isBelow(attribute))
      refuse("'" + Vok::String(attribute.declared->name) + "' has no entries");
   const void* key = unpackKey(attribute, record.key);
   const Vok::AttributeAccess& access = attribute.declared->access;
   switch (attribute.declared->kind) {
   case AttributeKind::references:
      return refer(record.entity, attribute, record.key, record.value);
   case AttributeKind::set:
      if (!record.value.empty())
         refuse("a value for the set '" + Vok::String(attribute.declared->name) + "'");
      mention(slot, record.entity, record.attr, record.key);
      return access.put(*slot.entity, key, nullptr);
   default:
      unpack(attribute.value->type(), record.value, attribute.value->data());
      mention(slot, record.entity, record.attr, record.key);
      return access.put(*slot.entity, key, attribute.value->data());
   }
}

void Incoming::applyErase(const Record& record) {
   const Slot& slot = slotOf(record.entity);
   EntityPlan::Attribute& attribute = attributeOf(slot, record.attr);
   if (!attribute.declared->keyType || isBelow(attribute))
      refuse("'" + Vok::String(attribute.declared->name) + "' has no entries");
   const void* key = unpackKey(attribute, record.key);
   if (!missing_.empty())
      missing_.erase(holderKey(record.entity, record.attr, record.key));
   attribute.declared->access.erase(*slot.entity, key);
}

void Incoming::mention(const Slot& slot, EntityNumber number, AttrId attr, Bytes key) {
   if (inSnapshot_ && slot.kept)
      mentioned_.mark(number, attr, key);
}

void Incoming::snapshotEnd() {
   for (EntityNumber number = 0; number < numbers_.limit(); ++number)
      if (const Slot* slot = numbers_.find(number); slot && slot->kept)
         removeUnmentioned(number);
   mentioned_.clear();
   inSnapshot_ = false;
   numbers_.collectFree();
}

void Incoming::removeUnmentioned(EntityNumber number) {
   const Slot slot = numbers_[number];
   for (EntityPlan::Attribute& attribute : plans_[slot.plan].attributes()) {
      const Vok::Attribute& declared = *attribute.declared;
      if (!attribute.travels)
         continue;
      if (declared.keyType) {
         removeUnmentionedEntries(number, attribute);
         continue;
      }
      if (mentioned_.has(number, declared.id, {}))
         continue;
      if (declared.kind == AttributeKind::pointer)
         declared.access.refer(*slot.entity, nullptr, nullptr);
      else if (declared.kind == AttributeKind::child)
         eraseBelow(*slot.entity, declared, nullptr);
      else if (attribute.initial)
         declared.access.set(*slot.entity, attribute.initial->data());
   }
}

void Incoming::removeUnmentionedEntries(EntityNumber number, EntityPlan::Attribute& attribute) {
   const Vok::Attribute& declared = *attribute.declared;
   Vok::Entity& entity = *numbers_[number].entity;
   declared.access.walk(entity, [&](const void* key, const void*) {
      keyLog_.clear();
      declared.keyType->writeLog(key, keyLog_);
      if (mentioned_.has(number, declared.id, keyLog_.buffer()))
         return;
      if (isBelow(attribute))
         eraseBelow(entity, declared, key);
      else
         declared.access.erase(entity, key);
   });
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

bool Incoming::resolve() {
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
   return !missing_.empty();
}

void Incoming::targetGoes(const Vok::Entity& target, Bytes address) {
   const std::string where(reinterpret_cast<const char*>(address.data()), address.size());
   for (const EntityNumber number : referring_) {
      const Slot* slot = numbers_.find(number);
      if (!slot)
         continue;
      Vok::Entity& entity = *slot->entity;
      for (const EntityPlan::Attribute& attribute : plans_[slot->plan].attributes()) {
         const Vok::Attribute& declared = *attribute.declared;
         const bool pointer = declared.kind == AttributeKind::pointer;
         if (!pointer && declared.kind != AttributeKind::references)
            continue;
         if (!target.vokEntityType().isA(*declared.entityType()))
            continue;
         // References stand under one of their own parameters; a pointer under another key is found by
         // nobody.
         for (const Vok::Parameter& parameter : target.vokEntityType().parameters()) {
            if (!pointer && parameter.type != declared.keyType)
               continue;
            const void* key = pointer ? nullptr : parameter.get(target);
            if (declared.access.entity(entity, key) != &target)
               continue;
            keyLog_.clear();
            if (!pointer)
               declared.keyType->writeLog(key, keyLog_);
            missing_[holderKey(number, declared.id, keyLog_.buffer())] = where;
            if (pointer)
               declared.access.refer(entity, nullptr, nullptr);
            else
               declared.access.erase(entity, key);
            break;
         }
      }
   }
}

} // namespace Hubdb
