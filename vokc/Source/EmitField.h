#pragma once

#include "vokc/Source/Code.h"

namespace vokc {

struct FieldCode {
   std::string accessors; ///< inside the class, not indented
   std::string source;
};

/// The accessors and mutators of one field of a value.
FieldCode emitField(const Model::Attribute& field, const Model::Value& owner, const std::string& className,
                    const Code::Spelling& spelling);

/// The C++ type of the data member behind a field.
std::string fieldStorage(const Model::Attribute& field, const Code::Spelling& spelling);

/// The accessors that maps and sets of values and of entities share: lookup, presence and count. In an entity
/// the lookup of a map goes through the entity.
std::string collectionReaders(const std::string& name, const std::string& keyParameter);

} // namespace vokc
