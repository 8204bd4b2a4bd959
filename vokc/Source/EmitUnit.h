#pragma once

#include "vokc/Source/Model.h"
#include "vokc/Source/SymbolTable.h"

#include <string>
#include <vector>

namespace vokc {

struct OutputFile {
   std::string path; ///< from the output folder
   std::string text;
};

/// The header and the source of one unit.
std::vector<OutputFile> emitUnit(const Model::Unit& unit, const Model::Schema& schema,
                                 const SymbolTable& symbols);

} // namespace vokc
