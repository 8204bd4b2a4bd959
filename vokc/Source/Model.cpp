#include "vokc/Source/Model.h"

#include <algorithm>
#include <array>

namespace vokc::Model {
namespace {

template <class Items>
auto findNamed(const Items& items, std::string_view name) -> const typename Items::value_type* {
   const auto found =
       std::find_if(items.begin(), items.end(), [&](const auto& item) { return item.name == name; });
   return found == items.end() ? nullptr : &*found;
}

} // namespace

std::string numberText(Number number) {
   if (number < 0) {
      return "-" + numberText(-number);
   }
   std::string digits;
   do {
      digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(number % 10)));
      number /= 10;
   } while (number != 0);
   return digits;
}

std::string_view negated(std::string_view comparison) {
   static constexpr std::array<std::pair<std::string_view, std::string_view>, 6> opposites = {
       {{"<=", ">"}, {">=", "<"}, {"<", ">="}, {">", "<="}, {"==", "!="}, {"!=", "=="}}};
   for (const auto& [from, to] : opposites) {
      if (from == comparison) {
         return to;
      }
   }
   return comparison;
}

std::string Type::qualifiedName() const {
   std::string qualified;
   for (const std::string& part : scope) {
      qualified += part + "::";
   }
   return qualified + name;
}

std::vector<std::string> Type::innerScope() const {
   std::vector<std::string> inner = scope;
   inner.push_back(name);
   return inner;
}

const Enumerator* Enumeration::find(std::string_view name) const {
   return findNamed(enumerators, name);
}

std::uint32_t Flags::mask() const {
   std::uint32_t mask = 0;
   for (const Enumerator& flag : flags) {
      mask |= std::uint32_t(1) << static_cast<unsigned>(flag.number);
   }
   return mask;
}

const Attribute* Value::find(std::string_view name) const {
   return findNamed(fields, name);
}

bool Value::hasCollection() const {
   return std::any_of(fields.begin(), fields.end(),
                      [](const Attribute& field) { return field.isCollection(); });
}

bool isFixed(const Type& type) {
   switch (type.kind) {
   case Type::Kind::builtin:
      return !static_cast<const Builtin&>(type).isText();
   case Type::Kind::bounded: {
      const auto& bounded = static_cast<const Bounded&>(type);
      return !bounded.isText() || (bounded.length && *bounded.length->number < 256);
   }
   case Type::Kind::value:
      return static_cast<const Value&>(type).isFixed();
   default:
      return type.isValue();
   }
}

bool Value::isFixed() const {
   return std::all_of(fields.begin(), fields.end(), [](const Attribute& field) {
      return field.kind == Attribute::Kind::scalar && vokc::Model::isFixed(*field.type);
   });
}

bool Value::isOrdered() const {
   if (order != By::generated) {
      return order == By::hand;
   }
   return std::all_of(fields.begin(), fields.end(), [](const Attribute& field) {
      return field.kind != Attribute::Kind::array && (!field.type || vokc::Model::isOrdered(*field.type));
   });
}

bool isOrdered(const Type& type) {
   if (type.kind == Type::Kind::builtin) {
      return static_cast<const Builtin&>(type).sort != Builtin::Sort::floating;
   }
   return type.kind != Type::Kind::value || static_cast<const Value&>(type).isOrdered();
}

const Attribute* Entity::find(std::string_view name) const {
   for (const Entity* entity = this; entity; entity = entity->base) {
      if (const Attribute* found = findNamed(entity->parameters, name)) {
         return found;
      }
      if (const Attribute* found = findNamed(entity->attributes, name)) {
         return found;
      }
   }
   return nullptr;
}

const Attribute* Entity::findParameter(std::string_view name) const {
   return findNamed(parameters, name);
}

std::vector<const Function*> Entity::findFunctions(std::string_view name) const {
   std::vector<const Function*> found;
   for (const Entity* entity = this; entity; entity = entity->base) {
      for (const auto& function : entity->functions) {
         if (function->name == name) {
            found.push_back(function.get());
         }
      }
   }
   return found;
}

} // namespace vokc::Model
