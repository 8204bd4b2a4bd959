#pragma once
// Numbers held in network byte order: NetU32, NetU16.

#include "Vok/Hash.h"
#include "Vok/Type.h"

#include <bit>
#include <compare>
#include <cstring>
#include <limits>

namespace Kinet {

/// A number whose bytes in memory stand in network order, on every machine. Order, text form (decimal) and
/// log form are those of the number; the packed row holds its bytes in network order.
template <class Number>
class NetNumber {
  public:
   constexpr NetNumber() = default;
   explicit constexpr NetNumber(Number hostValue) : netValue_(swapped(hostValue)) {}

   constexpr Number hostValue() const { return swapped(netValue_); }
   /// The number as it stands in memory.
   constexpr Number netValue() const { return netValue_; }

   constexpr bool operator!() const { return netValue_ == 0; }
   constexpr bool operator==(const NetNumber&) const = default;
   constexpr std::strong_ordering operator<=>(const NetNumber& other) const {
      return hostValue() <=> other.hostValue();
   }
   Vok::U32 hash() const {
      Vok::Hash hash;
      hash.mix(hostValue());
      return hash.result();
   }

   Vok::String stringValue() const { return std::to_string(hostValue()); }
   void print(Vok::String& out) const { out += stringValue(); }
   static void parseText(Vok::TextParser& parser, NetNumber& value) {
      value = NetNumber(static_cast<Number>(parser.unsignedNumber(std::numeric_limits<Number>::max())));
   }
   void writeLog(Vok::NboAttrLog::Writer& log) const { log.bytes(&netValue_, sizeof netValue_); }
   static void readLog(Vok::NboAttrLog::Reader& log, NetNumber& value) {
      log.bytes(&value.netValue_, sizeof value.netValue_);
   }

   static constexpr std::size_t packedSize = sizeof(Number);
   void pack(Vok::U8* at) const { std::memcpy(at, &netValue_, sizeof netValue_); }
   bool unpack(const Vok::U8* at) {
      std::memcpy(&netValue_, at, sizeof netValue_);
      return true;
   }

   static const Vok::Type& vokType();

  private:
   static constexpr Number swapped(Number value) {
      if constexpr (std::endian::native == std::endian::big)
         return value;
      Number result = 0;
      for (std::size_t i = 0; i < sizeof(Number); ++i)
         result = static_cast<Number>(result << 8 | (value >> 8 * i & 0xff));
      return result;
   }

   Number netValue_ = 0;
};

using NetU32 = NetNumber<Vok::U32>;
using NetU16 = NetNumber<Vok::U16>;

template <>
const Vok::Type& NetU32::vokType();
template <>
const Vok::Type& NetU16::vokType();

} // namespace Kinet
