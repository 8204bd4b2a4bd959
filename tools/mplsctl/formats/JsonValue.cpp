#include "tools/mplsctl/formats/JsonValue.h"

#include "tools/mplsctl/formats/JsonRoutes.h"

#include "Vok/Errors.h"
#include "Vok/Flags.h"

#include <fmt/core.h>

#include <algorithm>

namespace mplsctl {

namespace {

void readFields(const JsonNode& node, const Vok::ValueType& type, void* value) {
   for (const JsonNode& member : membersOf(node)) {
      const Vok::FieldDescription* const field = type.field(member.key);
      if (!field)
         throw BadWord(fmt::format("'{}' is no field of {}", member.key, type.name()));
      readValue(member, *field->type, static_cast<std::byte*>(value) + field->offset);
   }
   type.checkRange(value);
}

void readFlags(const JsonNode& node, const Vok::FlagsType& type, void* value) {
   Vok::U32 bits = 0;
   for (const JsonNode& element : elementsOf(node)) {
      const std::string_view name = wordOf(element);
      const auto flag = std::ranges::find(type.flags(), name, &Vok::Flag::name);
      if (flag == type.flags().end())
         throw BadWord(fmt::format("'{}' is no flag of {}", name, type.name()));
      bits |= Vok::U32(1) << flag->bit;
   }
   Vok::NboAttrLog::Writer log;
   log.u32(bits);
   Vok::NboAttrLog::Reader reader(log.buffer());
   type.readLog(reader, value);
}

/// The text form of what JSON says: booleans and quotes look otherwise there.
Vok::String textOf(const JsonNode& node) {
   if (node.kind == JsonNode::Kind::boolean)
      return node.isTrue() ? "True" : "False";
   return Vok::String(wordOf(node));
}

/// Reads a text that stands in quotes in some types' text form and bare in others'.
void readText(const JsonNode& node, const Vok::Type& type, void* value) {
   const Vok::String bare = textOf(node);
   Vok::String quoted;
   Vok::printQuoted(bare, quoted);
   Vok::String printed;
   type.print(Vok::AnyValue(type).data(), printed);
   const bool isQuoted = printed.starts_with('\'');
   Vok::TextParser parser(isQuoted ? quoted : bare);
   Vok::AnyValue read(type);
   type.parse(parser, read.data());
   parser.expectEnd();
   type.storage().assign(value, read.data());
}

} // namespace

void readValue(const JsonNode& node, const Vok::Type& type, void* value) {
   try {
      const auto* fields = dynamic_cast<const Vok::ValueType*>(&type);
      if (fields && node.kind == JsonNode::Kind::object)
         readFields(node, *fields, value);
      else if (const auto* flags = dynamic_cast<const Vok::FlagsType*>(&type);
               flags && node.kind == JsonNode::Kind::array)
         readFlags(node, *flags, value);
      else
         readText(node, type, value);
   } catch (const Vok::Error& error) {
      throw BadWord(node.key.empty() ? error.what() : fmt::format("'{}': {}", node.key, error.what()));
   }
}

} // namespace mplsctl
