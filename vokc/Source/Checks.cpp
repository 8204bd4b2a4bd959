#include "vokc/Source/Checks.h"

#include "vokc/Source/NameCheck.h"

#include <algorithm>
#include <map>

namespace vokc {

using Model::Attribute;
using Model::Type;

namespace {

/// No text anywhere in it: it can be copied byte by byte.
bool isPlain(const Type& type) {
   switch (type.kind) {
   case Type::Kind::builtin:
      return !static_cast<const Model::Builtin&>(type).isText();
   case Type::Kind::bounded:
      return !static_cast<const Model::Bounded&>(type).isText();
   case Type::Kind::value: {
      const auto& fields = static_cast<const Model::Value&>(type).fields;
      return std::all_of(fields.begin(), fields.end(), [](const Attribute& field) {
         return field.kind == Attribute::Kind::scalar && isPlain(*field.type);
      });
   }
   default:
      return type.isValue();
   }
}

void checkEnumeration(const Model::Enumeration& type, Diagnostics& diagnostics) {
   std::map<Model::Number, const Model::Enumerator*> numbers;
   for (const Model::Enumerator& enumerator : type.enumerators) {
      const auto [known, added] = numbers.emplace(enumerator.number, &enumerator);
      if (!added && known->second->name != enumerator.name) {
         diagnostics.error(enumerator.span, "number " + Model::numberText(enumerator.number) + " is taken");
         diagnostics.note(known->second->span, "it is " + inQuotes(known->second->name));
      }
   }
}

void checkRow(const Model::Value& row, Diagnostics& diagnostics) {
   for (std::size_t i = 0; i < row.fields.size(); ++i) {
      const Attribute& field = row.fields[i];
      const std::string what = inQuotes(field.name) + " of row " + inQuotes(row.name);
      if (field.kind == Attribute::Kind::array) {
         if (i + 1 != row.fields.size()) {
            diagnostics.error(field.span, what + " is an array, which only the last field can be");
         }
      } else if (field.kind != Attribute::Kind::scalar) {
         diagnostics.error(field.span, what + " has no fixed size", "a row holds a collection as an array");
      } else if (!Model::isFixed(*field.type)) {
         diagnostics.error(
             field.span, what + " has no fixed size",
             field.type->kind == Type::Kind::builtin ? "use a bounded String of at most 255 bytes" : "");
      }
   }
}

void checkValue(const Model::Value& value, Diagnostics& diagnostics) {
   for (const Attribute& field : value.fields) {
      if (field.kind == Attribute::Kind::array && !isPlain(*field.type)) {
         diagnostics.error(field.span,
                           "an array holds numbers and values of numbers, no texts or collections");
      }
      const bool declared = std::any_of(value.functions.begin(), value.functions.end(),
                                        [&](const auto& function) { return function->name == field.check; });
      if (!field.check.empty() && !declared) {
         std::vector<std::string> names;
         for (const auto& function : value.functions) {
            names.push_back(function->name);
         }
         diagnostics.error(field.span, inQuotes(value.name) + " has no operation " + inQuotes(field.check),
                           didYouMean(field.check, names));
      }
   }
   if (value.isRow) {
      checkRow(value, diagnostics);
   }
}

/// Reactors of one name are one class and watch one thing.
void checkReactors(const Model::Entity& machine, Diagnostics& diagnostics) {
   std::map<std::string, const Model::Reactor*> known;
   for (const Model::Reactor& reactor : machine.reactors) {
      const auto [first, added] = known.emplace(reactor.name, &reactor);
      if (!added && first->second->through != reactor.through) {
         diagnostics.error(reactor.span,
                           "reactor " + inQuotes(reactor.name) + " watches two different things");
         diagnostics.note(first->second->span, "it is declared here");
      }
   }
}

} // namespace

void check(const Model::Schema& schema, Diagnostics& diagnostics) {
   checkEnumeratorConstants(schema, diagnostics);
   for (const auto& type : schema.types) {
      checkNames(*type, diagnostics);
      switch (type->kind) {
      case Type::Kind::enumeration:
         checkEnumeration(static_cast<const Model::Enumeration&>(*type), diagnostics);
         break;
      case Type::Kind::value:
         checkValue(static_cast<const Model::Value&>(*type), diagnostics);
         break;
      case Type::Kind::entity:
         checkReactors(static_cast<const Model::Entity&>(*type), diagnostics);
         break;
      default:
         break;
      }
   }
}

} // namespace vokc
