#pragma once

#include "vokc/Source/Diagnostics.h"
#include "vokc/Source/Model.h"

namespace vokc {

/// Reports names in `type` that C++ keeps for itself, and members that clash, generated ones included:
/// an attribute `route` brings `routeIs` along.
void checkNames(const Model::Type& type, Diagnostics& diagnostics);

/// Every enumerator is also a constant of its namespace: reports two of one name.
void checkEnumeratorConstants(const Model::Schema& schema, Diagnostics& diagnostics);

} // namespace vokc
