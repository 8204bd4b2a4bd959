#pragma once

#include "vokc/Source/Code.h"

namespace vokc {

struct NotifieeCode {
   std::string definition; ///< of the class, behind that of its entity
   std::string source;
};

/// The class to derive from in order to be told of an entity's changes, one function an attribute.
NotifieeCode emitNotifiee(const Model::Entity& type, const Code::Spelling& spelling);

} // namespace vokc
