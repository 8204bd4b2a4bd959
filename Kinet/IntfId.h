#pragma once
// The name of a network interface.

#include "Vok/Hash.h"
#include "Vok/Type.h"

#include <array>
#include <compare>

namespace Kinet {

/// A name that the kernel would take: at most 15 bytes, none of them blank, a control character, '/' or ':',
/// and neither "." nor "..". Empty means no interface. Ordered by bytes.
///
/// Text form: the name in single quotes. Log form: a counted string. Packed row: 16 bytes, zero-filled.
class IntfId {
  public:
   static constexpr std::size_t maxLength = 15;

   constexpr IntfId() = default;
   /// Raises RangeError for a name that no interface can have.
   explicit IntfId(std::string_view name);

   /// Lives as long as this object.
   constexpr std::string_view name() const { return {name_.data()}; }
   constexpr bool empty() const { return name_[0] == '\0'; }

   constexpr bool operator!() const { return empty(); }
   constexpr bool operator==(const IntfId&) const = default;
   std::strong_ordering operator<=>(const IntfId& other) const { return name() <=> other.name(); }
   Vok::U32 hash() const;

   /// The name, without quotes.
   Vok::String stringValue() const { return Vok::String(name()); }
   void print(Vok::String& out) const;
   /// Raises ParseError or RangeError.
   static void parseText(Vok::TextParser& parser, IntfId& value);
   void writeLog(Vok::NboAttrLog::Writer& log) const;
   /// Raises LogError or RangeError and leaves `value` as it was.
   static void readLog(Vok::NboAttrLog::Reader& log, IntfId& value);

   static constexpr std::size_t packedSize = maxLength + 1;
   void pack(Vok::U8* at) const;
   /// False, and the value as it was, when the bytes are none that pack() writes.
   bool unpack(const Vok::U8* at);

   static const Vok::Type& vokType();

  private:
   std::array<char, maxLength + 1> name_{};
};

} // namespace Kinet
