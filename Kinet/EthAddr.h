#pragma once
// A MAC address.

#include "Vok/Hash.h"
#include "Vok/Type.h"

#include <array>
#include <compare>

namespace Kinet {

/// Six bytes in the order they are sent. Text form: "02:00:5e:10:00:01", lower-case, always two digits;
/// upper-case digits parse. Log form and packed row: the six bytes.
class EthAddr {
  public:
   using Bytes = std::array<Vok::U8, 6>;

   constexpr EthAddr() = default;
   explicit constexpr EthAddr(const Bytes& bytes) : bytes_(bytes) {}
   /// From its text form. Raises ParseError.
   explicit EthAddr(std::string_view text);

   constexpr const Bytes& bytes() const { return bytes_; }

   constexpr bool operator!() const { return *this == EthAddr(); }
   constexpr bool operator==(const EthAddr&) const = default;
   constexpr std::strong_ordering operator<=>(const EthAddr&) const = default;
   Vok::U32 hash() const;

   Vok::String stringValue() const;
   void print(Vok::String& out) const;
   static void parseText(Vok::TextParser& parser, EthAddr& value);
   void writeLog(Vok::NboAttrLog::Writer& log) const;
   static void readLog(Vok::NboAttrLog::Reader& log, EthAddr& value);

   static constexpr std::size_t packedSize = 6;
   void pack(Vok::U8* at) const;
   /// Any six bytes are an address.
   bool unpack(const Vok::U8* at);

   static const Vok::Type& vokType();

  private:
   Bytes bytes_{};
};

} // namespace Kinet
