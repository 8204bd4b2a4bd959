#pragma once

#include "Vok/EntityType.h"

#include <vector>

/// Every type that the library declares, in the order of its rooms and units.

namespace tools {

struct Catalogue {
   std::vector<const Vok::Type*> types;          ///< enumerations, bounded types, flag sets, values and rows
   std::vector<const Vok::EntityType*> entities; ///< entities and machines
};

/// Joins the generated lists of the library's units; and, behind them, the types of other rooms that occur
/// in them.
Catalogue catalogue();

} // namespace tools
