#pragma once
// An IPv4 or IPv6 prefix.

#include "Kinet/IpGenAddr.h"

namespace Kinet {

/// An address and a length; the bits of the address beyond the length are zero. The default is 0.0.0.0/0.
/// Ordered by address, then by length.
///
/// Text form: "10.0.0.0/8", "2001:db8::/32". Log form and packed row: the address, then the length in one
/// byte.
class IpGenPrefix {
  public:
   constexpr IpGenPrefix() = default;
   /// Raises RangeError for a length above the family's bits and for host bits that are not zero.
   IpGenPrefix(const IpGenAddr& address, Vok::U8 length);
   /// From its text form. Raises ParseError or RangeError.
   explicit IpGenPrefix(std::string_view text);
   /// The prefix of that length around an address, host bits dropped. Raises RangeError for the length.
   static IpGenPrefix around(const IpGenAddr& address, Vok::U8 length);

   constexpr const IpGenAddr& address() const { return address_; }
   constexpr Vok::U8 length() const { return length_; }
   constexpr AddressFamily family() const { return address_.family(); }

   constexpr bool operator!() const { return *this == IpGenPrefix(); }
   constexpr bool operator==(const IpGenPrefix&) const = default;
   constexpr std::strong_ordering operator<=>(const IpGenPrefix&) const = default;
   /// Over the address bytes and the length; the family does not take part.
   Vok::U32 hash() const;

   Vok::String stringValue() const;
   void print(Vok::String& out) const;
   static void parseText(Vok::TextParser& parser, IpGenPrefix& value);
   void writeLog(Vok::NboAttrLog::Writer& log) const;
   /// Raises LogError or RangeError and leaves `value` as it was.
   static void readLog(Vok::NboAttrLog::Reader& log, IpGenPrefix& value);

   static constexpr std::size_t packedSize = IpGenAddr::packedSize + 1;
   void pack(Vok::U8* at) const;
   /// False, and the value as it was, when the bytes are none that pack() writes.
   bool unpack(const Vok::U8* at);

   static const Vok::Type& vokType();

  private:
   IpGenAddr address_;
   Vok::U8 length_ = 0;
};

} // namespace Kinet
