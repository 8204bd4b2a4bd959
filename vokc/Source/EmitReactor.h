#pragma once

#include "vokc/Source/Code.h"

namespace vokc {

/// What the reactors of a machine contribute to its class.
struct ReactorCode {
   std::string declarations; ///< private nested classes and the members that hold them, not indented
   std::string classes;      ///< their definitions, in the .gen.cpp above everything that uses them
   std::vector<std::string> constructor; ///< statements of the machine's constructor
};

ReactorCode emitReactors(const Model::Entity& type, const Code::Spelling& spelling);

} // namespace vokc
