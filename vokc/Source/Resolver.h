#pragma once

#include "vokc/Source/Diagnostics.h"
#include "vokc/Source/SymbolTable.h"
#include "vokc/Source/Syntax.h"

namespace vokc {

/// Builds the model of all files. The units of the last one are those to generate.
Model::Schema resolve(const std::vector<Syntax::File>& files, SymbolTable& symbols, Diagnostics& diagnostics);

} // namespace vokc
