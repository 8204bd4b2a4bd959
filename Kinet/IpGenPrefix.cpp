#include "Kinet/IpGenPrefix.h"

#include "Vok/Scalars.h"

namespace Kinet {

namespace {

/// The address with all bits beyond `length` cleared.
IpGenAddr masked(const IpGenAddr& address, Vok::U8 length) {
   IpGenAddr::Bytes bytes = address.bytes();
   for (unsigned i = 0; i < bytes.size(); ++i) {
      const unsigned kept = length > 8 * i ? length - 8 * i : 0;
      if (kept < 8)
         bytes[i] &= static_cast<Vok::U8>(0xff00u >> kept);
   }
   if (address.isIpv6())
      return IpGenAddr::fromIpv6(bytes);
   return IpGenAddr::fromIpv4(Vok::U32(bytes[0]) << 24 | Vok::U32(bytes[1]) << 16 | Vok::U32(bytes[2]) << 8 |
                              bytes[3]);
}

void checkLength(const IpGenAddr& address, Vok::U8 length) {
   if (length > address.bits())
      throw Vok::RangeError("IpGenPrefix::length > " + std::to_string(address.bits()) + " not allowed");
}

} // namespace

IpGenPrefix::IpGenPrefix(const IpGenAddr& address, Vok::U8 length) : IpGenPrefix(around(address, length)) {
   if (address_ != address)
      throw Vok::RangeError("IpGenPrefix::address " + address.stringValue() + " has bits beyond its length " +
                            std::to_string(length) + ", the prefix is " + stringValue());
}

IpGenPrefix::IpGenPrefix(std::string_view text) {
   Vok::TextParser parser(text);
   parseText(parser, *this);
   parser.expectEnd();
}

IpGenPrefix IpGenPrefix::around(const IpGenAddr& address, Vok::U8 length) {
   checkLength(address, length);
   IpGenPrefix prefix;
   prefix.address_ = masked(address, length);
   prefix.length_ = length;
   return prefix;
}

Vok::U32 IpGenPrefix::hash() const {
   Vok::Hash hash;
   hash.mix(address_.bytes().data(), address_.bytes().size());
   hash.mix(length_);
   return hash.result();
}

Vok::String IpGenPrefix::stringValue() const {
   Vok::String text;
   print(text);
   return text;
}

void IpGenPrefix::print(Vok::String& out) const {
   address_.print(out);
   out += '/';
   out += std::to_string(length_);
}

void IpGenPrefix::parseText(Vok::TextParser& parser, IpGenPrefix& value) {
   IpGenAddr address;
   IpGenAddr::parseText(parser, address);
   parser.expect("/");
   value = IpGenPrefix(address, static_cast<Vok::U8>(parser.unsignedNumber(address.bits())));
}

void IpGenPrefix::writeLog(Vok::NboAttrLog::Writer& log) const {
   address_.writeLog(log);
   log.u8(length_);
}

void IpGenPrefix::readLog(Vok::NboAttrLog::Reader& log, IpGenPrefix& value) {
   IpGenAddr address;
   IpGenAddr::readLog(log, address);
   value = IpGenPrefix(address, log.u8());
}

const Vok::Type& IpGenPrefix::vokType() {
   static const Vok::HandWrittenType<IpGenPrefix> type("Kinet::IpGenPrefix", "An IPv4 or IPv6 prefix.");
   return type;
}

} // namespace Kinet
