#pragma once
// Hubdb::EntityNumbers: the entities below one root by number, and who stands below whom.

#include "Hubdb/Record.h"

#include <vector>

namespace Hubdb {

/// More entities than this do not stand below one root; it bounds what a hostile number can cost.
inline constexpr EntityNumber maxEntities = EntityNumber(1) << 24;

/// A flat table, 32 bytes an entity. Does not keep entities alive.
class EntityNumbers {
  public:
   static constexpr EntityNumber none = ~EntityNumber(0);

   struct Slot {
      Vok::Entity* entity = nullptr; ///< null: the number is free
      EntityNumber parent = none;
      EntityNumber below = none; ///< its first child; the others follow by `next`
      EntityNumber next = none;
      EntityNumber previous = none;
      Vok::U16 plan = 0;
      Vok::AttrId attr = 0; ///< the parent's
      bool kept = false;    ///< for Incoming: it was there before the snapshot
      bool settled = false; ///< and has nothing of its own that the snapshot did not mention
   };

   /// Null when the number is free.
   Slot* find(EntityNumber number) {
      return number < slots_.size() && slots_[number].entity ? &slots_[number] : nullptr;
   }
   Slot& operator[](EntityNumber number) { return slots_[number]; }
   const Slot& operator[](EntityNumber number) const { return slots_[number]; }
   /// Every number in use is less.
   EntityNumber limit() const { return static_cast<EntityNumber>(slots_.size()); }
   std::size_t size() const { return used_; }

   /// Takes a free number below maxEntities into use. The root has no parent.
   Slot& add(EntityNumber number, Vok::Entity* entity, Vok::U16 plan, EntityNumber parent, Vok::AttrId attr);
   /// Frees a number and all below it, the lowest first; calls `visit( number )` before each.
   template <class Visit>
   void remove(EntityNumber number, Visit visit) {
      while (slots_[number].below != none)
         remove(slots_[number].below, visit);
      visit(number);
      unlink(number);
   }

   /// The number that follows in a walk in which parents come before what stands below them; none at the end.
   EntityNumber after(EntityNumber number) const;

   void clear();

  private:
   void unlink(EntityNumber number);

   std::vector<Slot> slots_;
   std::size_t used_ = 0;
};

} // namespace Hubdb
