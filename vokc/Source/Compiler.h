#pragma once

#include "vokc/Source/EmitUnit.h"

#include <filesystem>

namespace vokc {

struct Compilation {
   std::vector<OutputFile> outputs;           ///< empty when there were errors
   std::vector<std::filesystem::path> inputs; ///< every file read, the compiled one first
   std::string messages;                      ///< what is wrong, ready to print
   std::size_t errors = 0;
};

/// Compiles `file`, a path from one of the roots. Touches no file but those that it reads.
Compilation compile(const std::vector<std::filesystem::path>& roots, const std::string& file);

} // namespace vokc
