#include "Vok/Entity.h"

#include "Vok/EntityType.h"

namespace Vok {

/// One delivery under way: whom it tells next, and who was last when it began. It neither keeps the entity
/// alive nor copies a list: whoever detaches takes himself out of the deliveries, and the entity, which lives
/// as long as it has notifiees, is forgotten before the last one is told.
class Entity::Delivery {
  public:
   explicit Delivery(const Entity& entity)
       : entity_(&entity), outer_(entity.deliveries_), next_(entity.notifiees_), last_(next_->previous_) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer" // end() takes it back, or the entity is gone
      entity.deliveries_ = this;
#pragma GCC diagnostic pop
   }
   Delivery(const Delivery&) = delete;
   Delivery& operator=(const Delivery&) = delete;
   ~Delivery() {
      if (entity_) // a notifiee raised an error, or the rest detached
         end();
   }

   /// The next to be told, or null.
   Notifiee* take() {
      Notifiee* const taken = next_;
      if (taken == last_)
         end();
      else if (taken)
         next_ = taken->next_;
      return taken;
   }
   void passOver(const Notifiee* leaving) {
      if (next_ == leaving)
         next_ = leaving == last_ ? nullptr : leaving->next_;
      else if (next_ && last_ == leaving)
         last_ = leaving->previous_;
   }
   Delivery* outer() const { return outer_; }
   void entityIsGone() { entity_ = nullptr; }

  private:
   void end() {
      entity_->deliveries_ = outer_;
      entity_ = nullptr;
      next_ = nullptr;
   }

   const Entity* entity_;
   Delivery* outer_;
   Notifiee* next_;
   Notifiee* last_;
};

Entity::~Entity() {
   for (Delivery* delivery = deliveries_; delivery; delivery = delivery->outer())
      delivery->entityIsGone();
}

String Entity::fullName() const {
   if (!parent_)
      return vokName().text();
   const Attribute* attribute = parent_->vokEntityType().attribute(parentAttr_);
   String name = parent_->fullName();
   name.append(".").append(attribute->name);
   if (attribute->keyType)
      name.append("/").append(vokEntityType().keyText(*this));
   return name;
}

void Entity::attach(Notifiee* notifiee) const {
   Notifiee*& first = notifiees_;
   if (!first) {
      first = notifiee->previous_ = notifiee;
      return;
   }
   notifiee->previous_ = first->previous_;
   first->previous_->next_ = notifiee;
   first->previous_ = notifiee;
}

void Entity::detach(Notifiee* notifiee) const {
   for (Delivery* delivery = deliveries_; delivery; delivery = delivery->outer())
      delivery->passOver(notifiee);
   Notifiee* const next = notifiee->next_;
   if (notifiee == notifiees_)
      notifiees_ = next;
   else
      notifiee->previous_->next_ = next;
   if (Notifiee* const behind = next ? next : notifiees_)
      behind->previous_ = notifiee->previous_;
}

void Entity::deliver(AttrId attr, const void* key, Event event) const {
   Delivery delivery(*this);
   while (Notifiee* notifiee = delivery.take()) {
      if (event == Event::change)
         notifiee->vokOnChange(attr, key);
      else if (event == Event::collection)
         notifiee->vokOnCollection(attr);
      else
         notifiee->vokOnMountStatus(attr);
   }
}

Notifiee::Notifiee(Ptr<const Entity> watched) : watched_(std::move(watched)) {
   if (watched_)
      watched_->attach(this);
}

Notifiee::~Notifiee() {
   if (watched_)
      watched_->detach(this);
}

} // namespace Vok
