#pragma once

#include "vokc/Source/Diagnostics.h"
#include "vokc/Source/Syntax.h"

namespace vokc {

/// Parses one file. After a mistake it goes on behind the next `;` or closing brace, so that what is returned
/// holds everything that could be read.
Syntax::File parse(const SourceFile& file, Diagnostics& diagnostics);

} // namespace vokc
