#include "Kinet/EthAddr.h"

#include "Vok/Scalars.h"

#include <charconv>
#include <cstring>

namespace Kinet {

EthAddr::EthAddr(std::string_view text) {
   Vok::TextParser parser(text);
   parseText(parser, *this);
   parser.expectEnd();
}

Vok::U32 EthAddr::hash() const {
   Vok::Hash hash;
   hash.mix(bytes_.data(), bytes_.size());
   return hash.result();
}

Vok::String EthAddr::stringValue() const {
   Vok::String text;
   print(text);
   return text;
}

void EthAddr::print(Vok::String& out) const {
   constexpr char digits[] = "0123456789abcdef";
   for (std::size_t i = 0; i < bytes_.size(); ++i) {
      if (i > 0)
         out += ':';
      out += digits[bytes_[i] >> 4];
      out += digits[bytes_[i] & 15];
   }
}

void EthAddr::parseText(Vok::TextParser& parser, EthAddr& value) {
   const Vok::TextParser start = parser;
   const auto isHex = [](char c) {
      return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
   };
   EthAddr parsed;
   for (std::size_t i = 0; i < parsed.bytes_.size(); ++i) {
      const bool separated = i == 0 || parser.accept(":");
      const std::string_view pair = parser.take(isHex);
      if (!separated || pair.size() != 2)
         start.fail("a MAC address such as 02:00:5e:10:00:01");
      std::from_chars(pair.data(), pair.data() + 2, parsed.bytes_[i], 16);
   }
   value = parsed;
}

void EthAddr::writeLog(Vok::NboAttrLog::Writer& log) const {
   log.bytes(bytes_.data(), bytes_.size());
}

void EthAddr::readLog(Vok::NboAttrLog::Reader& log, EthAddr& value) {
   log.bytes(value.bytes_.data(), value.bytes_.size());
}

void EthAddr::pack(Vok::U8* at) const {
   std::memcpy(at, bytes_.data(), bytes_.size());
}

bool EthAddr::unpack(const Vok::U8* at) {
   std::memcpy(bytes_.data(), at, bytes_.size());
   return true;
}

const Vok::Type& EthAddr::vokType() {
   static const Vok::HandWrittenType<EthAddr> type("Kinet::EthAddr", "A MAC address.");
   return type;
}

} // namespace Kinet
