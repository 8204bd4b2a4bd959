#include "vokc/Source/ValueResolver.h"

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

/// A bound as its message shows it: a constant of the type with the type's name, a literal as written.
std::string boundText(const Model::Expression& bound, const Type& type) {
   if (bound.kind == Model::Expression::Kind::constant && bound.owner == &type) {
      return type.name + "::" + bound.text;
   }
   return std::string(bound.span.text());
}

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

std::string_view kindWord(Kind kind) {
   static constexpr std::array<std::string_view, 14> words = {
       "an enumerator", "a constant", "an attribute", "a derived attribute", "an invariant",  "a range",
       "a length",      "a default",  "an operation", "a handler",           "a constructor", "a reactor",
       "a type",        "a phrase"};
   return words[static_cast<std::size_t>(kind)];
}

} // namespace

std::string phrase(const Member& member) {
   std::string text;
   for (const Syntax::Word& word : member.words) {
      text += (text.empty() ? "" : " ") + word.text;
   }
   return text;
}

void reportMisplaced(const Member& member, std::string_view where, Diagnostics& diagnostics) {
   static const std::vector<std::string> known = {
       "unhashable",  "unordered", "order by hand", "hash by hand", "equality by hand", "text by hand",
       "text none",   "text bare", "log unchecked", "near",         "no factory",       "constant",
       "derived",     "invariant", "range",         "length",       "default",          "operation",
       "constructor", "react",     "handler"};
   if (member.kind == Kind::directive) {
      const std::string text = phrase(member);
      const bool isKnown =
          std::find(known.begin(), known.end(), text) != known.end() || text.starts_with("near ");
      if (isKnown) {
         diagnostics.error(member.span, inQuotes(text) + " says nothing about " + std::string(where));
      } else {
         diagnostics.error(member.span, "unknown phrase " + inQuotes(text), didYouMean(text, known));
      }
      return;
   }
   diagnostics.error(member.span,
                     std::string(kindWord(member.kind)) + " cannot stand in " + std::string(where));
}

const Model::Builtin* ValueResolver::storage(const Declaration& declaration, const Type& owner,
                                             std::string_view byDefault) const {
   const Model::Builtin* found = declaration.base ? types_.builtin(*declaration.base, owner) : nullptr;
   return found ? found : symbols_.builtin(byDefault);
}

std::optional<Number> ValueResolver::number(const Member& member, const Type& owner,
                                            const Model::Builtin& type) const {
   const auto value = expressions_.value(*member.value, owner, type);
   return value ? value->number : std::nullopt;
}

void ValueResolver::resolve(const Declaration& declaration, Model::Enumeration& type) const {
   type.storage = storage(declaration, type, "U8");
   if (!type.storage->isNumber() || type.storage->isSigned || type.storage->bits > 32) {
      diagnostics_.error(declaration.base->span, "an enum is stored in U8, U16 or U32");
      type.storage = symbols_.builtin("U32");
   }
   Number next = 0;
   for (const Member& member : declaration.members) {
      if (member.kind != Kind::enumerator) {
         reportMisplaced(member, "an enum", diagnostics_);
         continue;
      }
      if (member.value) {
         next = number(member, type, *type.storage).value_or(next);
      } else if (next > type.storage->highest()) {
         diagnostics_.error(member.span, numberText(next) + " does not fit " + inQuotes(type.storage->name),
                            "give the enum a wider storage, 'enum " + type.name + " : U32'");
      }
      type.enumerators.push_back({member.name.text, member.docs, member.name.span, next});
      ++next;
   }
   if (type.enumerators.empty()) {
      diagnostics_.error(type.span, "enum " + inQuotes(type.name) + " has no enumerators");
   }
}

void ValueResolver::resolve(const Declaration& declaration, Model::Bounded& type) const {
   type.storage = storage(declaration, type, "U32");
   if (!declaration.base) {
      diagnostics_.error(type.span, "the type that " + inQuotes(type.name) + " bounds is missing",
                         "write 'bounded " + type.name + " : U32'");
   } else if (!type.storage->isNumber() && type.storage->sort != Model::Builtin::Sort::string) {
      diagnostics_.error(declaration.base->span,
                         "numbers and String can be bounded, not " + inQuotes(type.storage->name));
      type.storage = symbols_.builtin("U32");
   }
   for (const Member& member : declaration.members) {
      if (member.kind == Kind::constant) {
         const Model::Builtin* number = type.isText() ? symbols_.builtin("U32") : type.storage;
         const Type* own = member.type ? types_.value(*member.type, type) : number;
         auto value = own ? expressions_.value(*member.value, type, *own) : nullptr;
         if (value) {
            type.constants.push_back(
                {member.name.text, member.docs, member.name.span, own, std::move(value)});
         }
      }
   }
   type.isText() ? boundedText(declaration, type) : boundedNumber(declaration, type);
}

