#include "vokc/Source/Code.h"

#include <cctype>

namespace vokc::Code {

using Model::Type;

std::string indented(const std::string& text, std::size_t columns) {
   std::string result;
   std::size_t begin = 0;
   while (begin < text.size()) {
      const std::size_t end = std::min(text.find('\n', begin), text.size());
      if (end != begin) {
         result.append(columns, ' ').append(text, begin, end - begin);
      }
      result += '\n';
      begin = end + 1;
   }
   return result;
}

std::string docs(const Model::Docs& docs) {
   std::string text;
   for (const std::string& line : docs) {
      text += line.empty() ? "///\n" : "/// " + line + "\n";
   }
   return text;
}

std::string literal(std::string_view text) {
   std::string result = "\"";
   for (const char c : text) {
      if (c == '"' || c == '\\') {
         result += '\\';
      }
      result += c;
   }
   return result + "\"";
}

std::string docLiteral(const Model::Docs& docs) {
   std::string text;
   for (const std::string& line : docs) {
      text += (text.empty() || line.empty() ? "" : " ") + line;
   }
   return literal(text);
}

namespace {

/// Items broken into lines that start at `start`, of which the first begins at `at`.
std::string filled(const std::vector<std::string>& items, const std::string& tail, std::size_t at,
                   std::size_t start, std::size_t column) {
   std::string result;
   for (std::size_t i = 0; i < items.size(); ++i) {
      const bool last = i + 1 == items.size();
      const std::size_t end = items[i].size() + (last ? tail.size() - tail.ends_with('\n') : 1);
      if (i != 0 && at + 1 + end > columnLimit) {
         result += "\n" + std::string(start - column, ' ');
         at = start;
      } else if (i != 0) {
         result += " ";
         ++at;
      }
      result += items[i] + (last ? "" : ",");
      at += end;
   }
   return result + tail;
}

/// How many lines a text takes, and whether one of them is too long; `at` is where the first one begins.
std::pair<std::size_t, bool> extent(const std::string& text, std::size_t at, std::size_t column) {
   std::size_t lines = 0;
   bool tooLong = false;
   for (std::size_t begin = 0; begin < text.size(); ++lines) {
      const std::size_t end = std::min(text.find('\n', begin), text.size());
      tooLong = tooLong || (lines == 0 ? at : column) + end - begin > columnLimit;
      begin = end + 1;
   }
   return {lines, tooLong};
}

} // namespace

std::string list(const std::string& head, const std::vector<std::string>& items, const std::string& tail,
                 std::size_t column) {
   const std::size_t lastLine = head.rfind('\n') + 1; // 0 when the head is a single line
   const std::size_t start = column + head.size() - lastLine;
   const std::string behind = filled(items, tail, start, start, column);
   const bool opens = head.ends_with('(') || head.ends_with('{');
   const auto [lines, tooLong] = extent(behind, start, column);
   if (lines < 2 || !opens) {
      return head + behind;
   }
   const std::size_t indent = std::min(head.find_first_not_of(" \n", lastLine) - lastLine, head.size()) + 4;
   const std::string below = filled(items, tail, column + indent, column + indent, column);
   const bool better = tooLong || extent(below, column + indent, column).first + 1 < lines;
   return better ? head + "\n" + std::string(indent, ' ') + below : head + behind;
}

std::string assigned(const std::string& head, const std::string& call,
                     const std::vector<std::string>& items) {
   const std::string one = list("   " + head + " = " + call + "(", items, ");\n");
   return one.find('\n') + 1 == one.size()
              ? one
              : "   " + head + " =\n" + list("       " + call + "(", items, ");\n");
}

std::string constructor(const std::string& head, const std::vector<std::string>& parameters,
                        const std::vector<std::string>& initializers, const std::string& tail,
                        std::size_t column) {
   const std::string front = list(head, parameters, ")", column);
   if (initializers.empty()) {
      return front + tail;
   }
   const std::string body = tail.substr(0, tail.find('\n'));
   const std::string whole = front + list(" : ", initializers, body);
   const bool fits = whole.find('\n') == std::string::npos && whole.size() + column <= columnLimit;
   return (fits ? whole : front + list("\n    : ", initializers, body, column)) + tail.substr(body.size());
}

std::string inlined(const std::string& head, const std::string& body) {
   const std::string one = head + " { " + body + " }\n";
   return one.size() - 1 + 3 <= columnLimit ? one : head + " {\n   " + body + "\n}\n";
}

std::string upper(std::string name) {
   name.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(name.front())));
   return name;
}

std::string lower(std::string name) {
   name.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(name.front())));
   return name;
}

std::string stored(const std::string& name) {
   // Two underscores in a row are reserved in C++.
   return name.ends_with('_') ? name + "value_" : name + "_";
}

std::string className(const Type& type) {
   return (type.parent ? className(*type.parent) + "::" : "") + type.name;
}

bool isSmall(const Type& type) {
   switch (type.kind) {
   case Type::Kind::builtin:
      return !static_cast<const Model::Builtin&>(type).isText();
   case Type::Kind::bounded:
      return !static_cast<const Model::Bounded&>(type).isText();
   case Type::Kind::enumeration:
   case Type::Kind::flags:
      return true;
   default:
      return false;
   }
}

