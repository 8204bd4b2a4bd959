#pragma once
// Vok::Dir: a directory of named entities.

#include "Vok/Entity.h"

namespace Vok {

/// A named directory. Each entry is an entity under its own name; notifiees are told per entry.
class Dir : public NamedEntity {
  public:
   explicit Dir(Name name) : NamedEntity(std::move(name)) {}
   ~Dir() override;

   static constexpr AttrId entityPtrAttr = Entity::vokAttrEnd;
   static constexpr AttrId vokAttrEnd = entityPtrAttr + 1;

   /// The entry of that name, or null.
   Ptr<Entity> entityPtr(const Name& name) const { return vokGet(entityPtr_, name); }
   bool entityPtrHas(const Name& name) const { return entityPtr_.has(name); }
   U32 entityPtrs() const { return static_cast<U32>(entityPtr_.size()); }
   /// Adds an entity under its own name, or replaces the one there. Raises RangeError for null.
   void entityPtrIs(const Ptr<Entity>& entity);
   void entityPtrDel(const Name& name) { vokDel(entityPtr_, entityPtrAttr, name); }
   void entityPtrDelAll() { vokDelAll(entityPtr_, entityPtrAttr); }
   void entityPtrNotify(const Name& name) const { vokNotify(entityPtrAttr, &name); }
   auto entityPtrEach() const { return Each(this, entityPtr_); }

   const EntityType& vokEntityType() const override { return vokType(); }
   static const EntityType& vokType();

  private:
   HashMap<Name, Ptr<Entity>> entityPtr_;
};

} // namespace Vok
