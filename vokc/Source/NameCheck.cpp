#include "vokc/Source/NameCheck.h"

#include <map>
#include <set>

namespace vokc {

using Model::Attribute;
using Model::Type;

namespace {

bool isReserved(const std::string& name) {
   static const std::set<std::string, std::less<>> words = {
       "alignas",     "alignof",  "and",       "and_eq",    "asm",       "auto",         "bitand",
       "bitor",       "bool",     "break",     "case",      "catch",     "char",         "char8_t",
       "char16_t",    "char32_t", "class",     "co_await",  "co_return", "co_yield",     "compl",
       "concept",     "const",    "consteval", "continue",  "constexpr", "constinit",    "const_cast",
       "decltype",    "default",  "delete",    "do",        "double",    "dynamic_cast", "else",
       "enum",        "explicit", "export",    "extern",    "false",     "float",        "for",
       "friend",      "goto",     "if",        "inline",    "int",       "long",         "mutable",
       "namespace",   "new",      "noexcept",  "not",       "not_eq",    "nullptr",      "operator",
       "or",          "or_eq",    "private",   "protected", "public",    "register",     "reinterpret_cast",
       "requires",    "return",   "short",     "signed",    "sizeof",    "static",       "static_assert",
       "static_cast", "struct",   "switch",    "template",  "this",      "thread_local", "throw",
       "true",        "try",      "typedef",   "typeid",    "typename",  "union",        "unsigned",
       "using",       "virtual",  "void",      "volatile",  "wchar_t",   "while",        "xor",
       "xor_eq"};
   return words.contains(name) || name.find("__") != std::string::npos || name.starts_with("_");
}

/// The members of one class.
class Members {
  public:
   explicit Members(Diagnostics& diagnostics) : diagnostics_(diagnostics) {}

   void word(const std::string& name, Span span) {
      if (isReserved(name)) {
         diagnostics_.error(span, inQuotes(name) + " is kept for C++", "choose another name");
      }
   }

   /// A member as it was declared.
   void declared(const std::string& name, Span span) {
      word(name, span);
      add(name, name, span);
   }

   /// A member that `source` brings along.
   void add(const std::string& name, const std::string& source, Span span) {
      const auto [known, added] = members_.emplace(name, Member{source, span});
      if (added || known->second.span.begin == span.begin) {
         return;
      }
      if (known->second.source == source && name != source) {
         return; // reported with the name itself
      }
      if (known->second.source == source) {
         diagnostics_.error(span, inQuotes(source) + " is declared twice");
      } else {
         const std::string& owner = name == source ? known->second.source : source;
         diagnostics_.error(span,
                            inQuotes(name == source ? name : source) + " clashes with " +
                                inQuotes(name == source ? owner : known->second.source),
                            inQuotes(owner) + " brings a member " + inQuotes(name) + " along");
      }
      diagnostics_.note(known->second.span, inQuotes(known->second.source) + " is declared here");
   }

   void attribute(const Attribute& attribute, bool inEntity) {
      const std::string& name = attribute.name;
      declared(name, attribute.span);
      const auto generated = [&](const std::string& suffix) { add(name + suffix, name, attribute.span); };
      generated("Is");
      if (inEntity) {
         generated("Attr");
      }
      if (attribute.isCollection()) {
         for (const char* suffix : {"s", "Has", "Del", "DelAll", "Each"}) {
            generated(suffix);
         }
      }
      if (attribute.isCounter || attribute.kind == Attribute::Kind::counters) {
         generated("Inc");
      }
      if (attribute.kind == Attribute::Kind::table) {
         for (const char* suffix : {"Commit", "Control", "Table"}) {
            generated(suffix);
         }
      }
   }

   /// Functions may share a name if their parameters differ.
   void function(const Model::Function& function) {
      if (function.kind == Model::Function::Kind::constructor) {
         return;
      }
      std::string signature = function.name + "(";
      for (const Model::Parameter& parameter : function.parameters) {
         word(parameter.name, parameter.span);
         signature += (parameter.type.type ? parameter.type.type->qualifiedName() : "Bytes") + ",";
      }
      const auto [known, added] = functions_.emplace(signature, function.span);
      if (!added) {
         diagnostics_.error(function.span,
                            inQuotes(function.name) + " is declared twice with the same parameters");
         diagnostics_.note(known->second, "the first declaration is here");
      } else if (!names_.contains(function.name)) {
         names_.insert(function.name);
         declared(function.name, function.span);
      }
   }

