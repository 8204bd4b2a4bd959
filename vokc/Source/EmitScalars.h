#pragma once

#include "vokc/Source/Code.h"

namespace vokc {

// Types that are a number or a text with rules: what they share stands in Vok/, these add names.

Code::Fragment emitEnum(const Model::Enumeration& type, const Code::Spelling& spelling);
Code::Fragment emitBounded(const Model::Bounded& type, const Code::Spelling& spelling);
Code::Fragment emitFlags(const Model::Flags& type, const Code::Spelling& spelling);

/// The entries of a table of constants, `Vok::constant("min", min)`. Those of the owner's own type are left
/// out: the type is described before there can be values of it.
std::vector<std::string> constantEntries(const std::vector<Model::Constant>& constants,
                                         const Model::Type& owner);
/// The declarations of constants inside a class.
std::string constantDeclarations(const std::vector<Model::Constant>& constants,
                                 const Code::Spelling& spelling);
/// Constants that are values stand behind a function.
bool hasAccessor(const Model::Constant& constant);

} // namespace vokc
