#pragma once

#include "vokc/Source/Diagnostics.h"
#include "vokc/Source/Syntax.h"

namespace vokc {

/// The words of a phrase, "order by hand".
std::string phrase(const Syntax::Member& member);

/// Reports a member that has no place in its declaration, or a phrase that means nothing.
void reportMisplaced(const Syntax::Member& member, std::string_view where, Diagnostics& diagnostics);

} // namespace vokc