  private:
   struct Member {
      std::string source;
      Span span;
   };

   Diagnostics& diagnostics_;
   std::map<std::string, Member> members_;
   std::map<std::string, Span> functions_;
   std::set<std::string> names_;
};

void checkValue(const Model::Value& value, Members& members) {
   for (const char* fixed : {"hash", "vokType", "vokFields", "vokCheck"}) {
      members.add(fixed, value.name, value.span);
   }
   if (value.isRow) {
      members.add("rowKey", value.name, value.span);
      for (const char* fixed :
           {"pooltabString", "serialize", "serializeLen", "deserialize", "deserializeLen"}) {
         members.add(fixed, value.name, value.span);
      }
   }
   for (const Attribute& field : value.fields) {
      members.attribute(field, false);
   }
   for (const Model::Constant& constant : value.constants) {
      members.declared(constant.name, constant.span);
   }
   for (const auto& function : value.functions) {
      members.function(*function);
   }
}

void checkEntity(const Model::Entity& entity, Members& members) {
   for (const char* fixed : {"fullName", "vokType", "vokNotify", "vokParent", "vokName"}) {
      members.add(fixed, entity.name, entity.span);
   }
   for (const Model::Entity* base = entity.base; base; base = base->base) {
      for (const Attribute& attribute : base->attributes) {
         members.add(attribute.name, attribute.name, attribute.span);
      }
   }
   for (const Attribute& parameter : entity.parameters) {
      members.declared(parameter.name, parameter.span);
   }
   for (const Attribute& attribute : entity.attributes) {
      members.attribute(attribute, true);
   }
   for (const Model::Constant& constant : entity.constants) {
      members.declared(constant.name, constant.span);
   }
   for (const auto& function : entity.functions) {
      members.function(*function);
   }
}

} // namespace

void checkNames(const Type& type, Diagnostics& diagnostics) {
   Members members(diagnostics);
   members.word(type.name, type.span);
   switch (type.kind) {
   case Type::Kind::enumeration:
      for (const Model::Enumerator& enumerator : static_cast<const Model::Enumeration&>(type).enumerators) {
         members.declared(enumerator.name, enumerator.span);
      }
      break;
   case Type::Kind::flags:
      for (const Model::Enumerator& flag : static_cast<const Model::Flags&>(type).flags) {
         members.declared(flag.name, flag.span);
      }
      break;
   case Type::Kind::bounded:
      for (const Model::Constant& constant : static_cast<const Model::Bounded&>(type).constants) {
         members.declared(constant.name, constant.span);
      }
      break;
   case Type::Kind::value:
      checkValue(static_cast<const Model::Value&>(type), members);
      break;
   case Type::Kind::entity:
      checkEntity(static_cast<const Model::Entity&>(type), members);
      break;
   default:
      break;
   }
}

void checkEnumeratorConstants(const Model::Schema& schema, Diagnostics& diagnostics) {
   struct Known {
      const Type* type;
      Span span;
   };
   std::map<std::pair<std::vector<std::string>, std::string>, Known> constants;
   for (const auto& type : schema.types) {
      const auto* enumeration = dynamic_cast<const Model::Enumeration*>(type.get());
      if (!enumeration) {
         continue;
      }
      for (const Model::Enumerator& enumerator : enumeration->enumerators) {
         const auto [known, added] =
             constants.emplace(std::pair(type->scope, enumerator.name), Known{enumeration, enumerator.span});
         if (!added && known->second.type != enumeration) {
            diagnostics.error(enumerator.span,
                              "the namespace has another enumerator " + inQuotes(enumerator.name) + ", of " +
                                  inQuotes(known->second.type->name),
                              "both would be the constant '" + enumerator.name + "_'");
            diagnostics.note(known->second.span, "it is declared here");
         }
      }
   }
}

} // namespace vokc
