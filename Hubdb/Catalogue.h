#pragma once
// Hubdb::Catalogue: the entity types that can stand in the database, by name.

#include "Vok/EntityType.h"

#include <initializer_list>
#include <unordered_map>

namespace Hubdb {

/// Made from the lists that vokc writes for every unit: `Catalogue({Mpls::mplsEntityTypes(), ...})`. It holds
/// `Vok::Dir` besides. Immutable; copies share nothing but the types, which live for the whole run.
class Catalogue {
  public:
   Catalogue() : Catalogue({}) {}
   Catalogue(std::initializer_list<std::span<const Vok::EntityType* const>> units);

   /// Null when there is none of that name.
   const Vok::EntityType* find(std::string_view typeName) const;

  private:
   std::unordered_map<std::string_view, const Vok::EntityType*> types_;
};

} // namespace Hubdb
