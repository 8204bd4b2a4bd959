#include "vokc/Source/ExpressionResolver.h"

#include <algorithm>
#include <cctype>

namespace vokc {

using Model::Expression;
using Model::Number;
using Model::Type;
using SyntaxKind = Syntax::Expression::Kind;

namespace {

Expression start(Expression::Kind kind, const Syntax::Expression& expression) {
   Expression result;
   result.kind = kind;
   result.span = expression.span;
   result.text = expression.text;
   return result;
}

const std::vector<Model::Constant>* constantsOf(const Type& type) {
   switch (type.kind) {
   case Type::Kind::bounded:
      return &static_cast<const Model::Bounded&>(type).constants;
   case Type::Kind::value:
      return &static_cast<const Model::Value&>(type).constants;
   case Type::Kind::entity:
   case Type::Kind::externalValue:
   case Type::Kind::externalEntity:
      return &static_cast<const Model::Entity&>(type).constants;
   default:
      return nullptr;
   }
}

const Model::Constant* findConstant(const Type& type, std::string_view name) {
   const auto* constants = constantsOf(type);
   if (!constants) {
      return nullptr;
   }
   const auto found = std::find_if(constants->begin(), constants->end(),
                                   [&](const Model::Constant& constant) { return constant.name == name; });
   return found == constants->end() ? nullptr : &*found;
}

const Model::Enumerator* findEnumerator(const Type* type, std::string_view name) {
   const auto* enumeration = dynamic_cast<const Model::Enumeration*>(type);
   return enumeration ? enumeration->find(name) : nullptr;
}

std::optional<Number> compute(std::string_view operation, Number left, Number right) {
   if (operation == "+") {
      return left + right;
   }
   if (operation == "-") {
      return left - right;
   }
   if (operation == "*") {
      return left * right;
   }
   if (operation == "<<" && right >= 0 && right < 64) {
      return left << static_cast<int>(right);
   }
   return std::nullopt;
}

bool isComparison(std::string_view operation) {
   return operation == "<=" || operation == ">=" || operation == "<" || operation == ">" ||
          operation == "==" || operation == "!=";
}

} // namespace

std::optional<Bounds> boundsOf(const Type& type) {
   if (type.kind == Type::Kind::builtin) {
      const auto& builtin = static_cast<const Model::Builtin&>(type);
      return builtin.isNumber() ? std::optional(Bounds{builtin.lowest(), builtin.highest()}) : std::nullopt;
   }
   if (type.kind == Type::Kind::bounded) {
      const auto& bounded = static_cast<const Model::Bounded&>(type);
      if (!bounded.isText() && bounded.lower && bounded.upper) {
         return Bounds{*bounded.lower->number, *bounded.upper->number};
      }
   }
   return std::nullopt;
}

std::unique_ptr<Expression> ExpressionResolver::value(const Syntax::Expression& expression, const Type& owner,
                                                      const Type& expected) const {
   Result result = resolve(expression, {owner, &expected, false});
   if (!result || !fits(*result, expected)) {
      return nullptr;
   }
   return std::make_unique<Expression>(std::move(*result));
}

std::unique_ptr<Expression> ExpressionResolver::condition(const Syntax::Expression& expression,
                                                          const Model::Value& owner) const {
   if (expression.kind != SyntaxKind::binary || !isComparison(expression.text)) {
      diagnostics_.error(expression.span, "an invariant compares two things", "for example 'size <= 100'");
      return nullptr;
   }
   Result left = resolve(expression.operands[0], {owner, nullptr, true});
   if (!left) {
      return nullptr;
   }
   Result right = resolve(expression.operands[1], {owner, left->type, true});
   if (!right) {
      return nullptr;
   }
   auto result = std::make_unique<Expression>(start(Expression::Kind::binary, expression));
   result->operands.push_back(std::move(*left));
   result->operands.push_back(std::move(*right));
   return result;
}

ExpressionResolver::Result ExpressionResolver::resolve(const Syntax::Expression& expression,
                                                       const Place& place) const {
   switch (expression.kind) {
   case SyntaxKind::number:
      return number(expression);
   case SyntaxKind::string:
      return start(Expression::Kind::string, expression);
   case SyntaxKind::boolean:
      return start(Expression::Kind::boolean, expression);
   case SyntaxKind::path:
      return path(expression, place);
   case SyntaxKind::tuple:
      return tuple(expression, place);
   case SyntaxKind::binary:
   case SyntaxKind::negative:
      break;
   }
   return arithmetic(expression, place);
}

ExpressionResolver::Result ExpressionResolver::number(const Syntax::Expression& expression) const {
   Expression result = start(Expression::Kind::number, expression);
   const std::string& text = result.text;
   if (text.find('.') != std::string::npos) {
      return result; // a floating number is passed on as written
   }
   const bool isHex = text.starts_with("0x") || text.starts_with("0X");
   const unsigned base = isHex ? 16 : 10;
   Number value = 0;
   bool bad = isHex && text.size() == 2;
   for (const char c : std::string_view(text).substr(isHex ? 2 : 0)) {
      const bool isDigit = std::isdigit(static_cast<unsigned char>(c)) != 0;
      const bool isHexDigit = std::isxdigit(static_cast<unsigned char>(c)) != 0;
      bad = bad || !(isHex ? isHexDigit : isDigit);
      const int digit = isDigit ? c - '0' : std::tolower(static_cast<unsigned char>(c)) - 'a' + 10;
      value = std::min<Number>(value * base + digit, Number(1) << 64);
   }
   if (value >> 64 != 0 && !bad) {
      diagnostics_.error(expression.span, inQuotes(text) + " is larger than any number type holds");
      return std::nullopt;
   }
   bad = bad || (!isHex && text.size() > 1 && text[0] == '0'); // C++ would read it as octal
   if (bad) {
      diagnostics_.error(expression.span, inQuotes(text) + " is not a number",
                         "write it in decimal, or in hexadecimal with '0x'");
      return std::nullopt;
   }
   result.number = value;
   return result;
}

/// A name: a field, a constant of the owner, an enumerator of the expected type, or `Type::member`.
ExpressionResolver::Result ExpressionResolver::path(const Syntax::Expression& expression,
                                                    const Place& place) const {
   const Syntax::Path& path = expression.path;
   const std::string& name = path.words.back().text;
   if (path.words.size() > 1) {
      Syntax::Path prefix;
      prefix.words.assign(path.words.begin(), path.words.end() - 1);
      const Type* type = symbols_.expect(prefix, place.owner.innerScope(), diagnostics_);
      return type ? member(expression, *type, name) : std::nullopt;
   }
   const auto* value = dynamic_cast<const Model::Value*>(&place.owner);
   const Model::Attribute* field = place.fields && value ? value->find(name) : nullptr;
   if (field && field->kind == Model::Attribute::Kind::scalar) {
      Expression result = start(Expression::Kind::field, expression);
      result.field = field;
      result.type = field->type;
      return result;
   }
   if (findEnumerator(place.expected, name)) {
      return member(expression, *place.expected, name);
   }
   if (findConstant(place.owner, name)) {
      return member(expression, place.owner, name);
   }
   if (place.expected && findConstant(*place.expected, name)) {
      return member(expression, *place.expected, name);
   }
   reportUnknown(expression, place);
   return std::nullopt;
}

ExpressionResolver::Result ExpressionResolver::member(const Syntax::Expression& expression, const Type& type,
                                                      const std::string& name) const {
   Expression result = start(Expression::Kind::constant, expression);
   result.owner = &type;
   if (const Model::Constant* constant = findConstant(type, name)) {
      result.type = constant->type;
      result.number = constant->value ? constant->value->number : std::nullopt;
      return result;
   }
   if (const Model::Enumerator* enumerator = findEnumerator(&type, name)) {
      result.kind = Expression::Kind::enumerator;
      result.enumerator = enumerator;
      result.type = &type;
      return result;
   }
   std::vector<std::string> candidates;
   if (const auto* constants = constantsOf(type)) {
      for (const Model::Constant& constant : *constants) {
         candidates.push_back(constant.name);
      }
   } else if (const auto* enumeration = dynamic_cast<const Model::Enumeration*>(&type)) {
      for (const Model::Enumerator& enumerator : enumeration->enumerators) {
         candidates.push_back(enumerator.name);
      }
   }
   diagnostics_.error(expression.span, inQuotes(type.name) + " has no constant " + inQuotes(name),
                      didYouMean(name, candidates));
   return std::nullopt;
}

void ExpressionResolver::reportUnknown(const Syntax::Expression& expression, const Place& place) const {
   std::vector<std::string> candidates;
   const auto* value = dynamic_cast<const Model::Value*>(&place.owner);
   if (place.fields && value) {
      for (const Model::Attribute& field : value->fields) {
         candidates.push_back(field.name);
      }
   }
   if (const auto* constants = constantsOf(place.owner)) {
      for (const Model::Constant& constant : *constants) {
         candidates.push_back(constant.name);
      }
   }
   if (const auto* enumeration = dynamic_cast<const Model::Enumeration*>(place.expected)) {
      for (const Model::Enumerator& enumerator : enumeration->enumerators) {
         candidates.push_back(enumerator.name);
      }
   }
   diagnostics_.error(expression.span, "unknown name " + inQuotes(expression.text),
                      didYouMean(expression.text, candidates));
}

ExpressionResolver::Result ExpressionResolver::arithmetic(const Syntax::Expression& expression,
                                                          const Place& place) const {
   const bool isNegative = expression.kind == SyntaxKind::negative;
   Expression result = start(isNegative ? Expression::Kind::negative : Expression::Kind::binary, expression);
   if (!isNegative && isComparison(expression.text)) {
      diagnostics_.error(expression.span, "a comparison has no value here");
      return std::nullopt;
   }
   std::vector<std::optional<Number>> numbers;
   for (const Syntax::Expression& operand : expression.operands) {
      Result resolved = resolve(operand, place);
      if (!resolved) {
         return std::nullopt;
      }
      numbers.push_back(resolved->number);
      result.operands.push_back(std::move(*resolved));
   }
   if (std::all_of(numbers.begin(), numbers.end(), [](const auto& number) { return number.has_value(); })) {
      result.number =
          isNegative ? std::optional(-*numbers[0]) : compute(expression.text, *numbers[0], *numbers[1]);
   } else if (!place.fields) {
      diagnostics_.error(expression.span, "only numbers can be computed with");
      return std::nullopt;
   }
   return result;
}

ExpressionResolver::Result ExpressionResolver::tuple(const Syntax::Expression& expression,
                                                     const Place& place) const {
   const auto* value = place.expected && place.expected->kind == Type::Kind::value
                           ? static_cast<const Model::Value*>(place.expected)
                           : nullptr;
   if (!value && expression.operands.size() == 1) {
      return resolve(expression.operands.front(), place); // a parenthesis
   }
   if (!value) {
      diagnostics_.error(expression.span, "the fields of a value cannot stand here");
      return std::nullopt;
   }
   if (expression.operands.size() != value->fields.size()) {
      diagnostics_.error(expression.span, inQuotes(value->name) + " has " +
                                              std::to_string(value->fields.size()) + " fields, and " +
                                              std::to_string(expression.operands.size()) +
                                              " values are given");
      diagnostics_.note(value->span, "it is declared here");
      return std::nullopt;
   }
   Expression result = start(Expression::Kind::tuple, expression);
   result.type = value;
   for (std::size_t i = 0; i < expression.operands.size(); ++i) {
      if (value->fields[i].kind != Model::Attribute::Kind::scalar) {
         diagnostics_.error(expression.operands[i].span, "a collection cannot be written as a value");
         return std::nullopt;
      }
      const Type& type = *value->fields[i].type;
      Result field = resolve(expression.operands[i], {place.owner, &type, false});
      if (!field || !fits(*field, type)) {
         return std::nullopt;
      }
      result.operands.push_back(std::move(*field));
   }
   return result;
}

bool ExpressionResolver::fits(const Expression& value, const Type& expected) const {
   const auto* storage = expected.kind == Type::Kind::builtin ? static_cast<const Model::Builtin*>(&expected)
                         : expected.kind == Type::Kind::bounded
                             ? static_cast<const Model::Bounded&>(expected).storage
                             : nullptr;
   bool matches = false;
   switch (value.kind) {
   case Expression::Kind::string:
      matches = storage && storage->isText();
      break;
   case Expression::Kind::boolean:
      matches = storage && storage->sort == Model::Builtin::Sort::boolean;
      break;
   case Expression::Kind::enumerator:
      matches = value.type == &expected;
      break;
   case Expression::Kind::tuple:
      matches = value.type == &expected;
      break;
   default: // numbers, and constants of numbers or of the very type
      matches = value.type == &expected || (storage && storage->isNumber() && value.number) ||
                (storage && storage->sort == Model::Builtin::Sort::floating);
   }
   if (!matches) {
      diagnostics_.error(value.span,
                         inQuotes(value.span.text()) + " is no value of " + inQuotes(expected.name));
      return false;
   }
   return withinBounds(value, expected);
}

bool ExpressionResolver::withinBounds(const Expression& value, const Type& expected) const {
   const std::optional<Bounds> bounds = boundsOf(expected);
   if (value.number && bounds && (*value.number < bounds->lowest || *value.number > bounds->highest)) {
      diagnostics_.error(value.span, numberText(*value.number) + " does not fit " + inQuotes(expected.name) +
                                         " (" + numberText(bounds->lowest) + " to " +
                                         numberText(bounds->highest) + ")");
      return false;
   }
   const auto* bounded = dynamic_cast<const Model::Bounded*>(&expected);
   if (value.kind == Expression::Kind::string && bounded && bounded->length &&
       Number(value.text.size()) > *bounded->length->number) {
      diagnostics_.error(value.span, inQuotes(value.text) + " is longer than " + inQuotes(expected.name) +
                                         " allows (" + numberText(*bounded->length->number) + " bytes)");
      return false;
   }
   return true;
}

} // namespace vokc
