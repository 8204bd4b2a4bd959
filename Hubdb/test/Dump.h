#pragma once
// The whole state of an entity as text, by reflection, for comparisons.

#include "Vok/EntityType.h"
#include "Vok/TypeOf.h"

#include <algorithm>

namespace HubdbTest {

inline Vok::String valueText(const Vok::Type* type, const void* value) {
   Vok::String text;
   type->print(value, text);
   return text;
}

/// One line an attribute or entry, entries sorted: walks follow the order of arrival, which may differ.
inline void dump(const Vok::Entity& entity, const Vok::String& indent, Vok::String& out) {
   for (const Vok::Parameter& parameter : entity.vokEntityType().parameters())
      out += indent + "(" + Vok::String(parameter.name) + " " +
             valueText(parameter.type, parameter.get(entity)) + ")\n";
   for (const Vok::Attribute& attribute : entity.vokEntityType().attributes()) {
      const bool owned =
          attribute.kind == Vok::AttributeKind::members || attribute.kind == Vok::AttributeKind::child;
      const auto entityText = [&](const void* key) {
         const Vok::Entity* target = attribute.access.entity(entity, key);
         if (!target)
            return Vok::String("null\n");
         if (!owned)
            return target->fullName() + "\n";
         Vok::String below = "\n";
         dump(*target, indent + "   ", below);
         return below;
      };
      std::vector<Vok::String> lines;
      if (attribute.access.walk)
         attribute.access.walk(entity, [&](const void* key, const void* value) {
            lines.push_back(
                valueText(attribute.keyType, key) + " = " +
                (attribute.entityType ? entityText(key) : valueText(attribute.valueType, value) + "\n"));
         });
      else
         lines.push_back(attribute.entityType
                             ? entityText(nullptr)
                             : valueText(attribute.valueType, attribute.access.get(entity)) + "\n");
      std::ranges::sort(lines);
      for (const Vok::String& line : lines)
         out += indent + Vok::String(attribute.name) + ": " + line;
   }
}

inline Vok::String dump(const Vok::Entity& entity) {
   Vok::String out;
   dump(entity, "", out);
   return out;
}

} // namespace HubdbTest
