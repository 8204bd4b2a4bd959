#pragma once
// The packed layout of table rows: fields in declared order, without padding, numbers in the byte
// order of the machine (a table names its byte order in its header), the variable array last.
//
//   Bool, U8..U64, F64, enumerations, bounded numbers, flag sets   their own size
//   bounded strings                      a length byte and the largest number of bytes, zero-filled
//   values                               their fields
//   hand-written values                  T::packedSize bytes, by pack() const and unpack()
//   an array                             a 16-bit slot count and that many elements; only in a row
//
// A key is always fixed in size and stands first in its row.

#include "Vok/Flags.h"
#include "Vok/Value.h"

#include <array>
#include <bit>
#include <cstring>

namespace Vok {

template <class T>
concept HasHandWrittenLayout = requires {
   T::packedSize;
};

/// True when the packed size of T depends on its value.
template <class T>
constexpr bool isVariableRow();

/// The packed size of T; the largest one when it is variable.
template <class T>
constexpr std::size_t packedSizeOf();

namespace RowCodecDetail {

/// Copies a number to unaligned memory and back.
template <class N>
U8* put(U8* at, N number) {
   std::memcpy(at, &number, sizeof number);
   return at + sizeof number;
}
template <class N>
const U8* take(const U8* at, N& number) {
   std::memcpy(&number, at, sizeof number);
   return at + sizeof number;
}

/// The word that starts with so many bytes of memory and goes on with zeroes. Put together in a register: a
/// word that is stored in pieces and loaded whole is not there at once.
template <std::size_t bytes>
U64 loadWord(const U8* at) {
   static_assert(bytes >= 1 && bytes <= 8);
   if constexpr (bytes == 8 || std::endian::native == std::endian::big) {
      U64 word = 0;
      std::memcpy(&word, at, bytes);
      return word;
   } else {
      constexpr std::size_t piece = std::bit_floor(bytes);
      std::conditional_t<piece == 4, U32, std::conditional_t<piece == 2, U16, U8>> first;
      take(at, first);
      if constexpr (piece == bytes)
         return first;
      else
         return first | loadWord<bytes - piece>(at + piece) << 8 * piece;
   }
}

} // namespace RowCodecDetail

template <class T>
constexpr bool isVariableRow() {
   if constexpr (isIndexedArray<T>)
      return true;
   else if constexpr (HasHandWrittenLayout<T> || !HasFields<T>)
      return false;
   else
      return T::vokFields([](const auto&... field) {
         return (isVariableRow<FieldType<std::remove_cvref_t<decltype(field)>, T>>() || ... || false);
      });
}

template <class T>
constexpr std::size_t packedSizeOf() {
   if constexpr (HasHandWrittenLayout<T>)
      return T::packedSize;
   else if constexpr (isIndexedArray<T>)
      return sizeof(U16) + T::capacity * packedSizeOf<typename T::Element>();
   else if constexpr (IsBoundedNumber<T>)
      return sizeof(typename T::Number);
   else if constexpr (IsBoundedString<T>)
      return 1 + T::maxBytes;
   else if constexpr (HasFields<T>)
      return T::vokFields([](const auto&... field) {
         return (packedSizeOf<FieldType<std::remove_cvref_t<decltype(field)>, T>>() + ... + 0);
      });
   else
      return sizeof(T);
}

/// Packs a value and returns the place after it. `at` must have room for packedSizeOf<T>() bytes.
template <class T>
U8* pack(const T& value, U8* at) {
   using namespace RowCodecDetail;
   if constexpr (HasHandWrittenLayout<T>) {
      value.pack(at);
      return at + T::packedSize;
   } else if constexpr (isIndexedArray<T>) {
      at = put(at, static_cast<U16>(value.limit()));
      for (std::size_t i = 0; i < value.limit(); ++i)
         at = pack(value.at(i), at);
      return at;
   } else if constexpr (IsBoundedNumber<T> || IsFlagSet<T>) {
      return put(at, value.value());
   } else if constexpr (IsBoundedString<T>) {
      static_assert(T::maxBytes < 256);
      std::memset(at, 0, 1 + T::maxBytes);
      *at = static_cast<U8>(value.text().size());
      std::memcpy(at + 1, value.text().data(), value.text().size());
      return at + 1 + T::maxBytes;
   } else if constexpr (HasFields<T>) {
      forEachField(value, [&](const auto& member) { at = pack(member, at); });
      return at;
   } else {
      static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T>);
      return put(at, value);
   }
}

