#include "Outside/IsisSystemId.h"

#include "Vok/Scalars.h"

#include <charconv>
#include <cstring>

namespace Routing::Isis {

Vok::U32 SystemId::hash() const {
   Vok::Hash hash;
   hash.mix(bytes_.data(), bytes_.size());
   return hash.result();
}

Vok::String SystemId::stringValue() const {
   Vok::String text;
   print(text);
   return text;
}

void SystemId::print(Vok::String& out) const {
   constexpr char digits[] = "0123456789abcdef";
   for (std::size_t i = 0; i < bytes_.size(); ++i) {
      if (i == 2 || i == 4)
         out += '.';
      out += digits[bytes_[i] >> 4];
      out += digits[bytes_[i] & 15];
   }
}

void SystemId::parseText(Vok::TextParser& parser, SystemId& value) {
   const Vok::TextParser start = parser;
   const auto isHex = [](char c) {
      return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
   };
   SystemId parsed;
   for (std::size_t group = 0; group < 3; ++group) {
      const bool separated = group == 0 || parser.accept(".");
      const std::string_view digits = parser.take(isHex);
      if (!separated || digits.size() != 4)
         start.fail("an IS-IS system id such as 0102.0304.0506");
      for (std::size_t i = 0; i < 2; ++i)
         std::from_chars(&digits[2 * i], &digits[2 * i] + 2, parsed.bytes_[2 * group + i], 16);
   }
   value = parsed;
}

void SystemId::writeLog(Vok::NboAttrLog::Writer& log) const {
   log.bytes(bytes_.data(), bytes_.size());
}

void SystemId::readLog(Vok::NboAttrLog::Reader& log, SystemId& value) {
   log.bytes(value.bytes_.data(), value.bytes_.size());
}

void SystemId::pack(Vok::U8* at) const {
   std::memcpy(at, bytes_.data(), bytes_.size());
}

bool SystemId::unpack(const Vok::U8* at) {
   std::memcpy(bytes_.data(), at, bytes_.size());
   return true;
}

const Vok::Type& SystemId::vokType() {
   static const Vok::HandWrittenType<SystemId> type("Routing::Isis::SystemId",
                                                    "The identifier of a router in IS-IS.");
   return type;
}

} // namespace Routing::Isis
