#pragma once

#include "vokc/Source/Diagnostics.h"
#include "vokc/Source/Model.h"

namespace vokc {

/// Reports what each declaration alone cannot see: names that clash with one another or with C++, also those
/// that are generated, and rows that have no fixed layout.
void check(const Model::Schema& schema, Diagnostics& diagnostics);

} // namespace vokc
