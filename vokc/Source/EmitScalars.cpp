#include "vokc/Source/EmitScalars.h"

namespace vokc {

using namespace Code;

namespace {

/// `{"name", 3, "doc"},` lines.
std::string table(const std::vector<Model::Enumerator>& enumerators) {
   std::string text;
   for (const Model::Enumerator& enumerator : enumerators) {
      text +=
          list("       {",
               {literal(enumerator.name), Model::numberText(enumerator.number), docLiteral(enumerator.docs)},
               "},\n");
   }
   return text;
}

} // namespace

Fragment emitEnum(const Model::Enumeration& type, const Spelling& spelling) {
   const std::string& name = type.name;
   Fragment fragment;
   std::string& out = fragment.definition;
   out += docs(type.docs) + "enum class " + name + " : " + spelling.type(*type.storage) + " {\n";
   for (const Model::Enumerator& enumerator : type.enumerators) {
      const std::string line = "   " + enumerator.name + " = " + Model::numberText(enumerator.number) + ",";
      const std::string behind = enumerator.docs.size() == 1 ? " ///< " + enumerator.docs.front() : "";
      if (line.size() + behind.size() <= columnLimit) {
         out += (enumerator.docs.size() > 1 ? indented(docs(enumerator.docs), 3) : "") + line + behind + "\n";
      } else {
         out += indented(docs(enumerator.docs), 3) + line + "\n";
      }
   }
   out += "};\n";
   for (const Model::Enumerator& enumerator : type.enumerators) {
      out +=
          "inline constexpr " + name + " " + enumerator.name + "_ = " + name + "::" + enumerator.name + ";\n";
   }
   out += "const Vok::EnumType& vokEnum(" + name + ");\n";
   out += "/// The enumerator with a number or a name. Raise Vok::RangeError when there is none.\n";
   for (const std::string from : {"Vok::U32 number", "std::string_view name"}) {
      const std::string argument = from.substr(from.find(' ') + 1);
      out += "inline " + name + " " + name + "Instance(" + from + ") {\n   return Vok::enumInstance<" + name +
             ">(" + argument + ");\n}\n";
   }
   fragment.source = "const Vok::EnumType& vokEnum(" + name +
                     ") {\n   static constexpr Vok::Enumerator enumerators[] = {\n" +
                     table(type.enumerators) + "   };\n" +
                     assigned("static const Vok::EnumType type", "Vok::describeEnum<" + name + ">",
                              {literal(type.qualifiedName()), docLiteral(type.docs), "enumerators"}) +
                     "   return type;\n}\n";
   return fragment;
}

bool hasAccessor(const Model::Constant& constant) {
   return constant.type->kind == Model::Type::Kind::value ||
          constant.type->kind == Model::Type::Kind::externalValue;
}

std::vector<std::string> constantEntries(const std::vector<Model::Constant>& constants,
                                         const Model::Type& owner) {
   std::vector<std::string> entries;
   for (const Model::Constant& constant : constants) {
      if (constant.type == &owner) {
         continue;
      }
      const auto* text = dynamic_cast<const Model::Builtin*>(constant.type);
      std::string value = constant.name + (hasAccessor(constant) ? "()" : "");
      if (text && text->isText()) {
         value = "Vok::" + text->name + "(" + value + ")";
      }
      entries.push_back("Vok::constant(" + literal(constant.name) + ", " + value + ")");
   }
   return entries;
}

std::string constantDeclarations(const std::vector<Model::Constant>& constants, const Spelling& spelling) {
   std::string out;
   for (const Model::Constant& constant : constants) {
      out += indented(docs(constant.docs), 3);
      const auto* builtin = dynamic_cast<const Model::Builtin*>(constant.type);
      const auto* bounded = dynamic_cast<const Model::Bounded*>(constant.type);
      if (hasAccessor(constant)) {
         out += "   static const " + spelling.type(*constant.type) + "& " + constant.name + "();\n";
      } else if ((builtin && builtin->isText()) || (bounded && bounded->isText())) {
         out += "   static constexpr const char* " + constant.name + " = " +
                spelling.value(*constant.value, *constant.type) + ";\n";
      } else {
         out += "   static constexpr " + spelling.type(*constant.type) + " " + constant.name + " = " +
                spelling.value(*constant.value, *constant.type) + ";\n";
      }
   }
   return out;
}

Fragment emitBounded(const Model::Bounded& type, const Spelling& spelling) {
   const std::string& name = type.name;
   const std::string base = type.isText()        ? "BoundedString"
                            : type.sumsUnchecked ? "SummedNumber"
                                                 : "BoundedNumber";
   std::vector<std::string> arguments = {name};
   if (type.isText()) {
      arguments.push_back(Model::numberText(*type.length->number));
   } else {
      const Model::Number low = *type.lower->number;
      const Model::Number initial = type.byDefault ? *type.byDefault->number : low;
      arguments.push_back(spelling.type(*type.storage));
      for (const Model::Number number : {low, *type.upper->number, initial}) {
         arguments.push_back(Model::numberText(number) + (number > INT64_MAX ? "u" : ""));
      }
   }
   Fragment fragment;
   std::string& out = fragment.definition;
   out += docs(type.docs) + list("class " + name + " : public Vok::" + base + "<", arguments, "> {\n");
   out += "  public:\n   using " + base + "::" + base + ";\n";
   out += constantDeclarations(type.constants, spelling);
   out += "   static constexpr const char* rangeText =";
   const std::string message = literal(type.message);
   const std::string one = " " + message + ";\n";
   out += std::string("   static constexpr const char* rangeText =").size() + one.size() - 1 <= columnLimit
              ? one
              : "\n       " + message + ";\n";
   out += "   static const Vok::BoundedType& vokType();\n};\n";

   std::vector<std::string> description = {literal(type.qualifiedName()), docLiteral(type.docs)};
   if (!type.constants.empty()) {
      description.push_back(list("{", constantEntries(type.constants, type), "}", 7));
   }
   fragment.source =
       "const Vok::BoundedType& " + name + "::vokType() {\n" +
       assigned("static const Vok::BoundedType type", "Vok::describeBounded<" + name + ">", description) +
       "   return type;\n}\n";
   return fragment;
}

Fragment emitFlags(const Model::Flags& type, const Spelling&) {
   const std::string& name = type.name;
   const std::string mask =
       type.message.substr(type.message.find("0x"), type.message.rfind(" not") - type.message.find("0x"));
   Fragment fragment;
   std::string& out = fragment.definition;
   out += docs(type.docs) + "class " + name + " : public Vok::FlagSet<" + name + ", " + mask + "> {\n";
   out += "  public:\n   using FlagSet::FlagSet;\n";
   out += "   static constexpr const char* rangeText = " + literal(type.message) + ";\n\n";
   for (const Model::Enumerator& flag : type.flags) {
      const std::string bit = Model::numberText(flag.number);
      out += indented(docs(flag.docs), 3);
      out += "   constexpr bool " + flag.name + "() const { return bit(" + bit + "); }\n";
      out += "   constexpr void " + flag.name + "_(bool on) { bitIs(" + bit + ", on); }\n";
      out += "   static constexpr " + name + " " + flag.name + "_() { return " + name + "(Vok::U32(1) << " +
             bit + "); }\n";
   }
   out += "\n   static const Vok::FlagsType& vokType();\n};\n";

   std::vector<std::string> description = {literal(type.qualifiedName()), docLiteral(type.docs), "flags"};
   if (type.textBare || type.logUnchecked) {
      description.push_back(type.textBare ? "Vok::FlagsText::bare" : "Vok::FlagsText::fields");
   }
   if (type.logUnchecked) {
      description.push_back("Vok::FlagsLog::unchecked");
   }
   fragment.source =
       "const Vok::FlagsType& " + name + "::vokType() {\n   static constexpr Vok::Flag flags[] = {\n" +
       table(type.flags) + "   };\n" +
       assigned("static const Vok::FlagsType type", "Vok::describeFlags<" + name + ">", description) +
       "   return type;\n}\n";
   return fragment;
}

} // namespace vokc
