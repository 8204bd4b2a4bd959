#include "tools/common/test/RandomValue.h"

namespace tools::test {

namespace {

std::string textOf(const Vok::Type& type, const void* value) {
   Vok::String text;
   type.print(value, text);
   return text;
}

} // namespace

std::vector<Vok::U8> logOf(const Vok::Type& type, const void* value) {
   Vok::NboAttrLog::Writer log;
   type.writeLog(value, log);
   return {log.buffer().begin(), log.buffer().end()};
}

void RandomValue::fill(const Vok::Type& type, void* value) {
   const auto* fields = dynamic_cast<const Vok::ValueType*>(&type);
   if (fields && !fields->fields().empty())
      return fillFields(*fields, value);
   if (const auto* enumeration = dynamic_cast<const Vok::EnumType*>(&type)) {
      const auto enumerators = enumeration->enumerators();
      return fillFromText(type, value, enumerators[below(static_cast<unsigned>(enumerators.size()))].name);
   }
   const std::string text = textOf(type, value);
   if (text.starts_with('\'')) {
      std::string word;
      for (unsigned length = below(9); length > 0; --length)
         word += "ab'\\ \n/\x80"[below(8)];
      Vok::String quoted;
      Vok::printQuoted(word, quoted);
      fillFromText(type, value, quoted);
      fillFromText(type, value, "'eth" + std::to_string(below(99)) + "'");
   } else if (type.name() == "F64" || type.name() == "Vok::F64") {
      fillFromText(type, value, std::to_string(below(1000)) + ".5");
   } else {
      fillFromLog(type, value);
   }
}

void RandomValue::fillFields(const Vok::ValueType& type, void* value) {
   for (int attempt = 0; attempt < 20; ++attempt) {
      Vok::AnyValue candidate(type);
      for (const Vok::FieldDescription& field : type.fields())
         fill(*field.type, static_cast<std::byte*>(candidate.data()) + field.offset);
      try {
         type.checkRange(candidate.data());
         logOf(type, candidate.data()); // a value that its own log form refuses is none either
      } catch (const Vok::RangeError&) {
         continue;
      }
      return type.storage().assign(value, candidate.data());
   }
}

void RandomValue::fillFromText(const Vok::Type& type, void* value, std::string_view text) {
   try {
      Vok::TextParser parser(text);
      type.parse(parser, value);
   } catch (const Vok::Error&) {
   }
}

void RandomValue::fillFromLog(const Vok::Type& type, void* value) {
   for (int attempt = 0; attempt < 40; ++attempt) {
      const std::vector<Vok::U8> bytes = mutated(logOf(type, value));
      Vok::AnyValue candidate(type);
      try {
         Vok::NboAttrLog::Reader reader(bytes);
         type.readLog(reader, candidate.data());
         type.checkRange(candidate.data());
         if (reader.left() == 0)
            return type.storage().assign(value, candidate.data());
      } catch (const Vok::Error&) {
      }
   }
}

std::vector<Vok::U8> RandomValue::mutated(std::vector<Vok::U8> bytes) {
   for (unsigned changes = 1 + below(3); changes > 0 && !bytes.empty(); --changes) {
      Vok::U8& byte = bytes[below(static_cast<unsigned>(bytes.size()))];
      byte = static_cast<Vok::U8>(below(2) ? below(4) : below(256));
   }
   return bytes;
}

std::string RandomValue::mutated(std::string text) {
   const unsigned at = below(static_cast<unsigned>(text.size() + 1));
   const char c = "0'9,{}: xT-\\"[below(12)];
   switch (below(4)) {
   case 0:
      return text.insert(at, 1, c);
   case 1:
      return text.erase(at, 1 + below(3));
   case 2:
      return text.substr(0, at);
   default:
      if (at < text.size())
         text[at] = c;
      return text;
   }
}

void fillEntity(RandomValue& random, Vok::Entity& entity) {
   for (const Vok::Attribute& attribute : entity.vokEntityType().attributes()) {
      const auto other = [&](const Vok::Type* type) {
         Vok::AnyValue value(*type);
         random.fill(*type, value.data());
         return value;
      };
      const unsigned entries = attribute.kind == Vok::AttributeKind::child ? 1 : 3;
      for (unsigned i = 0; i < entries; ++i) {
         if (attribute.kind == Vok::AttributeKind::scalar && attribute.access.set)
            attribute.access.set(entity, other(attribute.valueType).data());
         else if (attribute.kind == Vok::AttributeKind::set)
            attribute.access.put(entity, other(attribute.keyType).data(), nullptr);
         else if (attribute.kind == Vok::AttributeKind::values)
            attribute.access.put(entity, nullptr, other(attribute.valueType).data());
         else if (attribute.kind == Vok::AttributeKind::map && attribute.valueType && attribute.access.put)
            attribute.access.put(entity, other(attribute.keyType).data(), other(attribute.valueType).data());
         else if (attribute.kind == Vok::AttributeKind::child && attribute.access.entity(entity, nullptr))
            fillEntity(random, *attribute.access.entity(entity, nullptr));
         else if (attribute.access.create) {
            std::vector<Vok::AnyValue> parameters;
            for (const Vok::Parameter& parameter : attribute.entityType()->parameters())
               parameters.push_back(other(parameter.type));
            std::vector<const void*> places;
            for (const Vok::AnyValue& parameter : parameters)
               places.push_back(parameter.data());
            if (places.size() > 1 && i > 0)
               break; // the same key with other parameters is refused
            fillEntity(random, *attribute.access.create(entity, places));
         }
      }
   }
}

} // namespace tools::test
