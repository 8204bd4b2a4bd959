#pragma once
// An IPv4 or IPv6 address.

#include "Kinet/AddressFamilies.h"
#include "Vok/Hash.h"
#include "Vok/PackedPlace.h"

#include <array>
#include <compare>
#include <cstring>

namespace Kinet {

/// Sixteen bytes in network order and their family; an IPv4 address stands in the first four, the others
/// are zero. The default is 0.0.0.0. Ordered by family, IPv4 first, then by bytes.
///
/// Text form: "10.0.0.1" without leading zeros, or IPv6 as RFC 5952 writes it ("2001:db8::1",
/// "::ffff:10.0.0.1"). Every valid spelling of an IPv6 address parses; zones do not.
/// Log form and packed row: the family in one byte, then the sixteen bytes.
class IpGenAddr {
  public:
   using Bytes = std::array<Vok::U8, 16>;

   constexpr IpGenAddr() = default;
   /// From an IPv4 address as a number in host order: 0x0a000001 is 10.0.0.1.
   static constexpr IpGenAddr fromIpv4(Vok::U32 host) {
      IpGenAddr address;
      for (unsigned i = 0; i < 4; ++i)
         address.bytes_[i] = static_cast<Vok::U8>(host >> (24 - 8 * i));
      return address;
   }
   static constexpr IpGenAddr fromIpv6(const Bytes& bytes) {
      IpGenAddr address;
      address.family_ = AddressFamily::ipv6;
      address.bytes_ = bytes;
      return address;
   }
   /// From its text form. Raises ParseError.
   explicit IpGenAddr(std::string_view text);

   constexpr AddressFamily family() const { return family_; }
   constexpr bool isIpv6() const { return family_ == AddressFamily::ipv6; }
   constexpr const Bytes& bytes() const { return bytes_; }
   /// The first four bytes as a number in host order.
   constexpr Vok::U32 ipv4() const {
      return Vok::U32(bytes_[0]) << 24 | Vok::U32(bytes_[1]) << 16 | Vok::U32(bytes_[2]) << 8 | bytes_[3];
   }
   /// The number of bits of an address of this family: 32 or 128.
   constexpr Vok::U8 bits() const { return isIpv6() ? 128 : 32; }

   constexpr bool operator!() const { return *this == IpGenAddr(); }
   constexpr bool operator==(const IpGenAddr&) const = default;
   constexpr std::strong_ordering operator<=>(const IpGenAddr&) const = default;
   /// Over the sixteen bytes; the family does not take part.
   Vok::U32 hash() const;

   Vok::String stringValue() const;
   void print(Vok::String& out) const;
   static void parseText(Vok::TextParser& parser, IpGenAddr& value);
   void writeLog(Vok::NboAttrLog::Writer& log) const;
   /// Raises LogError or RangeError and leaves `value` as it was.
   static void readLog(Vok::NboAttrLog::Reader& log, IpGenAddr& value);

   static constexpr std::size_t packedSize = 17;
   [[gnu::always_inline]] void pack(Vok::PackedTarget to) const {
      Vok::U64 first, last;
      std::memcpy(&first, bytes_.data(), sizeof first);
      std::memcpy(&last, bytes_.data() + 8, sizeof last);
      to.put(0, family_);
      to.put(1, first);
      to.put(9, last);
   }
   /// False, and the value as it was, when the bytes are none that pack() writes.
   [[gnu::always_inline]] bool unpack(Vok::PackedPlace from) {
      const auto family = from.number<Vok::U8>(0);
      if (!fits(family, from.behind(1)))
         return false;
      const auto first = from.number<Vok::U64>(1), last = from.number<Vok::U64>(9);
      family_ = static_cast<AddressFamily>(family);
      std::memcpy(bytes_.data(), &first, sizeof first);
      std::memcpy(bytes_.data() + 8, &last, sizeof last);
      return true;
   }

   static const Vok::Type& vokType();

  private:
   /// False when there is no such family, or bytes that it does not have are not zero.
   [[gnu::always_inline]] static bool fits(Vok::U8 family, Vok::PackedPlace bytes) {
      if (family == static_cast<Vok::U8>(AddressFamily::ipv4))
         return (bytes.number<Vok::U32>(4) | bytes.number<Vok::U64>(8)) == 0;
      return family == static_cast<Vok::U8>(AddressFamily::ipv6);
   }

   AddressFamily family_ = AddressFamily::ipv4;
   Bytes bytes_{};
};

} // namespace Kinet
