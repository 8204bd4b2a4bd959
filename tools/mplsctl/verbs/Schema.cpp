#include "tools/mplsctl/verbs/Schema.h"

#include "tools/common/Catalogue.h"
#include "tools/common/Json.h"
#include "tools/mplsctl/Command.h"

#include "Vok/Bounded.h"
#include "Vok/Flags.h"

#include <algorithm>
#include <memory>

namespace mplsctl {

namespace {

void writeDoc(tools::Json& json, std::string_view doc) {
   if (!doc.empty())
      json.field("doc", doc);
}

void writeConstants(tools::Json& json, std::span<const Vok::Constant> constants) {
   if (constants.empty())
      return;
   json.key("constants").array();
   for (const Vok::Constant& constant : constants) {
      json.object().field("name", constant.name);
      json.field("type", constant.typeName).field("value", constant.value).end();
   }
   json.end();
}

void writeEnumerators(tools::Json& json, const Vok::EnumType& type) {
   json.key("enumerators").array();
   for (const Vok::Enumerator& enumerator : type.enumerators()) {
      json.object().field("name", enumerator.name).field("number", enumerator.number);
      writeDoc(json, enumerator.doc);
      json.end();
   }
   json.end();
}

void writeFlags(tools::Json& json, const Vok::FlagsType& type) {
   json.field("textForm", type.textForm()).key("flags").array();
   for (const Vok::Flag& flag : type.flags()) {
      json.object().field("name", flag.name).field("bit", flag.bit);
      writeDoc(json, flag.doc);
      json.end();
   }
   json.end();
}

void writeFields(tools::Json& json, const Vok::ValueType& type) {
   json.field("textForm", type.textForm()).key("fields").array();
   for (const Vok::FieldDescription& field : type.fields()) {
      json.object().field("name", field.name).field("type", field.type->name());
      if (!field.defaultText.empty())
         json.field("default", field.defaultText);
      writeDoc(json, field.doc);
      json.end();
   }
   json.end();
}

void writeType(tools::Json& json, const Vok::Type& type) {
   json.object().field("name", type.name()).field("kind", stringValue(type.kind()));
   writeDoc(json, type.doc());
   if (const auto* enumeration = dynamic_cast<const Vok::EnumType*>(&type)) {
      writeEnumerators(json, *enumeration);
   } else if (const auto* bounded = dynamic_cast<const Vok::BoundedType*>(&type)) {
      json.field("holds", bounded->held().name()).field("rangeError", bounded->rangeText());
   } else if (const auto* flags = dynamic_cast<const Vok::FlagsType*>(&type)) {
      writeFlags(json, *flags);
   } else if (const auto* value = dynamic_cast<const Vok::ValueType*>(&type)) {
      writeFields(json, *value);
   } else {
      json.field("textForm", type.textForm());
   }
   writeConstants(json, type.constants());
   json.end();
}

/// Every table has a companion: its control.
constexpr std::string_view controlType = "Pooltab::CollectionControl";
std::string controlOf(const Vok::Attribute& table) {
   return std::string(table.name) + "Control";
}

void writeEntity(tools::Json& json, const Vok::EntityType& type) {
   json.object().field("name", type.name()).field("kind", stringValue(type.kind()));
   writeDoc(json, type.doc());
   if (type.base())
      json.field("base", type.base()->name());
   json.key("parameters").array();
   for (const Vok::Parameter& parameter : type.parameters())
      json.object().field("name", parameter.name).field("type", parameter.typeName).end();
   json.end().key("attributes").array();
   for (const Vok::Attribute& attribute : type.attributes()) {
      json.object().field("name", attribute.name).field("type", attribute.typeName);
      if (!attribute.defaultText.empty())
         json.field("default", attribute.defaultText);
      writeDoc(json, attribute.doc);
      json.end();
      if (attribute.kind == Vok::AttributeKind::table)
         json.object().field("name", controlOf(attribute)).field("type", controlType).end();
   }
   json.end().end();
}

void writeHeading(tools::Output& out, std::string_view kind, std::string_view name, std::string_view doc) {
   out.print("{} {}", kind, name);
   if (!doc.empty())
      out.print("  ({})", doc);
   out << '\n';
}

void writeLine(tools::Output& out, std::string_view name, std::string_view type, std::string_view defaultText,
               std::string_view doc) {
   out.print("   {:<32} {}", name, type);
   if (!defaultText.empty())
      out.print(" = {}", defaultText);
   if (!doc.empty())
      out.print("  ({})", doc);
   out << '\n';
}

void printType(tools::Output& out, const Vok::Type& type) {
   writeHeading(out, stringValue(type.kind()), type.name(), type.doc());
   if (const auto* enumeration = dynamic_cast<const Vok::EnumType*>(&type)) {
      for (const Vok::Enumerator& enumerator : enumeration->enumerators())
         writeLine(out, enumerator.name, std::to_string(enumerator.number), "", enumerator.doc);
   } else if (const auto* bounded = dynamic_cast<const Vok::BoundedType*>(&type)) {
      writeLine(out, "holds", bounded->held().name(), "", "");
   } else if (const auto* flags = dynamic_cast<const Vok::FlagsType*>(&type)) {
      for (const Vok::Flag& flag : flags->flags())
         writeLine(out, flag.name, "bit " + std::to_string(flag.bit), "", flag.doc);
   } else if (const auto* value = dynamic_cast<const Vok::ValueType*>(&type)) {
      for (const Vok::FieldDescription& field : value->fields())
         writeLine(out, field.name, field.type->name(), field.defaultText, field.doc);
   }
   for (const Vok::Constant& constant : type.constants())
      writeLine(out, constant.name, "constant " + std::string(constant.typeName), constant.value, "");
   out << '\n';
}

void printEntity(tools::Output& out, const Vok::EntityType& type) {
   writeHeading(out, stringValue(type.kind()), type.name(), type.doc());
   for (const Vok::Parameter& parameter : type.parameters())
      writeLine(out, parameter.name, "parameter " + parameter.typeName, "", "");
   for (const Vok::Attribute& attribute : type.attributes()) {
      writeLine(out, attribute.name, attribute.typeName, attribute.defaultText, attribute.doc);
      if (attribute.kind == Vok::AttributeKind::table)
         writeLine(out, controlOf(attribute), controlType, "", "");
   }
   out << '\n';
}

/// Keeps the types whose full name contains the word. Returns whether any is left.
bool select(tools::Catalogue& types, const std::string& word) {
   const auto differs = [&](const auto* type) { return type->name().find(word) == std::string_view::npos; };
   std::erase_if(types.types, differs);
   std::erase_if(types.entities, differs);
   return !types.types.empty() || !types.entities.empty();
}

} // namespace

void writeSchema(tools::Output& out, const tools::Catalogue& types) {
   tools::Json json(out, 2);
   json.object().key("types").array();
   for (const Vok::Type* type : types.types)
      writeType(json, *type);
   for (const Vok::EntityType* type : types.entities)
      writeEntity(json, *type);
   json.end().end();
}

void printSchema(tools::Output& out, const tools::Catalogue& types) {
   for (const Vok::Type* type : types.types)
      printType(out, *type);
   for (const Vok::EntityType* type : types.entities)
      printEntity(out, *type);
}

void schemaVerb(Command program, Session& session) {
   auto word = std::make_shared<std::string>();
   auto inJson = std::make_shared<bool>(false);
   program.verb("schema", "Print the types of the library and of its tables")
       .optionalArgument("NAME", *word, "Only types whose full name contains this")
       .flag("--json", *inJson, "Print JSON")
       .does([&session, word, inJson] {
          tools::Catalogue types = tools::catalogue();
          if (!select(types, *word))
             throw Failure(Outcome::failed, "no type has '" + *word + "' in its name",
                           "mplsctl schema lists them all");
          tools::Output out;
          *inJson ? writeSchema(out, types) : printSchema(out, types);
          out.flush();
          session.outcome = Outcome::done;
       });
}

} // namespace mplsctl
