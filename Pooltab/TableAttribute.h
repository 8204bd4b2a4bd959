#pragma once

#include "Pooltab/Collection.h"
#include "Vok/Attributes.h"

/// The description of a table attribute, for generated code.

namespace Pooltab {

/// In the description, `get` answers the attribute's CollectionControl; what `find` answers is good until the
/// thread's next find.
template <auto Member, auto Is, auto Del>
Vok::Attribute tableAttribute(std::string_view name, Vok::AttrId id, std::string_view doc) {
   using namespace Vok::AttributeDetail;
   using Table = StorageOf<Member>;
   using Class = ClassOf<Member>;
   using Key = typename Table::Key;
   using Row = std::remove_cvref_t<decltype(std::declval<Table>().get(std::declval<Key>()))>;
   Vok::Attribute attribute{name, id, Vok::AttributeKind::table, doc};
   attribute.keyType = &Vok::typeOf<Key>();
   attribute.valueType = &Vok::typeOf<Row>();
   attribute.typeName = "table<" + Vok::String(attribute.valueType->name()) + ">";
   attribute.access.get = [](const Vok::Entity& entity) -> const void* {
      return &read<Member>(entity).control();
   };
   attribute.access.size = [](const Vok::Entity& entity) {
      return static_cast<std::size_t>(read<Member>(entity).size());
   };
   attribute.access.find = [](const Vok::Entity& entity, const void* key) -> const void* {
      static thread_local Row row;
      return read<Member>(entity).find(*static_cast<const Key*>(key), row) ? &row : nullptr;
   };
   attribute.access.walk = [](const Vok::Entity& entity,
                              const std::function<void(const void* key, const void* value)>& visit) {
      for (const Row& row : read<Member>(entity))
         visit(&row.rowKey(), &row);
   };
   attribute.access.put = [](Vok::Entity& entity, const void*, const void* value) {
      (static_cast<Class&>(entity).*Is)(*static_cast<const Row*>(value));
   };
   attribute.access.erase = [](Vok::Entity& entity, const void* key) {
      (static_cast<Class&>(entity).*Del)(*static_cast<const Key*>(key));
   };
   return attribute;
}

/// The control of a table attribute of an entity.
inline CollectionControl& controlOf(Vok::Entity& entity, const Vok::Attribute& table) {
   return *static_cast<CollectionControl*>(const_cast<void*>(table.access.get(entity)));
}

} // namespace Pooltab
