#include "vokc/Source/EmitValue.h"

#include "vokc/Source/EmitField.h"
#include "vokc/Source/EmitScalars.h"

#include <algorithm>

namespace vokc {

using namespace Code;
using Model::Attribute;
using Model::By;

namespace {

/// Writes the parts of one class, in the order in which they stand in it.
class ValueEmitter {
  public:
   ValueEmitter(const Model::Value& type, const Spelling& spelling)
       : type_(type), spelling_(spelling), class_(className(type)) {
      for (const Attribute& field : type.fields) {
         if (field.kind == Attribute::Kind::scalar) {
            scalars_.push_back(&field);
         }
      }
   }

   Fragment run() {
      std::string& out = fragment_.definition;
      out = docs(type_.docs) + "class " + type_.name + " {\n  public:\n";
      if (type_.isRow) {
         out += "   using Key = " + spelling_.type(*type_.keyField()->type) + ";\n\n";
      }
      constructors();
      fields();
      functions();
      constants();
      operators();
      if (type_.isRow) {
         row();
      }
      reflection();
      members();
      out += "};\n";
      return std::move(fragment_);
   }

  private:
   void line(const std::string& text) { fragment_.definition += text.empty() ? "\n" : "   " + text + "\n"; }
   void source(const std::string& text) { fragment_.source += (fragment_.source.empty() ? "" : "\n") + text; }

   void constructors() {
      const bool byHand =
          std::any_of(type_.functions.begin(), type_.functions.end(), [](const auto& function) {
             return function->kind == Model::Function::Kind::constructor;
          });
      if (scalars_.empty() && !byHand) {
         return;
      }
      line(type_.name + "() = default;");
      if (!scalars_.empty() && !replacedByHand()) {
         fieldConstructor();
      }
      for (const auto& function : type_.functions) {
         if (function->kind == Model::Function::Kind::constructor) {
            fragment_.definition += indented(functionDeclaration(*function, type_.name, spelling_), 3);
         }
      }
      line("");
   }

   /// A constructor written by hand may have the very parameters of the generated one.
   bool replacedByHand() const {
      return std::any_of(type_.functions.begin(), type_.functions.end(), [&](const auto& function) {
         return function->kind == Model::Function::Kind::constructor &&
                std::equal(function->parameters.begin(), function->parameters.end(), scalars_.begin(),
                           scalars_.end(), [](const Model::Parameter& parameter, const Attribute* field) {
                              return parameter.type.type == field->type;
                           });
      });
   }

   void fieldConstructor() {
      std::vector<std::string> parameters, initializers;
      for (const Attribute* field : scalars_) {
         parameters.push_back(spelling_.passed(*field->type) + " " + field->name);
         initializers.push_back(stored(field->name) + "(" + field->name + ")");
      }
      const std::string one = scalars_.size() == 1 ? "explicit " : "";
      if (type_.invariants.empty()) {
         fragment_.definition +=
             indented(constructor(one + type_.name + "(", parameters, initializers, " {}\n", 3), 3);
         return;
      }
      line("/// Raises Vok::RangeError when an invariant does not hold.");
      fragment_.definition += indented(list(one + type_.name + "(", parameters, ");\n", 3), 3);
      source(constructor(class_ + "::" + type_.name + "(", parameters, initializers,
                         " {\n   vokCheck();\n}\n", 0));
   }

   void fields() {
      for (const Attribute& field : type_.fields) {
         const bool first = &field == &type_.fields.front();
         if (!first && (field.isCollection() || (&field - 1)->isCollection())) {
            line("");
         }
         const FieldCode code = emitField(field, type_, class_, spelling_);
         fragment_.definition += indented(docs(field.docs) + code.accessors, 3);
         if (!code.source.empty()) {
            source(code.source);
         }
      }
   }

   void functions() {
      bool first = !type_.fields.empty();
      for (const auto& function : type_.functions) {
         const bool given =
             type_.text == By::hand && function->name == "stringValue" && function->parameters.empty();
         if (function->kind == Model::Function::Kind::constructor || given) {
            continue;
         }
         fragment_.definition += (first ? "\n" : "");
         first = false;
         fragment_.definition += indented(functionDeclaration(*function, type_.name, spelling_), 3);
      }
   }

   void constants() {
      if (type_.constants.empty()) {
         return;
      }
      if (!fragment_.definition.ends_with("public:\n")) {
         line("");
      }
      fragment_.definition += constantDeclarations(type_.constants, spelling_);
      for (const Model::Constant& constant : type_.constants) {
         if (hasAccessor(constant)) {
            const std::string name = spelling_.type(*constant.type);
            source("const " + name + "& " + class_ + "::" + constant.name + "() {\n   static const " + name +
                   " value = " + spelling_.value(*constant.value, *constant.type) +
                   ";\n   return value;\n}\n");
         }
      }
   }

   void operators() {
      const std::string& name = type_.name;
      line("");
      line("/// True for the default value.");
      line("bool operator!() const { return *this == " + name + "(); }");
      line(type_.equality == By::hand ? "bool operator==(const " + name + "& other) const;"
                                      : "bool operator==(const " + name + "&) const = default;");
      if (type_.order == By::hand) {
         line("std::strong_ordering operator<=>(const " + name + "& other) const;");
      } else if (type_.isOrdered()) {
         line("std::strong_ordering operator<=>(const " + name + "&) const = default;");
      }
      if (type_.hash == By::none) {
         line("/// Raises Vok::UnhashableError.");
         source("Vok::U32 " + class_ + "::hash() const {\n   throw Vok::UnhashableError(" +
                literal(type_.qualifiedName()) + ");\n}\n");
      } else if (type_.hash == By::generated) {
         fragment_.after =
             "inline Vok::U32 " + class_ + "::hash() const {\n   return Vok::hashFields(*this);\n}\n";
      }
      line("Vok::U32 hash() const;");
   }

