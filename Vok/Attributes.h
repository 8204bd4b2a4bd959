#pragma once
// Builders of attribute descriptions for generated code: each ties a member of an entity class and its
// mutators to the plain-pointer interface of AttributeAccess.

#include "Vok/EntityType.h"
#include "Vok/Value.h"

namespace Vok {

namespace AttributeDetail {

template <class M>
struct MemberOf;
template <class C, class M>
struct MemberOf<M C::*> {
   using Class = C;
   using Member = M;
};

template <auto Member>
using ClassOf = typename MemberOf<decltype(Member)>::Class;
template <auto Member>
using StorageOf = typename MemberOf<decltype(Member)>::Member;

template <auto Member>
const auto& read(const Entity& entity) {
   return static_cast<const ClassOf<Member>&>(entity).*Member;
}

template <class P>
struct PointeeOf;
template <class E>
struct PointeeOf<Ptr<E>> {
   using Entity = std::remove_const_t<E>;
};

/// What creates a member or child from plain pointers to its constructor parameters, in declared order.
template <auto Is, class C, class R, class... P, std::size_t... I>
auto creator(R (C::*)(P...), std::index_sequence<I...>) {
   return [](Entity& entity, std::span<const void* const> parameters) -> Entity* {
      (void)parameters;
      return (static_cast<C&>(entity).*Is)(*static_cast<const std::remove_cvref_t<P>*>(parameters[I])...)
          .get();
   };
}
template <auto Is, class C, class R, class... P>
auto creator(R (C::*is)(P...)) {
   return creator<Is>(is, std::index_sequence_for<P...>());
}

template <class T>
inline constexpr bool isPointer = false;
template <class E>
inline constexpr bool isPointer<Ptr<E>> = true;

/// Left out when a parameter is a pointer to an entity.
template <class C, class R, class... P>
constexpr bool createdFromValues(R (C::*)(P...)) {
   return !(isPointer<std::remove_cvref_t<P>> || ...);
}

/// The target of a reference, which the caller has checked to be of the type.
template <class Pointee>
typename Pointee::Entity* pointee(Entity* target) {
   return static_cast<typename Pointee::Entity*>(target);
}

template <class E>
const EntityType* entityTypeOf() {
   return &E::vokType();
}

template <class Map>
inline constexpr bool ordered = isOrderedMap<Map> || isOrderedSet<Map>;

template <class Map>
String collectionWord(std::string_view word) {
   return String(ordered<Map> ? "ordered " : "").append(word);
}

/// find, size and walk of a map or set of values.
template <auto Member>
void readable(AttributeAccess& access) {
   using Map = StorageOf<Member>;
   access.size = [](const Entity& entity) { return read<Member>(entity).size(); };
   access.find = [](const Entity& entity, const void* key) -> const void* {
      const auto& wanted = *static_cast<const typename Map::Key*>(key);
      if constexpr (requires { typename Map::Mapped; })
         return read<Member>(entity).find(wanted);
      else
         return read<Member>(entity).has(wanted) ? key : nullptr;
   };
   if constexpr (!ordered<Map>) {
      access.fetch = [](const Entity& entity, const void* key) {
         return read<Member>(entity).fetch(*static_cast<const typename Map::Key*>(key));
      };
      access.fetchEntry = [](const Entity& entity, U32 hint) { read<Member>(entity).fetchEntry(hint); };
   }
   access.walk = [](const Entity& entity, const std::function<void(const void*, const void*)>& visit) {
      for (const auto& entry : Each(&entity, read<Member>(entity))) {
         if constexpr (requires { typename Map::Mapped; })
            visit(&entry.key, &entry.value);
         else
            visit(&entry, &entry);
      }
   };
}

/// size, entity and walk of a map of pointers to entities.
template <auto Member>
void readableEntities(AttributeAccess& access) {
   using Map = StorageOf<Member>;
   access.size = [](const Entity& entity) { return read<Member>(entity).size(); };
   access.find = [](const Entity& entity, const void* key) -> const void* {
      return read<Member>(entity).has(*static_cast<const typename Map::Key*>(key)) ? key : nullptr;
   };
   access.entity = [](const Entity& entity, const void* key) -> Entity* {
      const auto* found = read<Member>(entity).find(*static_cast<const typename Map::Key*>(key));
      return found ? const_cast<Entity*>(static_cast<const Entity*>(found->get())) : nullptr;
   };
   access.walk = [](const Entity& entity, const std::function<void(const void*, const void*)>& visit) {
      for (const auto& entry : Each(&entity, read<Member>(entity)))
         visit(&entry.key, nullptr);
   };
}

template <auto Member, auto Del>
void erasable(AttributeAccess& access) {
   using Map = StorageOf<Member>;
   access.erase = [](Entity& entity, const void* key) {
      (static_cast<ClassOf<Member>&>(entity).*Del)(*static_cast<const typename Map::Key*>(key));
   };
}

} // namespace AttributeDetail

/// A value attribute with its declared default.
template <auto Member, auto Is>
Attribute scalarAttribute(std::string_view name, AttrId id, std::string_view doc,
                          const std::type_identity_t<AttributeDetail::StorageOf<Member>>& defaultValue) {
   using namespace AttributeDetail;
   using T = StorageOf<Member>;
   Attribute attribute{name, id, AttributeKind::scalar, doc};
   attribute.valueType = &typeOf<T>();
   attribute.typeName = typeOf<T>().name();
   attribute.defaultText = valueToStrep(defaultValue);
   attribute.access.get = [](const Entity& entity) -> const void* { return &read<Member>(entity); };
   attribute.access.set = [](Entity& entity, const void* value) {
      (static_cast<ClassOf<Member>&>(entity).*Is)(*static_cast<const T*>(value));
   };
   return attribute;
}

/// `typeName` is the attribute's type as declared; it is given, not asked of the entity types, since
/// those may point at one another.
template <auto Member, auto Is>
Attribute pointerAttribute(std::string_view name, AttrId id, std::string_view doc,
                           std::string_view typeName) {
   using namespace AttributeDetail;
   using Pointee = PointeeOf<StorageOf<Member>>;
   Attribute attribute{name, id, AttributeKind::pointer, doc};
   attribute.entityType = entityTypeOf<typename Pointee::Entity>;
   attribute.typeName = typeName;
   attribute.access.entity = [](const Entity& entity, const void*) -> Entity* {
      return const_cast<Entity*>(static_cast<const Entity*>(read<Member>(entity).get()));
   };
   attribute.access.refer = [](Entity& entity, const void*, Entity* target) {
      (static_cast<ClassOf<Member>&>(entity).*Is)(StorageOf<Member>(pointee<Pointee>(target)));
   };
   return attribute;
}

template <auto Member, auto Is, auto Del>
Attribute childAttribute(std::string_view name, AttrId id, std::string_view doc, std::string_view typeName) {
   using namespace AttributeDetail;
   using Pointee = PointeeOf<StorageOf<Member>>;
   Attribute attribute{name, id, AttributeKind::child, doc};
   attribute.entityType = entityTypeOf<typename Pointee::Entity>;
   attribute.typeName = typeName;
   attribute.access.entity = [](const Entity& entity, const void*) -> Entity* {
      return read<Member>(entity).get();
   };
   attribute.access.erase = [](Entity& entity, const void*) {
      (static_cast<ClassOf<Member>&>(entity).*Del)();
   };
   if constexpr (createdFromValues(Is))
      attribute.access.create = creator<Is>(Is);
   return attribute;
}

template <auto Member, auto Is, auto Del>
Attribute setAttribute(std::string_view name, AttrId id, std::string_view doc) {
   using namespace AttributeDetail;
   using Set = StorageOf<Member>;
   Attribute attribute{name, id, AttributeKind::set, doc};
   attribute.keyType = attribute.valueType = &typeOf<typename Set::Key>();
   attribute.typeName = collectionWord<Set>("set<") + String(attribute.keyType->name()) + ">";
   readable<Member>(attribute.access);
   erasable<Member, Del>(attribute.access);
   attribute.access.put = [](Entity& entity, const void* key, const void*) {
      (static_cast<ClassOf<Member>&>(entity).*Is)(*static_cast<const typename Set::Key*>(key), true);
   };
   return attribute;
}

template <auto Member, auto Is, auto Del>
Attribute mapAttribute(std::string_view name, AttrId id, std::string_view doc,
                       std::string_view word = "map<") {
   using namespace AttributeDetail;
   using Map = StorageOf<Member>;
   Attribute attribute{name, id, AttributeKind::map, doc};
   attribute.keyType = &typeOf<typename Map::Key>();
   attribute.valueType = &typeOf<typename Map::Mapped>();
   attribute.typeName = collectionWord<Map>(word) + String(attribute.keyType->name()) + ", " +
                        String(attribute.valueType->name()) + ">";
   readable<Member>(attribute.access);
   erasable<Member, Del>(attribute.access);
   attribute.access.put = [](Entity& entity, const void* key, const void* value) {
      (static_cast<ClassOf<Member>&>(entity).*Is)(*static_cast<const typename Map::Key*>(key),
                                                  *static_cast<const typename Map::Mapped*>(value));
   };
   return attribute;
}

template <auto Member, auto Is, auto Del>
Attribute counterAttribute(std::string_view name, AttrId id, std::string_view doc) {
   return mapAttribute<Member, Is, Del>(name, id, doc, "counters<");
}

template <auto Member, auto Is, auto Del>
Attribute valuesAttribute(std::string_view name, AttrId id, std::string_view doc) {
   using namespace AttributeDetail;
   using Map = StorageOf<Member>;
   Attribute attribute{name, id, AttributeKind::values, doc};
   attribute.keyType = &typeOf<typename Map::Key>();
   attribute.valueType = &typeOf<typename Map::Mapped>();
   attribute.typeName = collectionWord<Map>("values<") + String(attribute.valueType->name()) + ">";
   readable<Member>(attribute.access);
   erasable<Member, Del>(attribute.access);
   attribute.access.put = [](Entity& entity, const void*, const void* value) {
      (static_cast<ClassOf<Member>&>(entity).*Is)(*static_cast<const typename Map::Mapped*>(value));
   };
   return attribute;
}

template <auto Member, auto Is, auto Del>
Attribute membersAttribute(std::string_view name, AttrId id, std::string_view doc,
                           std::string_view typeName) {
   using namespace AttributeDetail;
   using Map = StorageOf<Member>;
   using Pointee = PointeeOf<typename Map::Mapped>;
   Attribute attribute{name, id, AttributeKind::members, doc};
   attribute.keyType = &typeOf<typename Map::Key>();
   attribute.entityType = entityTypeOf<typename Pointee::Entity>;
   attribute.typeName = typeName;
   readableEntities<Member>(attribute.access);
   erasable<Member, Del>(attribute.access);
   if constexpr (createdFromValues(Is))
      attribute.access.create = creator<Is>(Is);
   return attribute;
}

/// `Is` takes the pointer alone, or a key and a pointer.
template <auto Member, auto Is, auto Del>
Attribute referencesAttribute(std::string_view name, AttrId id, std::string_view doc,
                              std::string_view typeName) {
   using namespace AttributeDetail;
   using Map = StorageOf<Member>;
   using Pointee = PointeeOf<typename Map::Mapped>;
   Attribute attribute{name, id, AttributeKind::references, doc};
   attribute.keyType = &typeOf<typename Map::Key>();
   attribute.entityType = entityTypeOf<typename Pointee::Entity>;
   attribute.typeName = typeName;
   readableEntities<Member>(attribute.access);
   erasable<Member, Del>(attribute.access);
   attribute.access.refer = [](Entity& entity, const void* key, Entity* target) {
      using Class = ClassOf<Member>;
      const typename Map::Mapped pointer(pointee<Pointee>(target));
      if constexpr (std::is_invocable_v<decltype(Is), Class&, const typename Map::Mapped&>)
         (static_cast<Class&>(entity).*Is)(pointer);
      else
         (static_cast<Class&>(entity).*Is)(*static_cast<const typename Map::Key*>(key), pointer);
   };
   return attribute;
}

/// A constructor parameter held by value.
template <auto Member>
Parameter parameter(std::string_view name) {
   using namespace AttributeDetail;
   using T = StorageOf<Member>;
   return {name, &typeOf<T>(), String(typeOf<T>().name()),
           [](const Entity& entity) -> const void* { return &read<Member>(entity); }};
}

/// The name of a named entity.
template <class E>
Parameter nameParameter() {
   return {"name", &typeOf<Name>(), "Name",
           [](const Entity& entity) -> const void* { return &static_cast<const E&>(entity).name(); }};
}

/// A constructor parameter that is a pointer to an entity.
inline Parameter pointerParameter(std::string_view name, std::string_view typeName) {
   return {name, nullptr, String(typeName), nullptr};
}

/// Raises ReinstantiationError when an existing entity's parameter differs from the one asked for.
template <class T>
void checkParameter(const Entity& entity, std::string_view name, const T& current, const T& wanted) {
   if constexpr (requires { typeOf<T>(); }) {
      if (!(current == wanted))
         throw ReinstantiationError(entity.fullName(), name, valueToStrep(wanted), valueToStrep(current));
   }
}
template <class E>
void checkParameter(const Entity& entity, std::string_view name, const Ptr<E>& current,
                    const Ptr<E>& wanted) {
   const auto text = [](const Ptr<E>& pointer) { return pointer ? pointer->fullName() : String("null"); };
   if (!(current == wanted))
      throw ReinstantiationError(entity.fullName(), name, text(wanted), text(current));
}

} // namespace Vok
