#include "Cli/EntityCompare.h"

#include "Vok/Assert.h"

namespace Cli::Session {

namespace {

using Vok::Attribute;
using Vok::AttributeKind;
using Vok::Entity;

bool isEqualValue(const Attribute& attribute, const void* a, const void* b) {
   return attribute.valueType->storage().equal(a, b);
}

bool isEqualMember(const Entity* a, const Entity* b) {
   return a && b ? isEqual(*a, *b) : a == b;
}

/// Of what stands under a key in two entities of one type; the key of what has none is null.
bool isEqualAt(const Attribute& attribute, const void* key, const Entity& a, const Entity& b) {
   const Vok::AttributeAccess& access = attribute.access;
   switch (attribute.kind) {
   case AttributeKind::scalar:
      return isEqualValue(attribute, access.get(a), access.get(b));
   case AttributeKind::child:
   case AttributeKind::members:
      return isEqualMember(access.entity(a, key), access.entity(b, key));
   case AttributeKind::pointer:
   case AttributeKind::references:
      return access.entity(a, key) == access.entity(b, key);
   case AttributeKind::set:
      return !access.find(a, key) == !access.find(b, key);
   case AttributeKind::map:
   case AttributeKind::values: {
      const void* const inA = access.find(a, key);
      const void* const inB = access.find(b, key);
      return inA && inB ? isEqualValue(attribute, inA, inB) : inA == inB;
   }
   case AttributeKind::table:
      return true;
   }
   return true;
}

/// Whether all that `a` has in the attribute stands in `b` too, and is equal there. The visitor holds one
/// reference, so that a walk over a small collection allocates nothing.
bool isCovered(const Attribute& attribute, const Entity& a, const Entity& b) {
   struct {
      const Attribute& attribute;
      const Entity& a;
      const Entity& b;
      bool covered = true;
   } look{attribute, a, b};
   attribute.access.walk(a, [&look](const void* key, const void*) {
      look.covered = look.covered && isEqualAt(look.attribute, key, look.a, look.b);
   });
   return look.covered;
}

bool isEqualAttribute(const Attribute& attribute, const Entity& a, const Entity& b) {
   if (attribute.kind == AttributeKind::table || !attribute.keyType)
      return isEqualAt(attribute, nullptr, a, b);
   return attribute.access.size(a) == attribute.access.size(b) && isCovered(attribute, a, b);
}

} // namespace

bool isEqual(const Entity& a, const Entity& b) {
   if (&a == &b)
      return true;
   if (&a.vokEntityType() != &b.vokEntityType())
      return false;
   for (const Attribute& attribute : a.vokEntityType().attributes())
      if (!isEqualAttribute(attribute, a, b))
         return false;
   return true;
}

bool isEqual(const Entry& entry, const Entity& a, const Entity& b) {
   return isEqualAt(*entry.attribute, entry.keyData(), a, b);
}

std::vector<Entry> differences(const Entity& a, const Entity& b) {
   vokAssert(&a.vokEntityType() == &b.vokEntityType());
   std::vector<Entry> found;
   for (const Attribute& attribute : a.vokEntityType().attributes()) {
      if (attribute.kind == AttributeKind::table)
         continue;
      if (!attribute.keyType) {
         if (!isEqualAt(attribute, nullptr, a, b))
            found.push_back({&attribute, std::nullopt});
         continue;
      }
      const auto differs = [&](const void* key) {
         found.push_back({&attribute, Vok::AnyValue(*attribute.keyType)});
         attribute.keyType->storage().assign(found.back().key->data(), key);
      };
      attribute.access.walk(a, [&](const void* key, const void*) {
         if (!isEqualAt(attribute, key, a, b))
            differs(key);
      });
      attribute.access.walk(b, [&](const void* key, const void*) {
         if (!attribute.access.find(a, key))
            differs(key);
      });
   }
   return found;
}

Divergence divergence(const Entity& base, const Entity& here, const Entity& elsewhere) {
   Divergence result;
   for (Entry& entry : differences(base, elsewhere)) {
      if (isEqual(entry, here, base))
         result.elsewhere.push_back(std::move(entry));
      else if (!isEqual(entry, here, elsewhere))
         result.both.push_back(std::move(entry));
   }
   return result;
}

} // namespace Cli::Session
