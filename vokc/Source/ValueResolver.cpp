#include "vokc/Source/ValueResolver.h"

#include "vokc/Source/Phrases.h"

#include <algorithm>
#include <array>

namespace vokc {

using Model::By;
using Model::Number;
using Model::Type;
using Syntax::Declaration;
using Syntax::Member;
using Kind = Syntax::Member::Kind;

namespace {

/// Whether table rows can be placed by this field: see Vok/RowCodec.h, which decides it for external types.
bool isNear(const Model::Attribute* field) {
   if (!field || field->kind != Model::Attribute::Kind::scalar) {
      return false;
   }
   switch (field->type->kind) {
   case Type::Kind::builtin:
      return field->type->name == "U32";
   case Type::Kind::bounded:
      return static_cast<const Model::Bounded*>(field->type)->storage->name == "U32";
   case Type::Kind::value:
      return !static_cast<const Model::Value*>(field->type)->nearName.empty();
   default:
      return field->type->kind == Type::Kind::externalValue;
   }
}

/// A value may have constants of its own type: they stand behind accessors, made on first use.
bool isOfOwner(const Member& member, const Type& owner) {
   return member.kind == Kind::constant && member.type && owner.isValue() &&
          member.type->name.text() == owner.name;
}

} // namespace

void ValueResolver::resolve(const Declaration& declaration, Model::Value& type) const {
   for (const Member& member : declaration.members) {
      switch (member.kind) {
      case Kind::attribute:
         field(member, type);
         break;
      case Kind::constant:
         if (!isOfOwner(member, type)) {
            constant(member, type, type.constants);
         }
         break;
      case Kind::derived:
      case Kind::operation:
      case Kind::constructor:
         if (auto function = this->function(member, type)) {
            type.functions.push_back(std::move(function));
         }
         break;
      case Kind::invariant: // these speak of fields that may be declared further down
      case Kind::directive:
         break;
      default:
         reportMisplaced(member, "a value", diagnostics_);
      }
   }
   for (const Member& member : declaration.members) {
      if (member.kind == Kind::invariant) {
         invariant(member, type);
      } else if (member.kind == Kind::directive) {
         directive(member, type);
      } else if (isOfOwner(member, type)) {
         constant(member, type, type.constants);
      }
   }
   key(declaration, type);
}

void ValueResolver::field(const Member& member, Model::Value& type) const {
   Model::Attribute field;
   if (!types_.attribute(member, type, field)) {
      return;
   }
   if (member.target) {
      check(member, field);
   }
   if (member.value && field.kind != Model::Attribute::Kind::scalar) {
      diagnostics_.error(member.value->span, "a collection has no default");
   } else if (member.value) {
      field.byDefault = expressions_.value(*member.value, type, *field.type);
   }
   if (!member.words.empty()) {
      const auto* flags = dynamic_cast<const Model::Flags*>(field.type);
      field.logChecked = member.words.front().text == "logChecked";
      if (!field.logChecked) {
         diagnostics_.error(member.words.front().span, "a counter is an attribute of an entity");
      } else if (!flags || !flags->logUnchecked) {
         diagnostics_.error(member.words.front().span, "'logChecked' is for flags declared 'log unchecked'");
      }
   }
   type.fields.push_back(std::move(field));
}

/// The check of a collection: of a set or map it gets what is about to be stored, or a field of that; of an
/// array it gets the index, after a change.
void ValueResolver::check(const Member& member, Model::Attribute& field) const {
   if (!field.isCollection()) {
      diagnostics_.error(member.target.span, "only a collection has a check");
      return;
   }
   field.check = member.target.text;
   field.checkBy = member.targetBy.text;
   const auto* element = dynamic_cast<const Model::Value*>(field.key ? field.key : field.type);
   if (member.targetBy &&
       (field.kind == Model::Attribute::Kind::array || !element || !element->find(field.checkBy))) {
      diagnostics_.error(member.targetBy.span,
                         "what " + inQuotes(field.name) + " holds has no field " + inQuotes(field.checkBy));
   }
}

void ValueResolver::constant(const Member& member, const Type& owner,
                             std::vector<Model::Constant>& constants) const {
   if (!member.type) {
      diagnostics_.error(member.name.span,
                         "the type of constant " + inQuotes(member.name.text) + " is missing",
                         "write 'constant " + member.name.text + " : U32 = ...'");
      return;
   }
   const Type* type = isOfOwner(member, owner) ? &owner : types_.value(*member.type, owner);
   auto value = type ? expressions_.value(*member.value, owner, *type) : nullptr;
   if (value) {
      constants.push_back({member.name.text, member.docs, member.name.span, type, std::move(value)});
   }
}

std::unique_ptr<Model::Function> ValueResolver::function(const Member& member, const Type& owner) const {
   auto function = std::make_unique<Model::Function>();
   function->name = member.name.text;
   function->docs = member.docs;
   function->span = member.span;
   function->parameters = types_.parameters(member.parameters, owner);
   for (const Syntax::Word& word : member.words) {
      function->isStatic = function->isStatic || word.text == "static";
      function->isConst = function->isConst || word.text == "const";
   }
   if (function->isStatic && function->isConst) {
      diagnostics_.error(member.words.front().span, "an operation is static or const, not both");
   }
   switch (member.kind) {
   case Kind::derived:
      function->kind = Model::Function::Kind::derived;
      function->isConst = true;
      break;
   case Kind::handler:
      function->kind = Model::Function::Kind::handler;
      break;
   case Kind::constructor:
      function->kind = Model::Function::Kind::constructor;
      if (function->parameters.empty()) {
         diagnostics_.error(member.span, "a constructor without parameters is always there");
         return nullptr;
      }
      break;
   default:
      break;
   }
   if (member.type) {
      function->result = types_.use(*member.type, owner);
   }
   return function;
}

void ValueResolver::invariant(const Member& member, Model::Value& type) const {
   auto condition = expressions_.condition(*member.value, type);
   if (!condition) {
      return;
   }
   std::string message = member.message.value_or("");
   if (!member.message) {
      message = type.name + "::" + std::string(condition->operands[0].span.text()) + " " +
                std::string(Model::negated(condition->text)) + " " +
                std::string(condition->operands[1].span.text()) + " not allowed";
   }
   type.invariants.push_back({member.span, std::move(condition), std::move(message)});
}

void ValueResolver::directive(const Member& member, Model::Value& type) const {
   const std::string text = phrase(member);
   if (text == "unhashable") {
      type.hash = By::none;
   } else if (text == "unordered") {
      type.order = By::none;
   } else if (text == "order by hand") {
      type.order = By::hand;
   } else if (text == "hash by hand") {
      type.hash = By::hand;
   } else if (text == "equality by hand") {
      type.equality = By::hand;
   } else if (text == "log by hand") {
      type.log = By::hand;
   } else if (text == "text by hand") {
      type.text = By::hand;
   } else if (text == "text none") {
      type.text = By::none;
      if (!type.fields.empty()) {
         diagnostics_.error(member.span, "'text none' is for values without fields");
      }
   } else if (member.words.size() == 2 && member.words.front().text == "near") {
      const Model::Attribute* field = type.find(member.words[1].text);
      if (!isNear(field)) {
         diagnostics_.error(member.words[1].span,
                            "'near' names a field that is a 32-bit number, or a value that "
                            "has such a field");
         return;
      }
      type.nearName = field->name;
   } else {
      reportMisplaced(member, "a value", diagnostics_);
   }
}

/// A row's key is its first field, so that packed rows start with their key.
void ValueResolver::key(const Declaration& declaration, Model::Value& type) const {
   if (!type.isRow) {
      if (declaration.hasParentheses) {
         diagnostics_.error(type.span, "a value has no key", "declare it with 'row'");
      }
      return;
   }
   type.keyName = declaration.parameters.empty() ? "key" : declaration.parameters.front().name.text;
   const Span span = declaration.parameters.empty() ? type.span : declaration.parameters.front().name.span;
   const Model::Attribute* field = type.keyField();
   if (!field) {
      diagnostics_.error(span, "row " + inQuotes(type.name) + " has no field " + inQuotes(type.keyName),
                         "add it, or name its key: 'row " + type.name + "( <field> )'");
   } else if (field != &type.fields.front()) {
      diagnostics_.error(field->span, "the key of a row is its first field");
   } else if (field->kind != Model::Attribute::Kind::scalar || !Model::isFixed(*field->type)) {
      diagnostics_.error(field->span, "the key of a row has a fixed size");
   }
}

} // namespace vokc
