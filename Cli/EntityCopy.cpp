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

void copyAttribute(const Attribute& attribute, Entity& dst, const Entity& src) {
   const Vok::AttributeAccess& access = attribute.access;
   switch (attribute.kind) {
   case AttributeKind::scalar:
      return access.set(dst, access.get(src));
   case AttributeKind::pointer:
      return access.refer(dst, nullptr, access.entity(src, nullptr));
   case AttributeKind::set:
   case AttributeKind::map:
   case AttributeKind::values:
      eraseMissing(attribute, dst, src);
      return access.walk(src, [&](const void* key, const void* value) { access.put(dst, key, value); });
   case AttributeKind::references:
      eraseMissing(attribute, dst, src);
      return access.walk(
          src, [&](const void* key, const void*) { access.refer(dst, key, access.entity(src, key)); });
   default:
      return; // refused by checkCopyable()
   }
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

const Vok::EntityType& EntityCopy::vokType() {
   static const Vok::EntityType type("Cli::Session::EntityCopy", Vok::Kind::entity,
                                     "Makes one entity equal to another, attribute by attribute.", nullptr,
                                     {}, {});
   return type;
}

} // namespace Cli::Session
