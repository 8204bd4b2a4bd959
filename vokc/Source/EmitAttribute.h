#pragma once

#include "vokc/Source/Code.h"

namespace vokc {

/// What one attribute of an entity contributes to its class.
struct AttributeCode {
   std::string accessors;  ///< in the class, not indented
   std::string source;     ///< bodies that stand in the .gen.cpp
   std::string storage;    ///< type of the data member
   std::string descriptor; ///< entry of the reflected attributes
};

AttributeCode emitAttribute(const Model::Attribute& attribute, const Model::Entity& owner,
                            const Code::Spelling& spelling);

/// True when the entity type of the attribute is declared below its owner.
bool isDeclaredBelow(const Model::Attribute& attribute, const Model::Entity& owner);

/// The reactors of a machine that watch the members of one collection, or what one pointer points to.
std::vector<const Model::Reactor*> attributeReactors(const Model::Attribute& attribute,
                                                     const Model::Entity& owner);

/// The data member that holds the reactors of one name.
std::string reactorStorage(const Model::Reactor& reactor);

} // namespace vokc
