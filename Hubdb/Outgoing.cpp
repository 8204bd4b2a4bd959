#include "Hubdb/Outgoing.h"

#include "Vok/Hash.h"
#include "Vok/Trace.h"

#include <algorithm>
#include <bit>

namespace Hubdb {

using Vok::AttributeKind;
using Vok::AttrId;
using Vok::U32;

namespace {

constinit Vok::TraceFacility trace("HubdbOutgoing");

constexpr std::size_t firstPlaces = 16;

bool isBelow(const Vok::Attribute& attribute) {
   return attribute.kind == AttributeKind::members || attribute.kind == AttributeKind::child;
}

U32 placeHash(EntityNumber parent, AttrId attr, Bytes key) {
   Vok::Hash hash;
   hash.mix(Vok::U64(parent) << 16 | attr);
   hash.mix(key.data(), key.size());
   return hash.result();
}

} // namespace

/// Told of the changes of one entity, which it keeps alive until its going has been written.
class Outgoing::Watcher final : public Vok::Notifiee {
  public:
   Watcher(const Vok::Entity& entity, Outgoing& outgoing, EntityNumber number, Vok::U16 plan)
       : Notifiee(Vok::Ptr<const Vok::Entity>(&entity)), outgoing_(outgoing), number_(number), plan_(plan) {}
   void vokOnChange(AttrId attr, const void* key) override { outgoing_.onChange(number_, plan_, attr, key); }

   U32 hash = 0; ///< of its place below its parent

