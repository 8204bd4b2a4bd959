#include "tools/common/EntityText.h"

#include "tools/common/Failure.h"
#include "tools/common/Reflect.h"

#include "Vok/Errors.h"

#include <fmt/format.h>

#include <algorithm>

namespace tools {

using Vok::Attribute;
using Vok::AttributeKind;

namespace {

using Words = std::span<const std::string>;

bool isTable(const Attribute& attribute) {
   return attribute.kind == AttributeKind::table;
}

bool holdsEntities(const Attribute& attribute) {
   return attribute.kind == AttributeKind::members || attribute.kind == AttributeKind::child;
}

std::string addressText(const Vok::Entity* entity) {
   return entity ? "-> " + entity->fullName() : std::string("-> nothing");
}

/// The text of an entry: of a value, or of where a pointer leads.
std::string entryText(const Vok::Entity& entity, const Attribute& attribute, const void* key,
                      const void* value) {
   if (attribute.kind == AttributeKind::references || !attribute.valueType)
      return addressText(attribute.access.entity(entity, key));
   return value ? plainText(*attribute.valueType, value) : std::string();
}

void printMember(Output& out, const Vok::Entity* member, std::string_view title, std::size_t indent) {
   if (!member)
      return;
   out.blanks(indent);
   out.print("{} {}\n", title, member->vokEntityType().keyText(*member));
   printEntity(out, *member, indent + 3);
}

void printAttribute(Output& out, const Vok::Entity& entity, const Attribute& attribute, std::size_t indent) {
   const auto line = [&](const std::string& text) {
      out.blanks(indent);
      out.print("{:<34} {}\n", attribute.name, text);
   };
   switch (attribute.kind) {
   case AttributeKind::scalar:
      return line(plainText(*attribute.valueType, attribute.access.get(entity)));
   case AttributeKind::pointer:
      return line(addressText(attribute.access.entity(entity, nullptr)));
   case AttributeKind::child:
      return printMember(out, attribute.access.entity(entity, nullptr), attribute.name, indent);
   case AttributeKind::members:
      return attribute.access.walk(entity, [&](const void* key, const void*) {
         printMember(out, attribute.access.entity(entity, key), attribute.name, indent);
      });
   case AttributeKind::table:
      return line("(a shared table)");
   default:
      return attribute.access.walk(entity, [&](const void* key, const void* value) {
         const std::string keyText = plainText(*attribute.keyType, key);
         line(attribute.kind == AttributeKind::set
                  ? keyText
                  : keyText + "  " + entryText(entity, attribute, key, value));
      });
   }
}

void writeAttribute(Json& json, const Vok::Entity& entity, const Attribute& attribute) {
   const auto writeMember = [&](const Vok::Entity* member) {
      member ? writeEntity(json, *member) : void(json.object().end());
   };
   switch (attribute.kind) {
   case AttributeKind::scalar:
      return writeValue(json, *attribute.valueType, attribute.access.get(entity));
   case AttributeKind::pointer:
      json.value(addressText(attribute.access.entity(entity, nullptr)));
      return;
   case AttributeKind::child:
      return writeMember(attribute.access.entity(entity, nullptr));
   case AttributeKind::set:
      json.array();
      attribute.access.walk(entity,
                            [&](const void* key, const void*) { writeValue(json, *attribute.keyType, key); });
      json.end();
      return;
   default:
      json.object();
      attribute.access.walk(entity, [&](const void* key, const void* value) {
         json.key(plainText(*attribute.keyType, key));
         if (attribute.kind == AttributeKind::members)
            writeMember(attribute.access.entity(entity, key));
         else if (attribute.kind == AttributeKind::references || !attribute.valueType)
            json.value(addressText(attribute.access.entity(entity, key)));
         else
            writeValue(json, *attribute.valueType, value);
      });
      json.end();
   }
}

// ---- values from words ----

/// What a value takes on the command line: "BASE SIZE".
std::string wanted(const Vok::Type& type, std::string_view name) {
   const Vok::ValueType* value = fieldsOf(type);
   if (!value)
      return fmt::format("{} ({})", name, type.name());
   std::string text;
   for (const Vok::FieldDescription& field : value->fields())
      text += (text.empty() ? "" : " ") + wanted(*field.type, field.name);
   return text;
}

bool parses(const Vok::Type& type, std::string_view text, void* at) {
   try {
      Vok::TextParser parser(text);
      type.parse(parser, at);
      return parser.atEnd();
   } catch (const Vok::ParseError&) {
      return false;
   }
}

/// Texts are written without quotes, and truth in the words of an operator. Raises RangeError.
void readWord(const Vok::Type& type, const std::string& word, void* at) {
   if (type.name() == "Bool" && (word == "true" || word == "on" || word == "false" || word == "off")) {
      parses(type, word == "true" || word == "on" ? "True" : "False", at);
      return;
   }
   std::string quoted;
   Vok::printQuoted(word, quoted);
   if (!parses(type, quoted, at) && !parses(type, word, at)) {
      const auto* names = dynamic_cast<const Vok::EnumType*>(&type);
      std::string choice;
      for (const Vok::Enumerator& each : names ? names->enumerators() : std::span<const Vok::Enumerator>())
         choice += (choice.empty() ? "one of " : ", ") + std::string(each.name);
      throw Failure(Outcome::usage, fmt::format("'{}' is no {}", word, type.name()),
                    choice.empty() ? "'mplsctl schema' describes the types" : "give " + choice);
   }
}

/// Takes the words of one value; false when there are too few.
bool readWords(const Vok::Type& type, Words& words, void* at) {
   const Vok::ValueType* value = fieldsOf(type);
   if (!value) {
      if (words.empty())
         return false;
      readWord(type, words.front(), at);
      words = words.subspan(1);
      return true;
   }
   for (const Vok::FieldDescription& field : value->fields())
      if (!readWords(*field.type, words, static_cast<std::byte*>(at) + field.offset))
         return false;
   value->checkRange(at);
   return true;
}

const Attribute& attributeOf(const Vok::Entity& entity, std::string_view name) {
   const Vok::EntityType& type = entity.vokEntityType();
   if (const Attribute* attribute = type.attribute(name))
      return *attribute;
   std::vector<std::string_view> names;
   for (const Attribute& attribute : type.attributes())
      names.push_back(attribute.name);
   throw Failure(Outcome::usage, fmt::format("{} has no attribute '{}'", type.name(), name),
                 fmt::format("it has {}", fmt::join(names, ", ")));
}

[[noreturn]] void refuseKind(const Attribute& attribute) {
   throw Failure(Outcome::usage, fmt::format("'{}' holds entities, which words cannot make", attribute.name),
                 "'mplsctl source' and 'mplsctl label' change those");
}

} // namespace

void printEntity(Output& out, const Vok::Entity& entity, std::size_t indent) {
   for (const Attribute& attribute : entity.vokEntityType().attributes())
      printAttribute(out, entity, attribute, indent);
}

void writeEntity(Json& json, const Vok::Entity& entity) {
   json.object();
   for (const Attribute& attribute : entity.vokEntityType().attributes())
      if (!isTable(attribute))
         writeAttribute(json.key(attribute.name), entity, attribute);
   json.end();
}

void setAttribute(Vok::Entity& entity, std::string_view name, Words words) {
   const Attribute& attribute = attributeOf(entity, name);
   if (holdsEntities(attribute) || attribute.access.refer || isTable(attribute))
      refuseKind(attribute);
   const bool hasKey = attribute.keyType && attribute.kind != AttributeKind::values;
   const bool hasValue = attribute.valueType && attribute.kind != AttributeKind::set;
   std::string usage = std::string(name);
   Vok::AnyValue key(hasKey ? *attribute.keyType : *attribute.valueType);
   Vok::AnyValue value(hasValue ? *attribute.valueType : *attribute.keyType);
   if (hasKey)
      usage += " " + wanted(*attribute.keyType, "KEY");
   if (hasValue)
      usage += " " + wanted(*attribute.valueType, "VALUE");
   const bool enough = (!hasKey || readWords(*attribute.keyType, words, key.data())) &&
                       (!hasValue || readWords(*attribute.valueType, words, value.data()));
   if (!enough || !words.empty())
      throw Failure(Outcome::usage, fmt::format("too {} words for '{}'", enough ? "many" : "few", name),
                    "give " + usage);
   if (attribute.access.set)
      attribute.access.set(entity, value.data());
   else
      attribute.access.put(entity, key.data(), value.data());
}

bool eraseEntry(Vok::Entity& entity, std::string_view name, Words words) {
   const Attribute& attribute = attributeOf(entity, name);
   if (holdsEntities(attribute) || isTable(attribute))
      refuseKind(attribute);
   if (!attribute.keyType)
      throw Failure(Outcome::usage, fmt::format("'{}' holds one value: nothing can be removed", name),
                    "set it to another");
   Vok::AnyValue key(*attribute.keyType);
   if (!readWords(*attribute.keyType, words, key.data()) || !words.empty())
      throw Failure(Outcome::usage, fmt::format("an entry of '{}' is named by its key alone", name),
                    "give " + wanted(*attribute.keyType, "KEY"));
   if (!attribute.access.find(entity, key.data()))
      return false;
   attribute.access.erase(entity, key.data());
   return true;
}

} // namespace tools
