#include "Cli/EntityCopy.h"

#include "Vok/EntityType.h"

#include <vector>

namespace Cli::Session {

namespace {

using Vok::Attribute;
using Vok::AttributeKind;
using Vok::Entity;
using Vok::String;

void checkSameType(const Entity& dst, const Entity& src, const String& path) {
   const Vok::EntityType& from = src.vokEntityType();
   const Vok::EntityType& to = dst.vokEntityType();
   if (&from != &to)
      throw CopyError("cannot copy " + path + ": the source is a " + String(from.name()) +
                      ", the destination a " + String(to.name()) + "; copy between entities of one type");
}

void checkCopyable(const Attribute& attribute, const Entity& entity, const String& path) {
   switch (attribute.kind) {
   case AttributeKind::child:
   case AttributeKind::members:
   case AttributeKind::table:
      throw CopyError("cannot copy " + path + "." + String(attribute.name) +
                      (attribute.kind == AttributeKind::table ? ": its rows are in a shared table"
                                                              : ": it holds entities") +
                      "; register a copy handler for " + String(entity.vokEntityType().name()) +
                      " that takes it over");
   default:
      return;
   }
}

/// Removes the entries of `dst` that `src` lacks.
void eraseMissing(const Attribute& attribute, Entity& dst, const Entity& src) {
   attribute.access.walk(dst, [&](const void* key, const void*) {
      if (!attribute.access.find(src, key))
         attribute.access.erase(dst, key);
   });
}

/// An attribute without keys.
void copySingle(const Attribute& attribute, Entity& dst, const Entity& src) {
   if (attribute.kind == AttributeKind::pointer)
      attribute.access.refer(dst, nullptr, attribute.access.entity(src, nullptr));
   else
      attribute.access.set(dst, attribute.access.get(src));
}

/// What stands under a key that `src` has.
void copyAt(const Attribute& attribute, const void* key, const void* value, Entity& dst, const Entity& src) {
   if (attribute.kind == AttributeKind::references)
      attribute.access.refer(dst, key, attribute.access.entity(src, key));
   else
      attribute.access.put(dst, key, value);
}

void copyAttribute(const Attribute& attribute, Entity& dst, const Entity& src) {
   if (!attribute.keyType)
      return copySingle(attribute, dst, src);
   eraseMissing(attribute, dst, src);
   attribute.access.walk(
       src, [&](const void* key, const void* value) { copyAt(attribute, key, value, dst, src); });
}

/// One entry of an attribute that does not hold entities.
void copyValue(const Entry& entry, Entity& dst, const Entity& src) {
   const Attribute& attribute = *entry.attribute;
   const void* const key = entry.keyData();
   if (!key)
      copySingle(attribute, dst, src);
   else if (const void* const value = attribute.access.find(src, key))
      copyAt(attribute, key, value, dst, src);
   else
      attribute.access.erase(dst, key);
}

/// `path` + "." + attribute goes before what a mutator says of a value.
template <class Copy>
void naming(const Attribute& attribute, const String& path, Copy copy) {
   try {
      copy();
   } catch (const CopyError&) {
      throw;
   } catch (const Vok::Error& error) {
      throw CopyError("cannot copy " + path + "." + String(attribute.name) + ": " + error.what());
   }
}

} // namespace

void EntityCopy::copyEntity(const Vok::Ptr<Entity>& dst, const Vok::Ptr<const Entity>& src,
                            const String& path) {
   checkSameType(*dst, *src, path);
   const Vok::Ptr<EntityCopyHandler> handler = handlers_.handler(src->vokEntityType());
   if (!handler || !handler->handleEntity(this, dst, src, path))
      copyAttributes(dst, src, nullptr, path);
}

void EntityCopy::copyAttributes(const Vok::Ptr<Entity>& dst, const Vok::Ptr<const Entity>& src,
                                const Vok::Ptr<const AttributeFilter>& filter, const String& path) {
   checkSameType(*dst, *src, path);
   std::vector<const Attribute*> wanted;
   for (const Attribute& attribute : src->vokEntityType().attributes()) {
      if (filter && filter->attributeHas(attribute.name))
         continue;
      checkCopyable(attribute, *src, path);
      wanted.push_back(&attribute);
   }
   for (const Attribute* attribute : wanted)
      naming(*attribute, path, [&] { copyAttribute(*attribute, *dst, *src); });
}

void EntityCopy::copyEntry(const Vok::Ptr<Entity>& dst, const Vok::Ptr<const Entity>& src, const Entry& entry,
                           const String& path) {
   checkSameType(*dst, *src, path);
   switch (entry.attribute->kind) {
   case AttributeKind::child:
   case AttributeKind::members:
      return copyMember(dst, *src, entry, path);
   case AttributeKind::table:
      return checkCopyable(*entry.attribute, *src, path);
   default:
      return naming(*entry.attribute, path, [&] { copyValue(entry, *dst, *src); });
   }
}

void EntityCopy::copyMember(const Vok::Ptr<Entity>& dst, const Entity& src, const Entry& entry,
                            const String& path) {
   const Attribute& attribute = *entry.attribute;
   const void* const key = entry.keyData();
   const Vok::Ptr<const Entity> member(attribute.access.entity(src, key));
   if (!member)
      return attribute.access.erase(*dst, key);
   const String memberPath = path + "." + String(attribute.name);
   if (!attribute.access.create)
      throw CopyError("cannot copy " + memberPath + ": its entities are made with pointers to others; copy " +
                      String(src.vokEntityType().name()) + " as a whole");
   std::vector<const void*> parameters;
   for (const Vok::Parameter& parameter : member->vokEntityType().parameters())
      parameters.push_back(parameter.get(*member));
   Vok::Ptr<Entity> copy;
   naming(attribute, path, [&] { copy = Vok::Ptr<Entity>(attribute.access.create(*dst, parameters)); });
   copyEntity(copy, member, memberPath);
}

const Vok::EntityType& EntityCopy::vokType() {
   static const Vok::EntityType type("Cli::Session::EntityCopy", Vok::Kind::entity,
                                     "Makes one entity equal to another, attribute by attribute.", nullptr,
                                     {}, {});
   return type;
}

} // namespace Cli::Session
