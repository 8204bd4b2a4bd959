#pragma once

#include "vokc/Source/Model.h"

#include <set>

namespace vokc {

/// What the header of a unit needs: headers of what it holds by value, and the entities that it only points
/// to.
struct Dependencies {
   std::set<std::string> headers;
   std::vector<const Model::Type*> forward; ///< entities to declare, in reading order
   bool hasTables = false;
   bool hasEntities = false;
};

Dependencies dependenciesOf(const Model::Unit& unit);

} // namespace vokc