  private:
   Outgoing& outgoing_;
   const EntityNumber number_;
   const Vok::U16 plan_;
};

Outgoing::Outgoing(Vok::Ptr<Vok::Entity> root, Plans& plans, const References& references,
                   FirstMark firstMark)
    : root_(std::move(root)), plans_(plans), references_(references), firstMark_(std::move(firstMark)) {
   numbers_.add(rootNumber, root_.get(), plans_.numberOf(root_->vokEntityType()), EntityNumbers::none, 0);
   watch(rootNumber);
   takeBelow(rootNumber, nullptr);
}

Outgoing::Outgoing(Vok::Ptr<Vok::Entity> root, EntityNumbers numbers, Plans& plans,
                   const References& references, FirstMark firstMark)
    : root_(std::move(root)), plans_(plans), references_(references), firstMark_(std::move(firstMark)),
      numbers_(std::move(numbers)) {
   for (EntityNumber number = rootNumber; number != EntityNumbers::none; number = numbers_.after(number)) {
      EntityNumbers::Slot& slot = numbers_[number];
      slot.plan = plans_.numberOf(slot.entity->vokEntityType());
      watch(number);
   }
   for (EntityNumber number = numbers_.limit(); number-- > 0;)
      if (!numbers_.find(number))
         free_.push_back(number);
}

Outgoing::~Outgoing() = default;

void Outgoing::watch(EntityNumber number) {
   if (number >= watchers_.size())
      watchers_.resize(number + 1);
   watchers_[number] =
       std::make_unique<Watcher>(*numbers_[number].entity, *this, number, numbers_[number].plan);
   if (number != rootNumber)
      indexIs(number);
}

Bytes Outgoing::packKey(const Vok::Type* type, const void* key) {
   keyLog_.clear();
   if (type && key)
      type->writeLog(key, keyLog_);
   return keyLog_.buffer();
}

void Outgoing::onChange(EntityNumber number, Vok::U16 plan, AttrId attr, const void* key) {
   const EntityPlan::Attribute& attribute = plans_[plan].attributes()[attr];
   if (!attribute.travels)
      return;
   const Bytes packed = packKey(attribute.declared->keyType, key);
   if (packed.size() > maxKeySize) {
      if (auto line = trace.at(0))
         line << "a key of " << packed.size() << " bytes does not travel: " << root_->fullName() << "."
              << attribute.declared->name;
      return;
   }
   const bool first = marks_.empty();
   marks_.mark(number, attr, packed);
   if (first)
      firstMark_();
}

bool Outgoing::flush(RecordWriter& writer, std::size_t limit) {
   while (!marks_.empty()) {
      if (writer.size() >= limit)
         return false;
      writeMark(marks_.take(), writer);
   }
   marks_.clear();
   free_.insert(free_.end(), freed_.begin(), freed_.end());
   freed_.clear();
   return true;
}

void Outgoing::writeMark(const DirtyMarks::Mark& mark, RecordWriter& writer) {
   const EntityNumbers::Slot* slot = numbers_.find(mark.entity);
   if (!slot)
      return; // gone meanwhile, which has been written
   EntityPlan::Attribute& attribute = plans_[slot->plan].attributes()[mark.attr];
   const Vok::AttributeAccess& access = attribute.declared->access;
   const Vok::Entity& entity = *slot->entity;
   if (attribute.declared->kind == AttributeKind::scalar)
      return writer.set(mark.entity, mark.attr, *attribute.declared->valueType, access.get(entity));
   if (attribute.declared->kind == AttributeKind::pointer)
      return writeReference(mark.entity, attribute, {}, access.entity(entity, nullptr), writer);
   void* key = attribute.key ? attribute.key->data() : nullptr;
   if (key)
      unpack(attribute.key->type(), mark.key, key);
   if (isBelow(*attribute.declared))
      return writeMember(mark.entity, attribute, mark.key, writer);
   const void* value = access.find(entity, key);
   if (!value)
      return writer.erase(mark.entity, mark.attr, mark.key);
   switch (attribute.declared->kind) {
   case AttributeKind::references:
      return writeReference(mark.entity, attribute, mark.key, access.entity(entity, key), writer);
   case AttributeKind::set:
      return writer.put(mark.entity, mark.attr, mark.key, {});
   default:
      return writer.put(mark.entity, mark.attr, mark.key, *attribute.declared->valueType, value);
   }
}

void Outgoing::writeReference(EntityNumber number, const EntityPlan::Attribute& attribute, Bytes key,
                              const Vok::Entity* target, RecordWriter& writer) {
   otherLog_.clear();
   references_.write(target, otherLog_);
   if (attribute.declared->kind == AttributeKind::pointer)
      writer.set(number, attribute.declared->id, otherLog_.buffer());
   else
      writer.put(number, attribute.declared->id, key, otherLog_.buffer());
}

/// The attribute's scratch key holds the key.
void Outgoing::writeMember(EntityNumber parent, EntityPlan::Attribute& attribute, Bytes key,
                           RecordWriter& writer) {
   const Vok::Attribute& declared = *attribute.declared;
   Vok::Entity* now =
       declared.access.entity(*numbers_[parent].entity, attribute.key ? attribute.key->data() : nullptr);
   const EntityNumber known = numberUnder(parent, declared.id, key);
   if (known != EntityNumbers::none) {
      if (numbers_[known].entity == now)
         return;
      drop(known, writer);
   }
   if (now)
      take(*now, parent, attribute, &writer);
}

void Outgoing::take(Vok::Entity& entity, EntityNumber parent, EntityPlan::Attribute& attribute,
                    RecordWriter* writer) {
   EntityNumber number = numbers_.limit();
   if (!free_.empty()) {
      number = free_.back();
      free_.pop_back();
   }
   numbers_.add(number, &entity, attribute.below, parent, attribute.declared->id);
   watch(number);
   if (writer) {
      writeMemberRecord(number, *writer);
      writeOwn(number, *writer);
   }
   takeBelow(number, writer);
}

void Outgoing::takeBelow(EntityNumber number, RecordWriter* writer) {
   const Vok::Entity& entity = *numbers_[number].entity;
   for (EntityPlan::Attribute& attribute : plans_[numbers_[number].plan].attributes()) {
      if (!attribute.travels || !isBelow(*attribute.declared))
         continue;
      const Vok::AttributeAccess& access = attribute.declared->access;
      if (access.walk)
         access.walk(entity, [&](const void* key, const void*) {
            take(*access.entity(entity, key), number, attribute, writer);
         });
      else if (Vok::Entity* child = access.entity(entity, nullptr))
         take(*child, number, attribute, writer);
   }
}

void Outgoing::writeMemberRecord(EntityNumber number, RecordWriter& writer) {
   const EntityNumbers::Slot& slot = numbers_[number];
   keyLog_.clear();
   plans_[slot.plan].packParameters(*slot.entity, keyLog_);
   writer.member(number, slot.parent, slot.attr, keyLog_.buffer());
}

void Outgoing::writeOwn(EntityNumber number, RecordWriter& writer) {
   const Vok::Entity& entity = *numbers_[number].entity;
   for (const EntityPlan::Attribute& attribute : plans_[numbers_[number].plan].attributes()) {
      const Vok::Attribute& declared = *attribute.declared;
      if (!attribute.travels || isBelow(declared))
         continue;
      if (declared.kind == AttributeKind::pointer) {
         if (const Vok::Entity* target = declared.access.entity(entity, nullptr))
            writeReference(number, attribute, {}, target, writer);
      } else if (declared.kind == AttributeKind::scalar) {
         const void* value = declared.access.get(entity);
         if (!attribute.initial || !declared.valueType->storage().equal(value, attribute.initial->data()))
            writer.set(number, declared.id, *declared.valueType, value);
      } else {
         writeEntries(number, attribute, writer);
      }
   }
}

void Outgoing::writeEntries(EntityNumber number, const EntityPlan::Attribute& attribute,
                            RecordWriter& writer) {
   const Vok::Attribute& declared = *attribute.declared;
   const Vok::Entity& entity = *numbers_[number].entity;
   declared.access.walk(entity, [&](const void* key, const void* value) {
      const Bytes packed = packKey(declared.keyType, key);
      if (packed.size() > maxKeySize)
         return; // traced when it was marked
      if (declared.kind == AttributeKind::references)
         writeReference(number, attribute, packed, declared.access.entity(entity, key), writer);
      else if (declared.kind == AttributeKind::set)
         writer.put(number, declared.id, packed, {});
      else
         writer.put(number, declared.id, packed, *declared.valueType, value);
   });
}

bool Outgoing::snapshot(RecordWriter& writer, std::size_t limit) {
   while (walk_ != EntityNumbers::none) {
      if (writer.size() >= limit)
         return false;
      if (walk_ != rootNumber)
         writeMemberRecord(walk_, writer);
      writeOwn(walk_, writer);
      walk_ = numbers_.after(walk_);
   }
   return true;
}

void Outgoing::drop(EntityNumber number, RecordWriter& writer) {
   writer.gone(number);
   numbers_.remove(number, [&](EntityNumber below) {
      indexDel(below);
      watchers_[below].reset();
      freed_.push_back(below);
   });
}

EntityNumber Outgoing::numberUnder(EntityNumber parent, AttrId attr, Bytes key) {
   if (index_.empty())
      return EntityNumbers::none;
   const U32 hash = placeHash(parent, attr, key);
   const std::size_t mask = index_.size() - 1;
   for (std::size_t place = hash & mask; index_[place] != EntityNumbers::none; place = (place + 1) & mask) {
      const EntityNumber number = index_[place];
      const EntityNumbers::Slot& slot = numbers_[number];
      if (watchers_[number]->hash != hash || slot.parent != parent || slot.attr != attr)
         continue;
      const Vok::Type* keyType = plans_[numbers_[parent].plan].attributes()[attr].declared->keyType;
      otherLog_.clear();
      if (keyType)
         keyType->writeLog(plans_[slot.plan].keyOf(*slot.entity), otherLog_);
      if (std::ranges::equal(otherLog_.buffer(), key))
         return number;
   }
   return EntityNumbers::none;
}

void Outgoing::indexIs(EntityNumber number) {
   const EntityNumbers::Slot& slot = numbers_[number];
   const Vok::Type* keyType = plans_[numbers_[slot.parent].plan].attributes()[slot.attr].declared->keyType;
   watchers_[number]->hash = placeHash(
       slot.parent, slot.attr, packKey(keyType, keyType ? plans_[slot.plan].keyOf(*slot.entity) : nullptr));
   const auto place = [&](EntityNumber placed) {
      std::size_t at = home(placed);
      while (index_[at] != EntityNumbers::none)
         at = (at + 1) & (index_.size() - 1);
      index_[at] = placed;
   };
   if (numbers_.size() * 3 <= index_.size() * 2)
      return place(number);
   const std::vector<EntityNumber> before = std::exchange(
       index_, std::vector<EntityNumber>(std::bit_ceil(std::max(firstPlaces, numbers_.size() * 2)),
                                         EntityNumbers::none));
   for (const EntityNumber placed : before)
      if (placed != EntityNumbers::none)
         place(placed);
   place(number);
}

std::size_t Outgoing::home(EntityNumber number) const {
   return watchers_[number]->hash & (index_.size() - 1);
}

/// Takes a number out and closes the gap.
void Outgoing::indexDel(EntityNumber number) {
   const std::size_t mask = index_.size() - 1;
   std::size_t hole = home(number);
   while (index_[hole] != number)
      hole = (hole + 1) & mask;
   for (std::size_t at = (hole + 1) & mask; index_[at] != EntityNumbers::none; at = (at + 1) & mask) {
      if (((at - home(index_[at])) & mask) < ((at - hole) & mask))
         continue;
      index_[hole] = index_[at];
      hole = at;
   }
   index_[hole] = EntityNumbers::none;
}

} // namespace Hubdb
