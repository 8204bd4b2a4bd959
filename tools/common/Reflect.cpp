#include "tools/common/Reflect.h"

namespace tools {

namespace {

const void* placeOf(const Vok::FieldDescription& field, const void* value) {
   return static_cast<const std::byte*>(value) + field.offset;
}

bool isNumber(std::string_view text) {
   return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

} // namespace

std::string plainText(const Vok::Type& type, const void* value) {
   std::string text;
   type.print(value, text);
   if (text.size() >= 2 && text.front() == '\'' && text.back() == '\'')
      text = text.substr(1, text.size() - 2);
   return text;
}

const Vok::ValueType* fieldsOf(const Vok::Type& type) {
   const auto* value = dynamic_cast<const Vok::ValueType*>(&type);
   return value && value->textForm() != "%s" ? value : nullptr;
}

void writeValue(Json& json, const Vok::Type& type, const void* value) {
   if (const Vok::ValueType* fields = fieldsOf(type)) {
      json.object();
      for (const Vok::FieldDescription& field : fields->fields())
         writeValue(json.key(field.name), *field.type, placeOf(field, value));
      json.end();
      return;
   }
   if (const auto* flags = dynamic_cast<const Vok::FlagsType*>(&type); flags && flags->textForm() != "%s") {
      json.array();
      for (const std::string_view name : flagNames(*flags, value))
         json.value(name);
      json.end();
      return;
   }
   const std::string text = plainText(type, value);
   const bool plain = type.kind() == Vok::Kind::scalar || type.kind() == Vok::Kind::bounded;
   if (plain && (text == "True" || text == "False"))
      json.value(text == "True");
   else if (plain && isNumber(text))
      json.value(std::stoull(text));
   else
      json.value(text);
}

std::vector<std::string_view> flagNames(const Vok::FlagsType& type, const void* value) {
   Vok::NboAttrLog::Writer log;
   type.writeLog(value, log);
   Vok::NboAttrLog::Reader reader(log.buffer());
   const Vok::U32 bits = reader.u32();
   std::vector<std::string_view> names;
   for (const Vok::Flag& flag : type.flags())
      if (bits >> flag.bit & 1)
         names.push_back(flag.name);
   return names;
}

void printFields(Output& out, const Vok::ValueType& type, const void* value, std::size_t indent) {
   for (const Vok::FieldDescription& field : type.fields()) {
      if (field.name == "key")
         continue;
      out.blanks(indent);
      out.print("{:<20}  {}\n", field.name, plainText(*field.type, placeOf(field, value)));
   }
}

void writeFields(Json& json, const Vok::ValueType& type, const void* value) {
   for (const Vok::FieldDescription& field : type.fields())
      if (field.name != "key")
         writeValue(json.key(field.name), *field.type, placeOf(field, value));
}

} // namespace tools
