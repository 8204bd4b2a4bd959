#include "Hubdb/EntityNumbers.h"

namespace Hubdb {

EntityNumbers::Slot& EntityNumbers::add(EntityNumber number, Vok::Entity* entity, Vok::U16 plan,
                                        EntityNumber parent, Vok::AttrId attr) {
   if (number >= slots_.size())
      slots_.resize(number + 1);
   Slot& slot = slots_[number];
   slot = {.entity = entity, .parent = parent, .plan = plan, .attr = attr};
   ++used_;
   if (parent != none) {
      slot.next = slots_[parent].below;
      if (slot.next != none)
         slots_[slot.next].previous = number;
      slots_[parent].below = number;
   }
   return slot;
}

EntityNumber EntityNumbers::freeNumber() {
   if (free_.empty())
      return limit();
   const EntityNumber number = free_.back();
   free_.pop_back();
   return number;
}

void EntityNumbers::unlink(EntityNumber number) {
   Slot& slot = slots_[number];
   if (slot.previous != none)
      slots_[slot.previous].next = slot.next;
   else if (slot.parent != none)
      slots_[slot.parent].below = slot.next;
   if (slot.next != none)
      slots_[slot.next].previous = slot.previous;
   slot = {};
   freed_.push_back(number);
   --used_;
}

void EntityNumbers::reuse() {
   free_.insert(free_.end(), freed_.begin(), freed_.end());
   freed_.clear();
}

void EntityNumbers::collectFree() {
   free_.clear();
   freed_.clear();
   for (EntityNumber number = limit(); number-- > 0;)
      if (!slots_[number].entity)
         free_.push_back(number);
}

EntityNumber EntityNumbers::after(EntityNumber number) const {
   if (slots_[number].below != none)
      return slots_[number].below;
   while (number != none && slots_[number].next == none)
      number = slots_[number].parent;
   return number == none ? none : slots_[number].next;
}

void EntityNumbers::clear() {
   slots_.clear();
   free_.clear();
   freed_.clear();
   used_ = 0;
}

} // namespace Hubdb
