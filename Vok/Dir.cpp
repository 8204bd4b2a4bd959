#include "Vok/Dir.h"

#include "Vok/Attributes.h"

namespace Vok {

Dir::~Dir() = default;

void Dir::entityPtrIs(const Ptr<Entity>& entity) {
   if (!entity)
      throw RangeError("null _entityPtr parameter to mutator for Vok::Dir::entityPtr not allowed\"");
   vokMapIs(entityPtr_, entityPtrAttr, entity->vokName(), entity);
}

void Dir::entityPtrNameIs(const Name& name) {
   if (!entityPtr_.has(name))
      vokMapIs(entityPtr_, entityPtrAttr, name, nullptr);
}

void Dir::entityPtrKnown(const Name& name, const Ptr<Entity>& entity) {
   if (Ptr<Entity>* stored = entityPtr_.find(name))
      *stored = entity;
}

const EntityType& Dir::vokType() {
   static const EntityType type(
       "Vok::Dir", Kind::entity, "A directory of named entities.", nullptr, {nameParameter<Dir>()}, {[] {
          Attribute entries{"entityPtr", entityPtrAttr, AttributeKind::references, "the entries by name"};
          entries.keyType = &typeOf<Name>();
          entries.typeName = "references<Vok::Entity>";
          AttributeDetail::readableEntities<&Dir::entityPtr_>(entries.access);
          AttributeDetail::erasable<&Dir::entityPtr_, &Dir::entityPtrDel>(entries.access);
          return entries;
       }()},
       [](const Name& name) -> Ptr<Entity> { return Vok::make<Dir>(name); });
   return type;
}

} // namespace Vok
