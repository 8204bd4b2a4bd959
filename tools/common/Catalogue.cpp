#include "tools/common/Catalogue.h"

#include "Kinet/Labels.h"
#include "Mpls/LfibIndexAllocator.h"
#include "Mpls/Mpls.h"
#include "Mpls/MplsLfib.h"
#include "Mpls/MplsLfibWriter.h"
#include "Mpls/MplsTypes.h"

#include <algorithm>
#include <span>

namespace tools {

namespace {

template <class T>
void append(std::vector<const T*>& list, std::span<const T* const> unit) {
   list.insert(list.end(), unit.begin(), unit.end());
}

/// Enters a type that a field or attribute names, if it is worth a description and not there yet.
void enterReferenced(std::vector<const Vok::Type*>& types, const Vok::Type* type) {
   if (!type || type->kind() == Vok::Kind::scalar || type->kind() == Vok::Kind::array ||
       type->kind() == Vok::Kind::collection || std::ranges::find(types, type) != types.end())
      return;
   types.push_back(type);
}

} // namespace

Catalogue catalogue() {
   Catalogue all;
   append(all.types, Kinet::labelsTypes());
   append(all.types, Mpls::mplsTypesTypes());
   append(all.types, Mpls::mplsLfibTypes());
   append(all.types, Mpls::mplsLfibWriterTypes());
   append(all.entities, Mpls::mplsEntityTypes());
   append(all.entities, Mpls::mplsLfibEntityTypes());
   append(all.entities, MplsHelper::lfibIndexAllocatorEntityTypes());
   append(all.entities, Mpls::mplsLfibWriterEntityTypes());

   for (std::size_t i = 0; i < all.types.size(); ++i)
      if (const auto* value = dynamic_cast<const Vok::ValueType*>(all.types[i]))
         for (const Vok::FieldDescription& field : value->fields())
            enterReferenced(all.types, field.type);
   for (const Vok::EntityType* entity : all.entities)
      for (const Vok::Attribute& attribute : entity->attributes()) {
         enterReferenced(all.types, attribute.keyType);
         enterReferenced(all.types, attribute.valueType);
      }
   return all;
}

} // namespace tools
