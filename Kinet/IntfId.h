#pragma once
// The name of a network interface.

#include "Vok/Hash.h"
#include "Vok/PackedPlace.h"
#include "Vok/Type.h"

#include <array>
#include <compare>
#include <cstring>

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
   [[gnu::always_inline]] void pack(Vok::PackedTarget to) const {
      Vok::U64 first, last;
      std::memcpy(&first, name_.data(), sizeof first);
      std::memcpy(&last, name_.data() + 8, sizeof last);
      to.put(0, first);
      to.put(8, last);
   }
   /// False, and the value as it was, when the bytes are none that pack() writes.
   [[gnu::always_inline]] bool unpack(Vok::PackedPlace from);

   static const Vok::Type& vokType();

  private:
   /// For characters as numbers, one or many at once.
   template <class Characters>
   [[gnu::always_inline]] static auto isRefused(Characters c) {
      return (c <= 0x20) | (c == 0x7f) | (c == '/') | (c == ':');
   }

   std::array<char, maxLength + 1> name_{};
};

// On the path of every row: each character is looked at with its neighbour only, and all of them at once.
inline bool IntfId::unpack(Vok::PackedPlace from) {
   using Characters [[gnu::vector_size(packedSize)]] = Vok::U8;
   using Halves [[gnu::vector_size(packedSize)]] = Vok::U64;
   const auto name = std::bit_cast<Characters>(Halves{from.number<Vok::U64>(0), from.number<Vok::U64>(8)});
   const auto next =
       __builtin_shufflevector(name, Characters{}, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
   const auto isEnd = name == 0;
   const auto bad = std::bit_cast<Halves>((isEnd & (next != 0)) | (~isEnd & isRefused(name)));
   const auto character = [&](std::size_t at) { return from.number<char>(at); };
   const bool dots =
       character(0) == '.' && (character(1) == '\0' || (character(1) == '.' && character(2) == '\0'));
   if ((bad[0] | bad[1]) != 0 || character(maxLength) != '\0' || dots)
      return false;
   std::memcpy(name_.data(), &name, sizeof name);
   return true;
}

} // namespace Kinet