std::string Spelling::type(const Type& type) const {
   if (type.kind == Type::Kind::builtin) {
      return type.name == "Bool" ? "bool" : "Vok::" + type.name;
   }
   return symbols_.spelled(type, scope_);
}

std::string Spelling::passed(const Type& type) const {
   return isSmall(type) ? this->type(type) : "const " + this->type(type) + "&";
}

std::string Spelling::pointer(const Type& type, bool isConst) const {
   return "Vok::Ptr<" + std::string(isConst ? "const " : "") + this->type(type) + ">";
}

std::string Spelling::result(const Model::TypeUse& use) const {
   if (use.form == Model::TypeUse::Form::bytes) {
      return "const Vok::U8*";
   }
   if (!use.type) {
      return "void";
   }
   return use.form == Model::TypeUse::Form::pointer ? pointer(*use.type, use.isConst) : type(*use.type);
}

std::string Spelling::parameter(const Model::TypeUse& use) const {
   if (use.form == Model::TypeUse::Form::plain) {
      return passed(*use.type);
   }
   return use.form == Model::TypeUse::Form::bytes ? result(use) : "const " + result(use) + "&";
}

std::vector<std::string> Spelling::parameters(const std::vector<Model::Parameter>& parameters) const {
   std::vector<std::string> spelled;
   for (const Model::Parameter& item : parameters) {
      const std::string type = parameter(item.type);
      spelled.push_back(type + (type.ends_with('*') ? "" : " ") + item.name);
   }
   return spelled;
}

std::string Spelling::value(const Model::Expression& expression, const Type& expected) const {
   using Kind = Model::Expression::Kind;
   switch (expression.kind) {
   case Kind::string:
      return literal(expression.text);
   case Kind::boolean:
      return expression.text;
   case Kind::enumerator:
      return type(*expression.owner) + "::" + expression.text;
   case Kind::tuple: {
      const auto& value = static_cast<const Model::Value&>(expected);
      std::vector<std::string> fields;
      for (std::size_t i = 0; i < expression.operands.size(); ++i) {
         fields.push_back(this->value(expression.operands[i], *value.fields[i].type));
      }
      return list(type(expected) + "(", fields, ")");
   }
   default:
      break;
   }
   std::string text = expression.text;
   if (expression.kind == Kind::constant) {
      text = expression.text.substr(expression.text.rfind(':') + 1);
      text = type(*expression.owner) + "::" + text;
   } else if (expression.number && expression.kind != Kind::number) {
      text = Model::numberText(*expression.number);
   }
   if (expression.kind == Kind::number && expression.number > Model::Number(INT64_MAX) &&
       !text.starts_with("0x")) {
      text += "u";
   }
   const bool wrapped = expected.kind == Type::Kind::bounded && expression.type != &expected;
   return wrapped ? type(expected) + "(" + text + ")" : text;
}

std::string Spelling::violated(const Model::Expression& comparison) const {
   return condition(comparison.operands[0]) + " " + std::string(Model::negated(comparison.text)) + " " +
          condition(comparison.operands[1]);
}

std::string Spelling::condition(const Model::Expression& expression) const {
   using Kind = Model::Expression::Kind;
   switch (expression.kind) {
   case Kind::field:
      return stored(expression.field->name);
   case Kind::binary:
      return condition(expression.operands[0]) + " " + expression.text + " " +
             condition(expression.operands[1]);
   case Kind::negative:
      return "-" + condition(expression.operands[0]);
   case Kind::enumerator:
   case Kind::constant:
      return type(*expression.owner) + "::" + expression.text.substr(expression.text.rfind(':') + 1);
   case Kind::string:
      return literal(expression.text);
   default:
      return expression.text;
   }
}

std::string Spelling::initializer(const Model::Attribute& attribute) const {
   if (attribute.kind != Model::Attribute::Kind::scalar) {
      return {};
   }
   const Type& type = *attribute.type;
   if (attribute.byDefault) {
      return " = " + value(*attribute.byDefault, type);
   }
   if (type.kind == Type::Kind::enumeration) {
      for (const Model::Enumerator& enumerator : static_cast<const Model::Enumeration&>(type).enumerators) {
         if (enumerator.number == 0) {
            return " = " + this->type(type) + "::" + enumerator.name;
         }
      }
      return "{}"; // no enumerator is 0
   }
   const auto* builtin = dynamic_cast<const Model::Builtin*>(&type);
   if (!builtin || builtin->isText()) {
      return {};
   }
   return builtin->sort == Model::Builtin::Sort::boolean ? " = false" : " = 0";
}

std::string functionDeclaration(const Model::Function& function, const std::string& className,
                                const Spelling& spelling) {
   std::string head = docs(function.docs);
   if (function.kind == Model::Function::Kind::constructor) {
      head += (function.parameters.size() == 1 ? "explicit " : "") + className + "(";
   } else {
      head += function.isStatic ? "static " : "";
      head += function.isVirtual && !function.isOverride ? "virtual " : "";
      head += spelling.result(function.result) + " " + function.name + "(";
   }
   std::string tail = function.isConst ? ") const" : ")";
   tail += function.isOverride ? " override;" : ";";
   return list(head, spelling.parameters(function.parameters), tail, 3) + "\n";
}

} // namespace vokc::Code
