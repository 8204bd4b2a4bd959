#include "Vok/Entity.h"

#include "Vok/EntityType.h"

namespace Vok {

/// One delivery under way: whom it tells next, and whom no more. It neither keeps the entity alive nor copies
/// a list: whoever detaches takes himself out of the deliveries, whoever attaches is told from the next one
/// on, and an entity that goes, which it cannot before its notifiees, is forgotten.
class Entity::Delivery {
  public:
   explicit Delivery(const Entity& entity)
       : entity_(&entity), outer_(entity.deliveries_), next_(entity.notifiees_) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer" // the destructor takes it back, or the entity is gone
      entity.deliveries_ = this;
#pragma GCC diagnostic pop
   }
   Delivery(const Delivery&) = delete;
   Delivery& operator=(const Delivery&) = delete;
   ~Delivery() {
      if (entity_)
         entity_->deliveries_ = outer_;
   }

   bool isOver() const {
      return next_ == end_;
   }
   /// The next to be told; there is one.
   Notifiee* take() {
      return std::exchange(next_, next_->next_);
   }

   void passOver(const Notifiee* leaving) {
      if (next_ == leaving)
         next_ = leaving->next_;
      if (end_ == leaving)
         end_ = leaving->next_;
   }
   /// Somebody came, behind all others.
   void endBefore(Notifiee* newcomer) {
      if (!end_ && next_)
         end_ = newcomer;
   }
   Delivery* outer() const {
      return outer_;
   }
   void entityIsGone() {
      entity_ = nullptr;
   }

  private:
   const Entity* entity_;
   Delivery* outer_;
   Notifiee* next_;
   Notifiee* end_ = nullptr; ///< the first who came after the delivery had begun, if somebody did
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
   for (Delivery* delivery = deliveries_; delivery; delivery = delivery->outer())
      delivery->endBefore(notifiee);
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

void Entity::deliver(AttrId attr, const void* key) const {
   Delivery delivery(*this);
   do
      delivery.take()->vokOnChange(attr, key);
   while (!delivery.isOver());
}

void Entity::deliver(AttrId attr, void (Notifiee::*event)(AttrId)) const {
   Delivery delivery(*this);
   do
      (delivery.take()->*event)(attr);
   while (!delivery.isOver());
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
