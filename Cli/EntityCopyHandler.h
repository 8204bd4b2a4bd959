#pragma once
// Cli::EntityCopyHandler: what takes over the copying of one type of entity.

#include "Vok/Entity.h"

namespace Cli {

namespace Session {
class EntityCopy;
}

/// The kind of entity that a type is registered with in a HandlerRegistry, because the generic copier cannot
/// copy it alone: some of its attributes hold entities.
class EntityCopyHandler : public Vok::Entity {
  public:
   static constexpr Vok::AttrId vokAttrEnd = Entity::vokAttrEnd;

   /// Called once, before the first handleEntity(): by the registry that the handler is added to.
   virtual void initialize() = 0;

   /// Makes `dst` equal to `src`, both of a registered type; `path` names them in messages. What the generic
   /// copier can do is left to `entityCopy`, whose errors pass through. Returns false, with nothing changed,
   /// when this handler does not know their type: then they are copied as any other.
   virtual bool handleEntity(const Vok::Ptr<Session::EntityCopy>& entityCopy,
                             const Vok::Ptr<Vok::Entity>& dst, const Vok::Ptr<const Vok::Entity>& src,
                             const Vok::String& path) = 0;

   static const Vok::EntityType& vokType();
};

} // namespace Cli
