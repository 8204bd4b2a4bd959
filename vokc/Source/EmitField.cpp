#include "vokc/Source/EmitField.h"

namespace vokc {

using namespace Code;
using Model::Attribute;
using Kind = Model::Attribute::Kind;

std::string fieldStorage(const Attribute& field, const Spelling& spelling) {
   switch (field.kind) {
   case Kind::array:
      return "Vok::IndexedArray<" + spelling.type(*field.type) + ", " + spelling.type(*field.key) + ">";
   case Kind::orderedMap:
      return "Vok::OrderedMap<" + spelling.type(*field.key) + ", " + spelling.type(*field.type) + ">";
   case Kind::orderedSet:
      return "Vok::OrderedSet<" + spelling.type(*field.key) + ">";
   default:
      return spelling.type(*field.type);
   }
}

std::string collectionReaders(const std::string& name, const std::string& keyParameter) {
   const std::string member = stored(name);
   return "bool " + name + "Has(" + keyParameter + " key) const { return " + member + ".has(key); }\n" + //
          "Vok::U32 " + name + "s() const { return static_cast<Vok::U32>(" + member + ".size()); }\n";
}

namespace {

FieldCode scalar(const Attribute& field, const Model::Value& owner, const std::string& className,
                 const Spelling& spelling) {
   const std::string& name = field.name;
   const std::string member = stored(name);
   const std::string passed = spelling.passed(*field.type);
   const std::string head = "Is(" + passed + " " + name + ")";
   FieldCode code;
   code.accessors = inlined(passed + " " + name + "() const", "return " + member + ";");
   if (owner.invariants.empty()) {
      code.accessors += inlined("void " + name + head, member + " = " + name + ";");
      return code;
   }
   code.accessors += "void " + name + head + ";\n";
   code.source = "void " + className + "::" + name + head + " {\n   " + owner.name +
                 " changed = *this;\n   changed." + member + " = " + name +
                 ";\n   changed.vokCheck();\n   *this = changed;\n}\n";
   return code;
}

FieldCode array(const Attribute& field, const Spelling& spelling) {
   const std::string& name = field.name;
   const std::string member = stored(name);
   const std::string index = spelling.passed(*field.key) + " index";
   const std::string checked = field.check.empty() ? "" : field.check + "(index);";
   const auto change = [&](const std::string& head, const std::string& call) {
      return checked.empty() ? inlined(head, call + ";")
                             : head + " {\n   if (" + call + ")\n      " + checked + "\n}\n";
   };
   FieldCode code;
   std::string& out = code.accessors;
   out += inlined(spelling.type(*field.type) + " " + name + "(" + index + ") const",
                  "return " + member + ".get(index);");
   out += inlined("bool " + name + "Has(" + index + ") const", "return " + member + ".has(index);");
   out += inlined("Vok::U32 " + name + "s() const", "return static_cast<Vok::U32>(" + member + ".size());");
   out += change("void " + name + "Is(" + index + ", " + spelling.passed(*field.type) + " value)",
                 member + ".is(index, value)");
   out += change("void " + name + "Del(" + index + ")", member + ".del(index)");
   out += inlined("void " + name + "DelAll()", member + ".delAll();");
   out += "/// The set slots, in order.\n";
   out += inlined("const " + fieldStorage(field, spelling) + "& " + name + "Each() const",
                  "return " + member + ";");
   return code;
}

FieldCode collection(const Attribute& field, const Spelling& spelling) {
   const std::string& name = field.name;
   const std::string member = stored(name);
   const std::string key = spelling.passed(*field.key);
   const std::string checked =
       field.check.empty()
           ? ""
           : field.check + "(key" + (field.checkBy.empty() ? "" : "." + field.checkBy + "()") + ");\n   ";
   const auto change = [&](const std::string& head, const std::string& call) {
      return checked.empty() ? inlined(head, call) : head + " {\n   " + checked + call + "\n}\n";
   };
   FieldCode code;
   std::string& out = code.accessors;
   if (field.kind == Kind::orderedMap) {
      const std::string value = spelling.type(*field.type);
      out += "/// The default value when there is none.\n";
      out += value + " " + name + "(" + key + " key) const {\n   const auto* found = " + member +
             ".find(key);\n   return found ? *found : " + value + "();\n}\n";
      out += collectionReaders(name, key);
      out += change("void " + name + "Is(" + key + " key, " + spelling.passed(*field.type) + " value)",
                    member + ".is(key, value);");
   } else {
      out += inlined("bool " + name + "(" + key + " key) const", "return " + member + ".has(key);");
      out += collectionReaders(name, key);
      out += change("void " + name + "Is(" + key + " key)", member + ".is(key);");
   }
   out += inlined("void " + name + "Del(" + key + " key)", member + ".del(key);");
   out += inlined("void " + name + "DelAll()", member + ".delAll();");
   out += "/// The entries, in key order.\n";
   out += inlined("const " + fieldStorage(field, spelling) + "& " + name + "Each() const",
                  "return " + member + ";");
   return code;
}

} // namespace

FieldCode emitField(const Attribute& field, const Model::Value& owner, const std::string& className,
                    const Spelling& spelling) {
   if (field.kind == Kind::scalar) {
      return scalar(field, owner, className, spelling);
   }
   return field.kind == Kind::array ? array(field, spelling) : collection(field, spelling);
}

} // namespace vokc
