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
   [[gnu::always_inline]] void pack(Vok::PackedTarget to) const {
      address_.pack(to);
      to.put(IpGenAddr::packedSize, length_);
   }
   /// False, and the value as it was, when the bytes are none that pack() writes.
   [[gnu::always_inline]] bool unpack(Vok::PackedPlace from) {
      const auto length = from.number<Vok::U8>(IpGenAddr::packedSize);
      const bool ipv4 = from.number<Vok::U8>(0) == static_cast<Vok::U8>(AddressFamily::ipv4);
      if (length > (ipv4 ? 32 : 128) || hasBitsBeyond(from.behind(1), length) || !address_.unpack(from))
         return false;
      length_ = length;
      return true;
   }

   static const Vok::Type& vokType();

  private:
   /// Whether the sixteen bytes have bits beyond the first `length` set.
   [[gnu::always_inline]] static bool hasBitsBeyond(Vok::PackedPlace bytes, Vok::U8 length) {
      const auto half = [&](std::size_t at) {
         const auto inMemory = bytes.number<Vok::U64>(at);
         return std::endian::native == std::endian::little ? __builtin_bswap64(inMemory) : inMemory;
      };
      return length < 64 ? (half(0) << length | half(8)) != 0 : length < 128 && half(8) << (length - 64) != 0;
   }

   IpGenAddr address_;
   Vok::U8 length_ = 0;
};

} // namespace Kinet