/// Unpacks a value and returns the place after it, or null when the bytes up to `end` are not a valid
/// T. Any content whatever may stand there; nothing beyond `end` is read.
template <class T>
const U8* unpack(T& value, const U8* at, const U8* end) {
   using namespace RowCodecDetail;
   if constexpr (!isVariableRow<T>()) {
      if (static_cast<std::size_t>(end - at) < packedSizeOf<T>())
         return nullptr;
   }
   if constexpr (HasHandWrittenLayout<T>) {
      return value.unpack(at) ? at + T::packedSize : nullptr;
   } else if constexpr (isIndexedArray<T>) {
      U16 limit = 0;
      if (static_cast<std::size_t>(end - at) < sizeof limit)
         return nullptr;
      at = take(at, limit);
      if (limit > T::capacity)
         return nullptr;
      value.delAll();
      for (U16 i = 0; i < limit; ++i) {
         typename T::Element element;
         at = unpack(element, at, end);
         if (!at)
            return nullptr;
         value.is(typename T::IndexType(i + T::IndexType::lowest), element);
      }
      return value.limit() == limit ? at : nullptr;
   } else if constexpr (IsBoundedNumber<T>) {
      typename T::Number number;
      at = take(at, number);
      if (number < T::lowest || number > T::highest)
         return nullptr;
      value = T(number);
      return at;
   } else if constexpr (IsFlagSet<T>) {
      U32 number = 0;
      at = take(at, number);
      if (number > T::universal)
         return nullptr;
      value = T(number);
      return at;
   } else if constexpr (IsBoundedString<T>) {
      if (*at > T::maxBytes)
         return nullptr;
      value = T(String(reinterpret_cast<const char*>(at + 1), *at));
      return at + 1 + T::maxBytes;
   } else if constexpr (HasFields<T>) {
      T::vokFields([&](const auto&... field) {
         (void)((at = unpack(value.*(std::remove_cvref_t<decltype(field)>::member), at, end)) && ...);
      });
      return at;
   } else if constexpr (std::is_same_v<T, bool>) {
      if (*at > 1)
         return nullptr;
      value = *at == 1;
      return at + 1;
   } else {
      return take(at, value);
   }
}

/// True for values of plain numbers that pack into one 64-bit word.
template <class T>
constexpr bool packsIntoWord() {
   if constexpr (HasHandWrittenLayout<T> || isIndexedArray<T> || IsBoundedString<T>)
      return false;
   else if constexpr (HasFields<T>)
      return packedSizeOf<T>() <= sizeof(U64) && std::endian::native == std::endian::little &&
             T::vokFields([](const auto&... field) {
                return (packsIntoWord<FieldType<std::remove_cvref_t<decltype(field)>, T>>() && ... && true);
             });
   else
      return !std::is_floating_point_v<T>;
}

/// The packed bytes of such a value as one word, zero beyond them.
template <class T>
U64 packedWord(const T& value) {
   if constexpr (IsBoundedNumber<T> || IsFlagSet<T>) {
      return static_cast<U64>(value.value());
   } else if constexpr (HasFields<T>) {
      U64 word = 0;
      unsigned shift = 0;
      forEachField(value, [&](const auto& member) {
         word |= packedWord(member) << shift;
         shift += 8 * packedSizeOf<std::remove_cvref_t<decltype(member)>>();
      });
      return word;
   } else {
      return static_cast<std::make_unsigned_t<
          std::conditional_t<std::is_enum_v<T>, U32, std::conditional_t<std::is_same_v<T, bool>, U8, T>>>>(
          value);
   }
}

/// Where, in a packed key, the 32-bit number stands whose low three bits tell neighbours apart
/// (declared `near`); noNear when there is none.
inline constexpr std::size_t noNear = ~std::size_t(0);

template <class T>
constexpr std::size_t nearOffset() {
   if constexpr (requires { T::packedNearOffset; }) {
      return T::packedNearOffset;
   } else if constexpr (IsBoundedNumber<T>) {
      return sizeof(typename T::Number) == sizeof(U32) ? 0 : noNear;
   } else if constexpr (std::is_same_v<T, U32>) {
      return 0;
   } else if constexpr (requires { T::vokNear; }) {
      std::size_t offset = 0;
      std::size_t found = noNear;
      std::size_t number = 0;
      T::vokFields([&](const auto&... field) {
         (
             [&] {
                using F = FieldType<std::remove_cvref_t<decltype(field)>, T>;
                if (number++ == T::vokNear && nearOffset<F>() != noNear)
                   found = offset + nearOffset<F>();
                offset += packedSizeOf<F>();
             }(),
             ...);
      });
      return found;
   } else {
      return noNear;
   }
}

