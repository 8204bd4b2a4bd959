#include "Hubdb/Incoming.h"

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

} // namespace

Incoming::Incoming(Vok::Ptr<Vok::Entity> root, Plans& plans, References& references)
    : root_(std::move(root)), plans_(plans), references_(references) {}

void Incoming::apply(Bytes batch) {
   RecordsAhead<Ahead> records(batch);
   std::size_t at = 0;
   const auto where = [&](const Vok::Error& error) {
      return "record at byte " + text(at) + " of a batch of " + text(batch.size()) + " for '" +
             root_->fullName() + "': " + error.what();
   };
   const auto first = [this](auto& entry) { entry.hint = fetch(entry.record); };
   const auto second = [this](const auto& entry) { fetchEntry(entry.record, entry.hint); };
   while (const auto* entry = records.next(first, second)) {
      at = static_cast<std::size_t>(entry->record.whole.data() - batch.data());
      try {
         applyOne(entry->record);
      } catch (const Vok::RangeError& error) {
         throw Vok::RangeError(where(error));
      } catch (const Vok::LogError& error) {
         throw Vok::LogError(where(error));
      }
   }
}

/// Of a record that is applied a little later, and may be wrong: what it puts into a large collection is
/// brought near.
Incoming::Ahead Incoming::fetch(const Record& record) {
   constexpr std::size_t large = 16384; // entries; fewer are near as a rule
   const Slot* slot = record.op == RecordOp::put ? numbers_.find(record.entity) : nullptr;
   if (!slot || record.attr >= plans_[slot->plan].attributes().size())
      return {};
   EntityPlan::Attribute& attribute = plans_[slot->plan].attributes()[record.attr];
   const Vok::AttributeAccess& access = attribute.declared->access;
   if (!attribute.key || !access.fetch || access.size(*slot->entity) < large)
      return {};
   try {
      unpack(attribute.key->type(), record.key, attribute.key->data());
   } catch (const Vok::Error&) {
      return {}; // told when it is applied
   }
   return {&access, access.fetch(*slot->entity, attribute.key->data())};
}

/// The entity may have gone meanwhile, and its number may be that of another one.
void Incoming::fetchEntry(const Record& record, const Ahead& ahead) {
   const Slot* slot = ahead.access ? numbers_.find(record.entity) : nullptr;
   if (!slot || record.attr >= plans_[slot->plan].attributes().size())
      return;
   if (&plans_[slot->plan].attributes()[record.attr].declared->access == ahead.access)
      ahead.access->fetchEntry(*slot->entity, ahead.hint);
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
   if (!attribute.isBelow())
      refuse("no entities stand in '" + Vok::String(attribute.declared->name) + "'");
   if (numbers_.find(record.entity) || record.entity >= maxEntities)
      refuse("the number " + text(record.entity) + " is " +
             (numbers_.find(record.entity) ? "taken" : "too large"));
   EntityPlan& plan = plans_[attribute.below];
   const auto parameters = plan.unpackParameters(record.key);
   const void* key = attribute.declared->keyType ? parameters.front() : nullptr;
   const Vok::AttributeAccess& access = attribute.declared->access;

   Vok::Entity* entity = access.entity(*parent.entity, key);
   const bool watched = inSnapshot_ && parent.kept;
   if (entity && (!watched || numberedAs(*entity) != EntityNumbers::none))
      refuse("it is there already under another number");
   if (entity && !plan.madeFromThem(*entity)) {
      eraseBelow(*parent.entity, *attribute.declared, key);
      entity = nullptr;
   }
   const bool kept = entity != nullptr;
   if (!entity)
      entity = access.create(*parent.entity, parameters);
   numbers_.add(record.entity, entity, attribute.below, record.parent, record.attr).kept = kept;
   if (watched)
      numberedIs(record.entity);
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
   runEnds(); // another entity may get the number
   const Slot& parent = numbers_[slot.parent];
   const EntityPlan::Attribute& attribute = plans_[parent.plan].attributes()[slot.attr];
   Vok::Entity& owner = *parent.entity;
   const void* key = attribute.declared->keyType ? plans_[slot.plan].keyOf(*slot.entity) : nullptr;
   numbers_.remove(record.entity, [&](EntityNumber number) {
      const Slot& going = numbers_[number];
      if (inSnapshot_ && numbers_[going.parent].kept)
         numberedDel(number);
      if (number != record.entity)
         references_.goes(*going.entity);
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
   if (!attribute.declared->keyType || attribute.isBelow())
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
   if (!attribute.declared->keyType || attribute.isBelow())
      refuse("'" + Vok::String(attribute.declared->name) + "' has no entries");
   const void* key = unpackKey(attribute, record.key);
   forgetMissing(record.entity, record.attr, record.key);
   if (record.entity == runOf_)
      runEnds(); // what it mentioned is more than what there is from here on
   attribute.declared->access.erase(*slot.entity, key);
}

} // namespace Hubdb
