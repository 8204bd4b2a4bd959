#pragma once
// A base of entities that no description declares.

#include "Vok/EntityType.h"

namespace Sample {

class Shape : public Vok::Entity {
  public:
   static constexpr Vok::AttrId vokAttrEnd = Entity::vokAttrEnd;

   virtual Vok::U32 area() const = 0;

   static const Vok::EntityType& vokType();
};

} // namespace Sample