/// The variable part of a row: its arrays in declared order, packed one behind the other.
template <HasFields Row>
U32 variablePartBytes(const Row& row) {
   U32 bytes = 0;
   forEachField(row, [&](const auto& member) {
      if constexpr (isIndexedArray<std::remove_cvref_t<decltype(member)>>)
         bytes += sizeof(U16) + static_cast<U32>(member.limit()) *
                                    packedSizeOf<typename std::remove_cvref_t<decltype(member)>::Element>();
   });
   return bytes;
}

/// `out` must have room for variablePartBytes( row ).
template <HasFields Row>
void packVariablePart(const Row& row, U8* out) {
   forEachField(row, [&](const auto& member) {
      if constexpr (isIndexedArray<std::remove_cvref_t<decltype(member)>>)
         out = pack(member, out);
   });
}

/// How many of the bytes the variable part took; 0 when they are none.
template <HasFields Row>
U32 unpackVariablePart(Row& row, const U8* in, U32 bytes) {
   const U8* at = in;
   Row::vokFields([&](const auto&... field) {
      const auto take = [&](auto& member) {
         if constexpr (isIndexedArray<std::remove_cvref_t<decltype(member)>>)
            at = unpack(member, at, in + bytes);
         return at != nullptr;
      };
      (void)(take(row.*(std::remove_cvref_t<decltype(field)>::member)) && ...);
   });
   return at ? static_cast<U32>(at - in) : 0;
}

// What shared tables ask of a row or key.

template <class T>
inline constexpr std::size_t rowBytesMax = packedSizeOf<T>();
template <class T>
inline constexpr bool rowIsVariable = isVariableRow<T>();

template <class T>
std::size_t rowStore(const T& value, U8* out) {
   return static_cast<std::size_t>(pack(value, out) - out);
}

/// False when the bytes are not a valid T; the value is then unspecified but safe to destroy.
template <class T>
bool rowLoad(T& value, const U8* in, std::size_t bytes) {
   const U8* end = in + bytes;
   return unpack(value, in, end) == end;
}

/// The hash of a packed key for a table's index, seeded per table. Keys that differ only in the low
/// three bits of their `near` number differ only in the low three bits of the tag.
template <class Key>
U32 packedTag(const U8* packed, U64 seed) {
   constexpr std::size_t bytes = packedSizeOf<Key>();
   constexpr std::size_t words = (bytes + 7) / 8;
   std::array<U64, words> word;
   for (std::size_t i = 0; i + 1 < words; ++i)
      word[i] = RowCodecDetail::loadWord<8>(packed + 8 * i);
   word[words - 1] = RowCodecDetail::loadWord<bytes - 8 * (words - 1)>(packed + 8 * (words - 1));
   U32 neighbour = 0;
   constexpr std::size_t nearAt = nearOffset<Key>();
   if constexpr (nearAt != noNear) {
      constexpr bool little = std::endian::native == std::endian::little;
      constexpr std::size_t byte = little ? nearAt : nearAt + 3;
      constexpr unsigned shift = 8 * (little ? byte % 8 : 7 - byte % 8);
      neighbour = static_cast<U32>(word[byte / 8] >> shift) & 7u;
      word[byte / 8] &= ~(U64{7} << shift);
   }
   U64 mixed = 0;
   for (std::size_t i = 0; i < words; ++i)
      mixed += foldedProduct(word[i] ^ seed, 0x9e3779b97f4a7c15ull + 0xbf58476d1ce4e5b8ull * i);
   mixed = foldedProduct(mixed, 0x94d049bb133111ebull);
   const auto tag = static_cast<U32>(mixed >> 32 ^ mixed);
   return nearAt == noNear ? tag : (tag & ~7u) | neighbour;
}

template <class Key>
U32 tableTag(const Key& key, U64 seed) {
   U8 packed[packedSizeOf<Key>()];
   pack(key, packed);
   return packedTag<Key>(packed, seed);
}

} // namespace Vok