   void row() {
      line("");
      line("const Key& rowKey() const { return " + stored(type_.keyName) + "; }");
      line("/// The text form, for table dumps.");
      line("Vok::String pooltabString() const;");
      source("Vok::String " + class_ + "::pooltabString() const {\n   return Vok::valueToStrep(*this);\n}\n");
      const bool variable = std::any_of(type_.fields.begin(), type_.fields.end(), [](const Attribute& field) {
         return field.kind == Attribute::Kind::array;
      });
      if (variable) {
         variablePart();
      }
   }

   void variablePart() {
      line("");
      line("/// The variable part: its bytes now, packed to `out`, and read back. Of bytes that are no "
           "variable");
      line("/// part, deserializeLen() is 0 and deserialize() false; the row may then hold anything valid.");
      line("Vok::U32 serializeLen() const;");
      line("void serialize(Vok::U8* out) const;");
      line("static Vok::U32 deserializeLen(const Vok::U8* in, Vok::U32 bytes);");
      line("bool deserialize(const Vok::U8* in, Vok::U32 bytes);");
      source("Vok::U32 " + class_ +
             "::serializeLen() const {\n   return Vok::variablePartBytes(*this);\n}\n");
      source("void " + class_ +
             "::serialize(Vok::U8* out) const {\n   Vok::packVariablePart(*this, out);\n}\n");
      source("Vok::U32 " + class_ + "::deserializeLen(const Vok::U8* in, Vok::U32 bytes) {\n" + "   " +
             class_ + " row;\n   return Vok::unpackVariablePart(row, in, bytes);\n}\n");
      source("bool " + class_ + "::deserialize(const Vok::U8* in, Vok::U32 bytes) {\n" +
             "   return Vok::unpackVariablePart(*this, in, bytes) != 0;\n}\n");
   }

   void reflection() {
      line("");
      line("static const Vok::ValueType& vokType();");
      source("const Vok::ValueType& " + class_ + "::vokType() {\n" +
             assigned("static const Vok::ValueType type", "Vok::describeValue<" + class_ + ">",
                      {literal(type_.qualifiedName()), docLiteral(type_.docs)}) +
             "   return type;\n}\n");
      if (!type_.invariants.empty()) {
         check();
      }
      if (type_.text == By::hand) {
         line("static constexpr bool vokTextByHand = true;");
         line("Vok::String stringValue() const;");
         line("static void parseText(Vok::TextParser& parser, " + type_.name + "& value);");
      }
      if (type_.log == By::hand) {
         line("static constexpr bool vokLogByHand = true;");
         line("void writeLog(Vok::NboAttrLog::Writer& log) const;");
         line("static void readLog(Vok::NboAttrLog::Reader& log, " + type_.name + "& value);");
      }
      const std::vector<std::string> reflected = constantEntries(type_.constants, type_);
      if (!reflected.empty()) {
         line("static std::vector<Vok::Constant> vokConstants();");
         source("std::vector<Vok::Constant> " + class_ + "::vokConstants() {\n" +
                list("   return {", reflected, "};\n") + "}\n");
      }
      if (!type_.nearName.empty()) {
         const auto at = std::find_if(type_.fields.begin(), type_.fields.end(),
                                      [&](const Attribute& field) { return field.name == type_.nearName; });
         line("static constexpr std::size_t vokNear = " + std::to_string(at - type_.fields.begin()) + ";");
      }
      std::vector<std::string> entries;
      for (const Attribute& field : type_.fields) {
         std::string entry = field.logChecked ? "Vok::logCheckedField" : "Vok::field";
         entry += "<&" + type_.name + "::" + stored(field.name) + ">(" + literal(field.name);
         entries.push_back(entry + (field.docs.empty() ? ")" : ", " + docLiteral(field.docs) + ")"));
      }
      line("template <class Use>");
      const std::string head = "static constexpr auto vokFields(Use use)";
      const std::string body = entries.empty() ? "return use();" : list("return use(", entries, ");", 6);
      fragment_.definition += body.find('\n') == std::string::npos
                                  ? indented(inlined(head, body), 3)
                                  : "   " + head + " {\n" + indented(body + "\n", 6) + "   }\n";
   }

   void check() {
      line("/// Raises Vok::RangeError when an invariant does not hold.");
      line("void vokCheck() const;");
      std::string body = "void " + class_ + "::vokCheck() const {\n";
      for (const Model::Invariant& invariant : type_.invariants) {
         body += "   if (" + spelling_.violated(*invariant.condition) + ")\n      throw Vok::RangeError(" +
                 literal(invariant.message) + ");\n";
      }
      source(body + "}\n");
   }

   void members() {
      if (type_.fields.empty()) {
         return;
      }
      fragment_.definition += "\n  private:\n";
      for (const Attribute& field : type_.fields) {
         line(fieldStorage(field, spelling_) + " " + stored(field.name) + spelling_.initializer(field) + ";");
      }
   }

   const Model::Value& type_;
   const Spelling& spelling_;
   const std::string class_;
   std::vector<const Attribute*> scalars_;
   Fragment fragment_;
};

} // namespace

Fragment emitValue(const Model::Value& type, const Spelling& spelling) {
   return ValueEmitter(type, spelling).run();
}

} // namespace vokc
