#include "Vok/Entity.h"

#include "Vok/EntityType.h"

#include <algorithm>

namespace Vok {

/// The notifiees of one entity in order of attachment. While a delivery is under way nothing moves:
/// one that detaches leaves a null behind, and one that attaches waits for the next change.
struct Entity::Notifiees {
   std::vector<Notifiee*> list;
   U32 deliveries = 0;
   bool gaps = false;
};

/// One delivery under way; the last to end closes the gaps, also when a notifiee raised an error.
struct Entity::Delivery {
   explicit Delivery(const Entity& entity) : entity(entity) { ++entity.notifiees_->deliveries; }
   Delivery(const Delivery&) = delete;
   Delivery& operator=(const Delivery&) = delete;
   ~Delivery() {
      Notifiees& notifiees = *entity.notifiees_;
      if (--notifiees.deliveries > 0 || !notifiees.gaps)
         return;
      std::erase(notifiees.list, nullptr);
      notifiees.gaps = false;
      if (notifiees.list.empty())
         delete std::exchange(entity.notifiees_, nullptr);
   }
   const Entity& entity;
};

Entity::~Entity() {
   delete notifiees_;
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
   if (!notifiees_)
      notifiees_ = new Notifiees;
   notifiees_->list.push_back(notifiee);
}

void Entity::detach(const Notifiee* notifiee) const {
   auto& list = notifiees_->list;
   const auto found = std::ranges::find(list, notifiee);
   if (notifiees_->deliveries > 0) {
      *found = nullptr;
      notifiees_->gaps = true;
      return;
   }
   list.erase(found);
   if (list.empty())
      delete std::exchange(notifiees_, nullptr);
}

void Entity::deliver(AttrId attr, const void* key, Event event) const {
   const Ptr<const Entity> keepAlive(this);
   const Delivery delivery(*this);
   const std::size_t present = notifiees_->list.size();
   for (std::size_t i = 0; i < present; ++i) {
      Notifiee* notifiee = notifiees_->list[i];
      if (!notifiee)
         continue;
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
