#include "Vok/EntityType.h"

#include "Vok/Assert.h"
#include "Vok/TypeOf.h"

#include <algorithm>

namespace Vok {

std::string_view stringValue(AttributeKind kind) {
   constexpr std::string_view words[] = {"scalar", "pointer", "child",      "set",  "map",
                                         "values", "members", "references", "table"};
   return words[static_cast<U8>(kind)];
}

EntityType::EntityType(std::string_view name, Kind kind, std::string_view doc, const EntityType* base,
                       std::vector<Parameter> parameters, std::vector<Attribute> attributes,
                       Ptr<Entity> (*make)(const Name& name))
    : name_(name), kind_(kind), doc_(doc), base_(base), parameters_(std::move(parameters)), make_(make) {
   if (base)
      attributes_.assign(base->attributes_.begin(), base->attributes_.end());
   for (Attribute& attribute : attributes) {
      vokAssert(attribute.id == attributes_.size());
      attributes_.push_back(std::move(attribute));
   }
}

const Attribute* EntityType::attribute(std::string_view name) const {
   const auto found = std::ranges::find(attributes_, name, &Attribute::name);
   return found == attributes_.end() ? nullptr : &*found;
}

bool EntityType::isA(const EntityType& other) const {
   for (const EntityType* type = this; type; type = type->base_)
      if (type == &other)
         return true;
   return false;
}

String EntityType::keyText(const Entity& entity) const {
   if (parameters_.empty() || !parameters_.front().type)
      return {};
   const Parameter& key = parameters_.front();
   const void* value = key.get(entity);
   if (key.type == &typeOf<Name>())
      return static_cast<const Name*>(value)->text();
   String text;
   key.type->print(value, text);
   return text;
}

U64 EntityType::fingerprint() const {
   String text(name_);
   for (const Parameter& parameter : parameters_)
      text.append(" (").append(parameter.name).append(":").append(parameter.typeName).append(")");
   for (const Attribute& attribute : attributes_) {
      text.append(" ").append(attribute.name).append(":").append(attribute.typeName);
      for (const Type* type : {attribute.keyType, attribute.valueType}) {
         if (type)
            type->describe(text.append(" "));
      }
   }
   Hash low;
   low.mix(text.data(), text.size());
   Hash high = low;
   high.mix(U8(1));
   return U64(high.result()) << 32 | low.result();
}

} // namespace Vok