void ValueResolver::boundedNumber(const Declaration& declaration, Model::Bounded& type) const {
   const Member* byDefault = nullptr;
   bool hasRange = false;
   for (const Member& member : declaration.members) {
      if (member.kind == Kind::range) {
         hasRange = true;
         type.lower = expressions_.value(*member.value, type, *type.storage);
         type.upper = expressions_.value(*member.upper, type, *type.storage);
      } else if (member.kind == Kind::byDefault) {
         byDefault = &member;
      } else if (member.kind != Kind::constant) {
         reportMisplaced(member, "a bounded number", diagnostics_);
      }
   }
   if (!hasRange) {
      diagnostics_.error(type.span, inQuotes(type.name) + " has no bounds",
                         "write 'range <lowest> to <highest>;'");
   }
   if (!type.lower || !type.upper) {
      type.lower.reset();
      type.upper.reset();
      return;
   }
   if (*type.lower->number > *type.upper->number) {
      diagnostics_.error(type.upper->span, "the range ends at " + numberText(*type.upper->number) +
                                               ", below its start " + numberText(*type.lower->number));
   }
   type.message = type.name + "::value < " + boundText(*type.lower, type) + " or > " +
                  boundText(*type.upper, type) + " not allowed";
   if (byDefault) {
      type.byDefault = expressions_.value(*byDefault->value, type, type);
   }
}

void ValueResolver::boundedText(const Declaration& declaration, Model::Bounded& type) const {
   bool hasLength = false;
   for (const Member& member : declaration.members) {
      if (member.kind == Kind::length) {
         hasLength = true;
         type.length = expressions_.value(*member.value, type, *symbols_.builtin("U32"));
      } else if (member.kind != Kind::constant) {
         reportMisplaced(member, "a bounded String", diagnostics_);
      }
   }
   if (!hasLength) {
      diagnostics_.error(type.span, inQuotes(type.name) + " has no bound", "write 'length <most bytes>;'");
   }
   if (type.length) {
      type.message = type.name + "::bytes > " + boundText(*type.length, type) + " not allowed";
   }
}

void ValueResolver::resolve(const Declaration& declaration, Model::Flags& type) const {
   for (const Member& member : declaration.members) {
      const std::string text = phrase(member);
      if (member.kind == Kind::enumerator) {
         flag(member, type);
      } else if (member.kind == Kind::directive && text == "text bare") {
         type.textBare = true;
      } else if (member.kind == Kind::directive && text == "log unchecked") {
         type.logUnchecked = true;
      } else {
         reportMisplaced(member, "a flag set", diagnostics_);
      }
   }
   if (type.flags.empty()) {
      diagnostics_.error(type.span, "flag set " + inQuotes(type.name) + " has no flags");
   } else if (type.textBare && type.flags.size() != 1) {
      diagnostics_.error(type.span, "'text bare' needs a single flag, and " + inQuotes(type.name) + " has " +
                                        std::to_string(type.flags.size()));
   }
   static constexpr std::string_view digits = "0123456789abcdef";
   std::string hex;
   for (std::uint32_t mask = type.mask(); mask != 0; mask >>= 4) {
      hex.insert(hex.begin(), digits[mask & 0xf]);
   }
   type.message = type.name + "::value > 0x" + hex + " not allowed";
}

void ValueResolver::flag(const Member& member, Model::Flags& type) const {
   if (!member.value) {
      diagnostics_.error(member.span, "the bit of flag " + inQuotes(member.name.text) + " is missing",
                         "write '" + member.name.text + " = <bit>;'");
      return;
   }
   const auto bit = number(member, type, *symbols_.builtin("U32"));
   if (!bit) {
      return;
   }
   if (*bit > 31) {
      diagnostics_.error(member.value->span, "a flag set has bits 0 to 31, no bit " + numberText(*bit));
      return;
   }
   const auto same = std::find_if(type.flags.begin(), type.flags.end(),
                                  [&](const Model::Enumerator& other) { return other.number == *bit; });
   if (same != type.flags.end()) {
      diagnostics_.error(member.value->span, "bit " + numberText(*bit) + " is taken");
      diagnostics_.note(same->span, "it is " + inQuotes(same->name));
      return;
   }
   type.flags.push_back({member.name.text, member.docs, member.name.span, *bit});
}

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
