// Incoming's snapshots: what is there stays, and what they do not mention goes.

#include "Hubdb/Incoming.h"

#include "Vok/Hash.h"

#include <algorithm>

namespace Hubdb {

using Vok::AttributeKind;
using Vok::AttrId;

namespace {

Vok::U32 addressHash(const Vok::Entity& entity) {
   Vok::Hash hash;
   hash.mix(reinterpret_cast<std::uintptr_t>(&entity));
   return hash.result();
}

} // namespace

void Incoming::snapshotBegin() {
   numbers_.clear();
   numbered_ = {};
   mentioned_.clear();
   run_.clear();
   runOf_ = EntityNumbers::none;
   missing_.clear();
   referring_.clear();
   inSnapshot_ = true;
   const Vok::U16 plan = plans_.numberOf(root_->vokEntityType());
   numbers_.add(rootNumber, root_.get(), plan, EntityNumbers::none, 0).kept = !fresh_;
   if (plans_[plan].refers())
      referring_.push_back(rootNumber);
   fresh_ = false;
}

void Incoming::mention(const Slot& slot, EntityNumber number, AttrId attr, Bytes key) {
   if (!inSnapshot_ || !slot.kept || slot.settled)
      return;
   if (number != runOf_) {
      runEnds();
      runOf_ = number;
      runCounts_.assign(plans_[slot.plan].attributes().size(), 0);
   }
   runCounts_[attr] += run_.mark(number, attr, key);
}

void Incoming::runEnds() {
   if (Slot* slot = runOf_ == EntityNumbers::none ? nullptr : numbers_.find(runOf_)) {
      slot->settled = runMentionsAll(*slot);
      while (!slot->settled && !run_.empty()) {
         const DirtyMarks::Mark mark = run_.take();
         mentioned_.mark(mark.entity, mark.attr, mark.key);
      }
   }
   run_.clear();
   runOf_ = EntityNumbers::none;
}

/// Never of an entity that points elsewhere: what is mentioned there need not be there.
bool Incoming::runMentionsAll(const Slot& slot) {
   EntityPlan& plan = plans_[slot.plan];
   return !plan.refers() &&
          std::ranges::all_of(plan.attributes(), [&](const EntityPlan::Attribute& attribute) {
             const Vok::Attribute& declared = *attribute.declared;
             if (!attribute.travels || attribute.isBelow())
                return true;
             const std::size_t mentioned = runCounts_[declared.id];
             if (declared.keyType)
                return mentioned == declared.access.size(*slot.entity);
             return mentioned > 0 || !attribute.initial ||
                    declared.valueType->storage().equal(declared.access.get(*slot.entity),
                                                        attribute.initial->data());
          });
}

void Incoming::numberedIs(EntityNumber number) {
   numbered_.add(addressHash(*numbers_[number].entity), number);
}

void Incoming::numberedDel(EntityNumber number) {
   numbered_.del(addressHash(*numbers_[number].entity), number);
}

EntityNumber Incoming::numberedAs(const Vok::Entity& entity) const {
   return numbered_.find(addressHash(entity),
                         [&](EntityNumber number) { return numbers_[number].entity == &entity; });
}

void Incoming::snapshotEnd() {
   runEnds();
   for (EntityNumber number = 0; number < numbers_.limit(); ++number)
      if (const Slot* slot = numbers_.find(number); slot && slot->kept)
         removeUnmentioned(number);
   forgetUnmentionedMissing();
   numbered_ = {};
   mentioned_.clear();
   inSnapshot_ = false;
}

void Incoming::removeUnmentioned(EntityNumber number) {
   const Slot slot = numbers_[number];
   for (EntityPlan::Attribute& attribute : plans_[slot.plan].attributes()) {
      const Vok::Attribute& declared = *attribute.declared;
      if (!attribute.travels)
         continue;
      if (attribute.isBelow()) {
         removeUnmentionedBelow(number, attribute);
         continue;
      }
      if (slot.settled)
         continue;
      if (declared.keyType) {
         removeUnmentionedEntries(number, attribute);
         continue;
      }
      if (mentioned_.has(number, declared.id, {}))
         continue;
      if (declared.kind == AttributeKind::pointer)
         declared.access.refer(*slot.entity, nullptr, nullptr);
      else if (attribute.initial)
         declared.access.set(*slot.entity, attribute.initial->data());
   }
}

/// Whether everything that stands in the attribute has a number.
bool Incoming::allNumbered(EntityNumber parent, const EntityPlan::Attribute& attribute) const {
   std::size_t numbered = 0;
   for (EntityNumber below = numbers_[parent].below; below != EntityNumbers::none;
        below = numbers_[below].next)
      numbered += numbers_[below].attr == attribute.declared->id;
   return numbered == attribute.declared->access.size(*numbers_[parent].entity);
}

void Incoming::removeUnmentionedBelow(EntityNumber number, const EntityPlan::Attribute& attribute) {
   const Vok::Attribute& declared = *attribute.declared;
   Vok::Entity& entity = *numbers_[number].entity;
   const auto removeUnnumbered = [&](const void* key) {
      const Vok::Entity* below = declared.access.entity(entity, key);
      if (below && numberedAs(*below) == EntityNumbers::none)
         eraseBelow(entity, declared, key);
   };
   if (!declared.keyType)
      removeUnnumbered(nullptr);
   else if (!allNumbered(number, attribute))
      declared.access.walk(entity, [&](const void* key, const void*) { removeUnnumbered(key); });
}

void Incoming::removeUnmentionedEntries(EntityNumber number, EntityPlan::Attribute& attribute) {
   const Vok::Attribute& declared = *attribute.declared;
   Vok::Entity& entity = *numbers_[number].entity;
   declared.access.walk(entity, [&](const void* key, const void*) {
      keyLog_.clear();
      declared.keyType->writeLog(key, keyLog_);
      if (mentioned_.has(number, declared.id, keyLog_.buffer()))
         return;
      declared.access.erase(entity, key);
   });
}

} // namespace Hubdb
