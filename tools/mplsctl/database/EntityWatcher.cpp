#include "tools/mplsctl/database/EntityWatcher.h"

#include "tools/common/EntityText.h"
#include "tools/common/Reflect.h"

namespace mplsctl {

using Vok::AttributeKind;

namespace {

/// The entities below one that are its own.
template <class Visit>
void eachBelow(const Vok::Entity& entity, const Visit& visit) {
   for (const Vok::Attribute& attribute : entity.vokEntityType().attributes()) {
      if (attribute.kind == AttributeKind::child) {
         if (const Vok::Entity* child = attribute.access.entity(entity, nullptr))
            visit(Vok::Ptr<const Vok::Entity>(child));
      } else if (attribute.kind == AttributeKind::members) {
         attribute.access.walk(entity, [&](const void* key, const void*) {
            visit(Vok::Ptr<const Vok::Entity>(attribute.access.entity(entity, key)));
         });
      }
   }
}

} // namespace

class EntityWatcher::Watch final : public Vok::Notifiee {
  public:
   Watch(const Vok::Ptr<const Vok::Entity>& entity, EntityWatcher& owner) : Notifiee(entity), owner_(owner) {}
   void vokOnChange(Vok::AttrId attr, const void* key) override { owner_.changed(*vokWatched(), attr, key); }

  private:
   EntityWatcher& owner_;
};

EntityWatcher::EntityWatcher(const Vok::Ptr<const Vok::Entity>& entity, Told told)
    : root_(entity.get()), told_(std::move(told)) {
   watch(entity);
}

EntityWatcher::~EntityWatcher() = default;

void EntityWatcher::watch(const Vok::Ptr<const Vok::Entity>& entity) {
   watches_[entity.get()] = std::make_unique<Watch>(entity, *this);
   eachBelow(*entity, [this](const auto& below) { watch(below); });
}

void EntityWatcher::changed(const Vok::Entity& entity, Vok::AttrId attr, const void* key) {
   const Vok::Attribute& attribute = *entity.vokEntityType().attribute(attr);
   const Vok::AttributeAccess& access = attribute.access;
   EntityChange change{entity.fullName(), attribute.name, {}, false, {}};
   if (key)
      change.key = tools::plainText(*attribute.keyType, key);
   if (attribute.kind == AttributeKind::scalar) {
      change.value = tools::plainText(*attribute.valueType, access.get(entity));
   } else if (key && !access.find(entity, key)) {
      change.gone = true;
   } else if (access.entity) {
      const Vok::Entity* target = access.entity(entity, key);
      change.gone = !target;
      if (target && access.refer)
         change.value = "-> " + target->fullName();
      else if (target)
         watch(Vok::Ptr<const Vok::Entity>(target));
   } else if (attribute.kind != AttributeKind::set && access.find) {
      change.value = tools::plainText(*attribute.valueType, access.find(entity, key));
   }
   if (change.gone && !access.refer && access.entity && ++gone_ * 2 > watches_.size())
      forgetGone();
   told_(change);
}

/// What has left the tree is watched no longer. Looks at all, once so many have gone that it pays.
void EntityWatcher::forgetGone() {
   gone_ = 0;
   std::erase_if(watches_,
                 [this](const auto& entry) { return entry.first != root_ && !entry.first->vokParent(); });
}

} // namespace mplsctl
