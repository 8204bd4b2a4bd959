#pragma once

#include "tools/mplsctl/Catalogue.h"
#include "tools/mplsctl/Output.h"

/// What the library says of its own types: the JSON and the text of `mplsctl schema`.

namespace mplsctl {

/// {"types": [...]}; one line, one object.
void writeSchema(Output& out, const Catalogue& types);
void printSchema(Output& out, const Catalogue& types);

} // namespace mplsctl
