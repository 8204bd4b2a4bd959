#include "vokc/Source/TypeResolver.h"

#include <array>
#include <optional>

namespace vokc {

using Model::Attribute;
using Model::Type;
using Kind = Model::Attribute::Kind;

namespace {

struct CollectionWord {
   std::string_view word;
   Kind kind;
   std::string_view example;
};

constexpr std::array<CollectionWord, 11> collectionWords = {{
    {"map", Kind::map, "map< Name, U32 >"},
    {"set", Kind::set, "set< Name >"},
    {"ordered map", Kind::orderedMap, "ordered map< Name, U32 >"},
    {"ordered set", Kind::orderedSet, "ordered set< Name >"},
    {"counters", Kind::counters, "counters< Name, U32 >"},
    {"values", Kind::values, "values< Binding by label >"},
    {"pointer", Kind::pointer, "pointer< const Config >"},
    {"optional", Kind::optional, "optional< Child >"},
    {"members", Kind::members, "members< Route >"},
    {"references", Kind::references, "references< Route by key >"},
    {"table", Kind::table, "table< LfibRoute >"},
}};

const CollectionWord* collectionWord(const Syntax::Type& type) {
   for (const CollectionWord& candidate : collectionWords) {
      if (type.name.words.size() == 1 && type.name.words.front().text == candidate.word) {
         return &candidate;
      }
   }
   return nullptr;
}

bool isPointer(const Syntax::Type& type) {
   const CollectionWord* word = collectionWord(type);
   return word && word->kind == Kind::pointer && type.arguments.size() == 1;
}

} // namespace

Model::TypeUse TypeResolver::use(const Syntax::Type& type, const Type& user) const {
   Model::TypeUse use;
   use.span = type.span;
   const CollectionWord* word = collectionWord(type);
   if (word && word->kind == Kind::pointer) {
      if (argumentCount(type, 1, word->example)) {
         use.form = Model::TypeUse::Form::pointer;
         use.type = entity(type.arguments.front(), user, false);
         use.isConst = type.arguments.front().isConst;
      }
   } else if (type.name.text() == "Bytes" && type.arguments.empty()) {
      use.form = Model::TypeUse::Form::bytes;
   } else if (word || !type.arguments.empty() || type.index) {
      diagnostics_.error(type.span, "a function takes and returns values and pointers, no " +
                                        inQuotes(word ? word->word : type.span.text()));
   } else {
      const Type* own = symbols_.find(type.name, user.innerScope());
      use.type =
          own == &user && own->isValue() ? own : value(type, user); // functions may speak of their own type
   }
   return use;
}

std::vector<Model::Parameter> TypeResolver::parameters(const std::vector<Syntax::Parameter>& parameters,
                                                       const Type& user) const {
   std::vector<Model::Parameter> resolved;
   for (const Syntax::Parameter& parameter : parameters) {
      if (const Model::TypeUse type = use(*parameter.type, user)) {
         resolved.push_back({parameter.name.text, type, parameter.name.span});
      }
   }
   return resolved;
}

const Type* TypeResolver::value(const Syntax::Type& type, const Type& user) const {
   if (const CollectionWord* word = collectionWord(type)) {
      diagnostics_.error(type.span, inQuotes(word->word) + " cannot stand here",
                         "collections are attributes of their own");
      return nullptr;
   }
   if (type.by || !type.arguments.empty()) {
      diagnostics_.error(type.span, inQuotes(type.name.text()) + " takes no arguments");
      return nullptr;
   }
   const Type* found = symbols_.expect(type.name, user.innerScope(), diagnostics_);
   if (!found) {
      return nullptr;
   }
   if (found->isEntity()) {
      diagnostics_.error(type.span, inQuotes(found->name) + " is an entity, which has no value",
                         "write 'pointer< " + type.name.text() + " >'");
      return nullptr;
   }
   if (type.isConst) {
      diagnostics_.error(type.span, "a value is not declared const");
      return nullptr;
   }
   return standsAbove(*found, type.span, user) ? found : nullptr;
}

const Model::Builtin* TypeResolver::builtin(const Syntax::Type& type, const Type& user) const {
   const Type* found = value(type, user);
   if (found && found->kind != Type::Kind::builtin) {
      diagnostics_.error(type.span, inQuotes(found->name) + " is not a built-in type");
      return nullptr;
   }
   return static_cast<const Model::Builtin*>(found);
}

bool TypeResolver::attribute(const Syntax::Member& member, const Type& user, Attribute& attribute) const {
   const Syntax::Type& type = *member.type;
   attribute.name = member.name.text;
   attribute.docs = member.docs;
   attribute.span = member.name.span;
   const CollectionWord* word = collectionWord(type);
   if (word) {
      attribute.kind = word->kind;
      return belongsHere(type, word->kind, user) && collection(type, word->kind, user, attribute);
   }
   if (type.index) {
      attribute.kind = Kind::array;
      return belongsHere(type, Kind::array, user) && array(type, user, attribute);
   }
   attribute.type = value(type, user);
   return attribute.type != nullptr;
}

bool TypeResolver::collection(const Syntax::Type& type, Kind kind, const Type& user,
                              Attribute& attribute) const {
   const CollectionWord& word = *collectionWord(type);
   const auto& arguments = type.arguments;
   switch (kind) {
   case Kind::map:
   case Kind::orderedMap:
   case Kind::counters:
      if (!argumentCount(type, 2, word.example)) {
         return false;
      }
      attribute.key = key(arguments[0], kind, user);
      if (kind != Kind::counters && isPointer(arguments[1]) && user.isEntity()) {
         attribute.ofPointers = true;
         attribute.isConst = arguments[1].arguments.front().isConst;
         attribute.type = entity(arguments[1].arguments.front(), user, false);
         return attribute.key && attribute.type;
      }
      attribute.type = kind == Kind::counters ? builtin(arguments[1], user) : value(arguments[1], user);
      if (attribute.type && kind == Kind::counters &&
          !static_cast<const Model::Builtin*>(attribute.type)->isNumber()) {
         diagnostics_.error(arguments[1].span,
                            "counters count with a number, not with " + inQuotes(attribute.type->name));
         return false;
      }
      return attribute.key && attribute.type;
   case Kind::set:
   case Kind::orderedSet:
      if (argumentCount(type, 1, word.example)) {
         attribute.key = key(arguments[0], kind, user);
      }
      return attribute.key != nullptr;
   case Kind::values:
      return argumentCount(type, 1, word.example) && keyedValues(type, user, attribute);
   case Kind::table:
      return argumentCount(type, 1, word.example) && table(type, user, attribute);
   default:
      return argumentCount(type, 1, word.example) && children(type, kind, user, attribute);
   }
}

bool TypeResolver::array(const Syntax::Type& type, const Type& user, Attribute& attribute) const {
   const Type* index = value(*type.index, user);
   Syntax::Type element;
   element.name = type.name;
   element.span = type.name.span();
   attribute.type = value(element, user);
   if (!index || !attribute.type) {
      return false;
   }
   if (index->kind != Type::Kind::bounded || static_cast<const Model::Bounded*>(index)->isText()) {
      diagnostics_.error(type.index->span,
                         "an array is indexed by a bounded number, not by " + inQuotes(index->name),
                         "declare 'bounded <Name> : U8 { range 0 to <last>; }'");
      return false;
   }
   attribute.key = index;
   return true;
}

bool TypeResolver::keyedValues(const Syntax::Type& type, const Type& user, Attribute& attribute) const {
   const Syntax::Type& argument = type.arguments.front();
   if (!argument.by) {
      diagnostics_.error(argument.span, "the key of the values is missing",
                         "write 'values< " + argument.name.text() + " by <field> >'");
      return false;
   }
   Syntax::Type plain;
   plain.name = argument.name;
   plain.span = argument.name.span();
   attribute.type = value(plain, user);
   attribute.keyName = argument.by.text;
   if (!attribute.type || attribute.type->kind == Type::Kind::externalValue) {
      if (attribute.type) {
         diagnostics_.error(argument.span,
                            "the fields of " + inQuotes(attribute.type->name) + " are not known here");
      }
      return false;
   }
   if (attribute.type->kind != Type::Kind::value) {
      diagnostics_.error(argument.span, inQuotes(attribute.type->name) + " has no fields to be keyed by");
      return false;
   }
   const auto& value = static_cast<const Model::Value&>(*attribute.type);
   const Attribute* field = value.find(attribute.keyName);
   if (!field || field->kind != Kind::scalar) {
      std::vector<std::string> names;
      for (const Attribute& candidate : value.fields) {
         names.push_back(candidate.name);
      }
      diagnostics_.error(argument.by.span,
                         inQuotes(value.name) + " has no field " + inQuotes(attribute.keyName),
                         didYouMean(attribute.keyName, names));
      return false;
   }
   attribute.key = field->type;
   return true;
}

bool TypeResolver::children(const Syntax::Type& type, Kind kind, const Type& user,
                            Attribute& attribute) const {
   const Syntax::Type& argument = type.arguments.front();
   const bool owned = kind == Kind::members || kind == Kind::optional;
   attribute.type = entity(argument, user, owned);
   attribute.isConst = argument.isConst;
   if (!attribute.type) {
      return false;
   }
   if (kind == Kind::references) {
      if (!argument.by) {
         diagnostics_.error(argument.span, "the key of the references is missing",
                            "write 'references< " + argument.name.text() + " by <parameter> >'");
         return false;
      }
      attribute.keyName = argument.by.text;
      return true;
   }
   if (kind == Kind::members) {
      const auto& child = static_cast<const Model::Entity&>(*attribute.type);
      if (child.parameters.empty() || child.parameters.front().kind != Kind::scalar) {
         diagnostics_.error(argument.span,
                            inQuotes(child.name) + " has no key: its first parameter is no value",
                            "declare 'entity " + child.name + "( key : <type> )'");
         diagnostics_.note(child.span, "it is declared here");
         return false;
      }
      attribute.key = child.parameters.front().type;
      attribute.keyName = child.parameters.front().name;
   }
   return true;
}

bool TypeResolver::table(const Syntax::Type& type, const Type& user, Attribute& attribute) const {
   const Syntax::Type& argument = type.arguments.front();
   attribute.type = value(argument, user);
   if (!attribute.type) {
      return false;
   }
   const auto* row = dynamic_cast<const Model::Value*>(attribute.type);
   if (!row || !row->isRow) {
      diagnostics_.error(argument.span,
                         "a table holds rows, and " + inQuotes(attribute.type->name) + " is none",
                         "declare it with 'row' instead of 'value'");
      diagnostics_.note(attribute.type->span, "it is declared here");
      return false;
   }
   attribute.keyName = row->keyName;
   attribute.key = row->keyField() ? row->keyField()->type : nullptr;
   return attribute.key != nullptr;
}

const Type* TypeResolver::key(const Syntax::Type& type, Kind kind, const Type& user) const {
   const Type* found = value(type, user);
   if (!found || found->kind != Type::Kind::value) {
      return found;
   }
   const auto& value = static_cast<const Model::Value&>(*found);
   const bool ordered = kind == Kind::orderedMap || kind == Kind::orderedSet;
   if (ordered ? value.order == Model::By::none : value.hash == Model::By::none) {
      diagnostics_.error(type.span, inQuotes(value.name) + (ordered ? " has no order" : " has no hash") +
                                        " and cannot be a key here");
      diagnostics_.note(value.span, "it is declared here");
      return nullptr;
   }
   return found;
}

const Type* TypeResolver::entity(const Syntax::Type& type, const Type& user, bool mustStandAbove) const {
   const Type* found = symbols_.expect(type.name, user.innerScope(), diagnostics_);
   if (!found) {
      return nullptr;
   }
   if (!found->isEntity()) {
      diagnostics_.error(type.span, inQuotes(found->name) + " is a value, and an entity is needed here");
      diagnostics_.note(found->span, "it is declared here");
      return nullptr;
   }
   return !mustStandAbove || standsAbove(*found, type.span, user) ? found : nullptr;
}

/// What a type is made of is declared above it, so that a file reads from its top.
bool TypeResolver::standsAbove(const Type& type, Span span, const Type& user) const {
   if (&type == &user) {
      diagnostics_.error(span, inQuotes(type.name) + " cannot hold itself");
      return false;
   }
   if (type.span.file == user.span.file && type.order > user.order) {
      diagnostics_.error(span, inQuotes(type.name) + " is used above its declaration", "declare it first");
      diagnostics_.note(type.span, "it is declared here");
      return false;
   }
   return true;
}

bool TypeResolver::argumentCount(const Syntax::Type& type, std::size_t count,
                                 std::string_view example) const {
   if (type.arguments.size() == count && !type.index && !type.isConst) {
      return true;
   }
   diagnostics_.error(type.span,
                      inQuotes(type.name.text()) + " takes " +
                          (count == 1 ? "one argument" : std::to_string(count) + " arguments"),
                      "for example '" + std::string(example) + "'");
   return false;
}

bool TypeResolver::belongsHere(const Syntax::Type& type, Kind kind, const Type& user) const {
   const bool inValue = kind == Kind::array || kind == Kind::orderedMap || kind == Kind::orderedSet;
   if (user.isEntity() ? kind != Kind::array : inValue) {
      return true;
   }
   std::string mend;
   if (kind == Kind::map || kind == Kind::set) {
      mend = "write 'ordered " + type.name.text() + "'";
   } else if (kind == Kind::array) {
      mend = "put it into a value";
   } else {
      mend = "only an entity has such an attribute";
   }
   const std::string what = kind == Kind::array ? "an array" : inQuotes(type.name.text());
   diagnostics_.error(type.span, what + " cannot stand in " + (user.isEntity() ? "an entity" : "a value"),
                      mend);
   return false;
}

} // namespace vokc
