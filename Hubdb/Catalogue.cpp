#include "Hubdb/Catalogue.h"

#include "Vok/Dir.h"

namespace Hubdb {

Catalogue::Catalogue(std::initializer_list<std::span<const Vok::EntityType* const>> units)
    : types_{{Vok::Dir::vokType().name(), &Vok::Dir::vokType()}} {
   for (const auto& unit : units)
      for (const Vok::EntityType* type : unit)
         types_.emplace(type->name(), type);
}

const Vok::EntityType* Catalogue::find(std::string_view typeName) const {
   const auto found = types_.find(typeName);
   return found == types_.end() ? nullptr : found->second;
}

} // namespace Hubdb
