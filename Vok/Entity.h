#pragma once
// Vok::Entity: what every entity and state machine is built on. It counts pointers, knows its place in
// the tree and tells its notifiees of changes.

#include "Vok/HashMap.h"
#include "Vok/Name.h"
#include "Vok/Notifiee.h"
#include "Vok/OrderedMap.h"

namespace Vok {

class EntityType;

/// A reference-counted object with attributes. Made by its factory, by Vok::make, or inside its
/// owner's collection; destroyed with its last pointer. Belongs to the activity thread.
///
/// Generated mutators are built from the protected functions: each stores, then notifies, and does
/// nothing at all when the stored value is equal already.
class Entity {
  public:
   Entity(const Entity&) = delete;
   Entity& operator=(const Entity&) = delete;

   virtual const EntityType& vokEntityType() const = 0;

   /// The name it was constructed with; empty for entities keyed by something else.
   virtual Name vokName() const { return Name(); }
   /// The owner's full name, '.', the attribute, '/' and the key; at the root, its own name.
   String fullName() const;
   /// The entity in whose collection it lives; null at the root or after its removal.
   Entity* vokParent() const { return parent_; }
   /// The attribute of the owner that holds it; means nothing without an owner.
   AttrId vokParentAttr() const { return parentAttr_; }

   /// Tells every notifiee, now and in order of attachment, of a change of one attribute. The entity may be
   /// gone when it returns.
   void vokNotify(AttrId attr, const void* key = nullptr) const {
      if (!notifiees_)
         return;
      if (!notifiees_->next_)
         notifiees_->vokOnChange(attr,
                                 key); // nobody comes after it, so that nothing needs to be kept track of
      else
         deliver(attr, key);
   }
   void vokNotifyCollection(AttrId attr) const {
      if (notifiees_)
         deliver(attr, &Notifiee::vokOnCollection);
   }
   void vokNotifyMountStatus(AttrId attr) const {
      if (notifiees_)
         deliver(attr, &Notifiee::vokOnMountStatus);
   }

   void vokAcquire() const { ++pointers_; }
   void vokRelease() const {
      if (--pointers_ == 0)
         delete this;
   }

   /// Sets the entity's place in the tree: its owner (null: none) and the attribute that holds it.
   void vokPlaceIs(Entity* parent, AttrId attr) {
      parent_ = parent;
      parentAttr_ = attr;
   }

  protected:
   Entity() = default;
   virtual ~Entity();

   /// Derived entities number their attributes from here.
   static constexpr AttrId vokAttrEnd = 0;

   template <class T>
   void vokSet(T& stored, std::type_identity_t<T> value, AttrId attr) {
      if (stored == value)
         return;
      stored = std::move(value);
      vokNotify(attr);
   }

   template <class Map>
   void vokMapIs(Map& map, AttrId attr, const typename Map::Key& key, typename Map::Mapped value) {
      if (map.is(key, std::move(value)))
         vokNotify(attr, &key);
   }
   template <class Set>
   void vokSetIs(Set& set, AttrId attr, const typename Set::Key& key) {
      if (set.is(key))
         vokNotify(attr, &key);
   }
   /// For maps and sets alike. The key may be a reference into the collection.
   template <class Collection>
   void vokDel(Collection& collection, AttrId attr, const typename Collection::Key& key) {
      const typename Collection::Key removed = key;
      if (collection.del(removed))
         vokNotify(attr, &removed);
   }
   /// Removes one by one, so that each removal is notified: as many entries as there are now. What observers
   /// add meanwhile may stay.
   template <class Collection>
   void vokDelAll(Collection& collection, AttrId attr) {
      const Ptr<Entity> keepAlive(this);
      std::size_t left = collection.size();
      for (const auto& entry : collection) {
         if (left-- == 0)
            break;
         if constexpr (requires { entry.key; })
            vokDel(collection, attr, entry.key);
         else
            vokDel(collection, attr, entry);
      }
   }
   template <class Map>
   typename Map::Mapped vokGet(const Map& map, const typename Map::Key& key) const {
      const auto* found = map.find(key);
      return found ? *found : typename Map::Mapped();
   }
   /// Adds to a counter, modulo its size, and returns the new value.
   template <class Map>
   typename Map::Mapped vokInc(Map& map, AttrId attr, const typename Map::Key& key, typename Map::Mapped by) {
      const auto value = static_cast<typename Map::Mapped>(vokGet(map, key) + by);
      vokMapIs(map, attr, key, value);
      return value;
   }

