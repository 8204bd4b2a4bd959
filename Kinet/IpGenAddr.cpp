#include "Kinet/IpGenAddr.h"

#include "Vok/Scalars.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <cstring>

namespace Kinet {

namespace {

void printIpv4(const Vok::U8* bytes, Vok::String& out) {
   for (int i = 0; i < 4; ++i) {
      if (i > 0)
         out += '.';
      out += std::to_string(bytes[i]);
   }
}

/// The longest run of at least two zero groups, the first one among equals; both ends 8 when there is none.
struct ZeroRun {
   int begin = 8;
   int end = 8;
};

ZeroRun longestZeroRun(const std::array<unsigned, 8>& group) {
   ZeroRun longest;
   int size = 1;
   for (int begin = 0; begin < 8; ++begin) {
      int end = begin;
      while (end < 8 && group[end] == 0)
         ++end;
      if (end - begin > size) {
         longest = {begin, end};
         size = end - begin;
      }
   }
   return longest;
}

void printIpv6(const IpGenAddr::Bytes& bytes, Vok::String& out) {
   constexpr Vok::U8 mapped[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
   if (std::equal(std::begin(mapped), std::end(mapped), bytes.begin())) {
      out += "::ffff:";
      printIpv4(&bytes[12], out);
      return;
   }
   std::array<unsigned, 8> group;
   for (int i = 0; i < 8; ++i)
      group[i] = bytes[2 * i] << 8 | bytes[2 * i + 1];
   const ZeroRun run = longestZeroRun(group);
   for (int i = 0; i < 8; ++i) {
      if (i == run.begin) {
         out += "::";
         i = run.end - 1;
         continue;
      }
      if (i > 0 && i != run.end)
         out += ':';
      char digits[4];
      out.append(digits, std::to_chars(digits, digits + 4, group[i], 16).ptr);
   }
}

bool isAddressCharacter(char c) {
   return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F') || c == ':' || c == '.';
}

} // namespace

IpGenAddr::IpGenAddr(std::string_view text) {
   Vok::TextParser parser(text);
   parseText(parser, *this);
   parser.expectEnd();
}

Vok::U32 IpGenAddr::hash() const {
   Vok::Hash hash;
   hash.mix(bytes_.data(), bytes_.size());
   return hash.result();
}

Vok::String IpGenAddr::stringValue() const {
   Vok::String text;
   print(text);
   return text;
}

void IpGenAddr::print(Vok::String& out) const {
   if (isIpv6())
      printIpv6(bytes_, out);
   else
      printIpv4(bytes_.data(), out);
}

void IpGenAddr::parseText(Vok::TextParser& parser, IpGenAddr& value) {
   const Vok::TextParser start = parser;
   const Vok::String token(parser.take(isAddressCharacter));
   IpGenAddr parsed;
   if (token.find(':') != token.npos)
      parsed.family_ = AddressFamily::ipv6;
   if (inet_pton(parsed.isIpv6() ? AF_INET6 : AF_INET, token.c_str(), parsed.bytes_.data()) != 1)
      start.fail("an IPv4 or IPv6 address");
   value = parsed;
}

void IpGenAddr::writeLog(Vok::NboAttrLog::Writer& log) const {
   log.u8(static_cast<Vok::U8>(family_));
   log.bytes(bytes_.data(), bytes_.size());
}

void IpGenAddr::readLog(Vok::NboAttrLog::Reader& log, IpGenAddr& value) {
   const Vok::U8 family = log.u8();
   Bytes bytes;
   log.bytes(bytes.data(), bytes.size());
   if (family > static_cast<Vok::U8>(AddressFamily::ipv6))
      throw Vok::RangeError("IpGenAddr::family > AddressFamily::ipv6 not allowed");
   if (!fits(family, bytes.data()))
      throw Vok::RangeError("IpGenAddr::bytes beyond the four of an IPv4 address not allowed");
   value.family_ = static_cast<AddressFamily>(family);
   value.bytes_ = bytes;
}

const Vok::Type& IpGenAddr::vokType() {
   static const Vok::HandWrittenType<IpGenAddr> type("Kinet::IpGenAddr", "An IPv4 or IPv6 address.");
   return type;
}

} // namespace Kinet
