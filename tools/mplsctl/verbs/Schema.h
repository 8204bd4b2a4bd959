#pragma once

#include "tools/common/Catalogue.h"
#include "tools/common/Output.h"

/// What the library says of its own types: the JSON and the text of `mplsctl schema`.

namespace mplsctl {

/// {"types": [...]}; one line, one object.
void writeSchema(tools::Output& out, const tools::Catalogue& types);
void printSchema(tools::Output& out, const tools::Catalogue& types);

} // namespace mplsctl