   /// Creates the member or returns the one that is there. Raises ReinstantiationError when it was
   /// created with other constructor parameters.
   template <class E, class Map, class... Args>
   Ptr<E> vokMemberIs(Map& map, AttrId attr, const typename Map::Key& key, const Args&... args) {
      const U32 hash = placeHash(key);
      if (const Ptr<E>* found = map.find(key, hash)) {
         (*found)->vokCheckParameters(key, args...);
         return *found;
      }
      Ptr<E> member = make<E>(key, args...);
      member->vokPlaceIs(this, attr);
      map.is(key, hash, member);
      vokNotify(attr, &key);
      return member;
   }
   template <class Map>
   void vokMemberDel(Map& map, AttrId attr, const typename Map::Key& key) {
      const U32 hash = placeHash(key);
      const auto* found = map.find(key, hash);
      if (!found)
         return;
      const auto member = *found;
      const typename Map::Key removed = key;
      member->vokPlaceIs(nullptr, 0);
      map.del(removed, hash);
      vokNotify(attr, &removed);
   }
   template <class Map>
   void vokMemberDelAll(Map& map, AttrId attr) {
      const Ptr<Entity> keepAlive(this);
      for (const auto& entry : map)
         entry.value->vokPlaceIs(nullptr, 0);
      vokDelAll(map, attr);
   }
   /// For destructors: members that outlive their owner stand at the root.
   template <class Map>
   static void vokOrphan(Map& map) {
      for (const auto& entry : map)
         entry.value->vokPlaceIs(nullptr, 0);
   }

   template <class E, class... Args>
   Ptr<E> vokChildIs(Ptr<E>& child, AttrId attr, const Args&... args) {
      if (child) {
         child->vokCheckParameters(args...);
         return child;
      }
      child = make<E>(args...);
      child->vokPlaceIs(this, attr);
      const Ptr<E> made = child;
      vokNotify(attr);
      return made;
   }
   template <class E>
   void vokChildDel(Ptr<E>& child, AttrId attr) {
      if (!child)
         return;
      const Ptr<E> removed = std::exchange(child, nullptr);
      removed->vokPlaceIs(nullptr, 0);
      vokNotify(attr);
   }

  private:
   friend class Notifiee;
   class Delivery;

   void attach(Notifiee* notifiee) const;
   void detach(Notifiee* notifiee) const;
   // To several, or to one at least.
   void deliver(AttrId attr, const void* key) const;
   void deliver(AttrId attr, void (Notifiee::*event)(AttrId)) const;

   mutable U32 pointers_ = 1; ///< the first is make()'s, so that constructors may hand out pointers
   AttrId parentAttr_ = 0;
   Entity* parent_ = nullptr;
   mutable Notifiee* notifiees_ = nullptr;  ///< the first one attached
   mutable Delivery* deliveries_ = nullptr; ///< those under way, the innermost first
};

/// An entity with a name of its own.
class NamedEntity : public Entity {
  public:
   const Name& name() const { return name_; }
   Name vokName() const override { return name_; }

  protected:
   explicit NamedEntity(Name name) : name_(std::move(name)) {}

  private:
   Name name_;
};

/// A walk over an entity's collection: `for (const auto& entry : config->routeEach())`. Keeps the
/// entity alive, so that nothing done inside the walk can end it early.
template <class Collection>
class Each {
  public:
   Each(const Entity* owner, const Collection& collection) : owner_(owner), collection_(collection) {}
   auto begin() const { return collection_.begin(); }
   auto end() const { return collection_.end(); }

  private:
   Ptr<const Entity> owner_;
   const Collection& collection_;
};

} // namespace Vok
