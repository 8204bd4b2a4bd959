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

   /// The entity of the entry of that name; null when there is no such entry, and when only its name is
   /// known.
   Ptr<Entity> entityPtr(const Name& name) const { return vokGet(entityPtr_, name); }
   bool entityPtrHas(const Name& name) const { return entityPtr_.has(name); }
   U32 entityPtrs() const { return static_cast<U32>(entityPtr_.size()); }
   /// Adds an entity under its own name, or replaces the one there. Raises RangeError for null.
   void entityPtrIs(const Ptr<Entity>& entity);
   /// Adds an entry of which no more than its name is known; does nothing when there is one of that name.
   void entityPtrNameIs(const Name& name);
   /// Sets the entity of an entry whose name is known, or takes it away when null. Tells nobody: the entry
   /// is the same. Does nothing when there is no such entry.
   void entityPtrKnown(const Name& name, const Ptr<Entity>& entity);
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
