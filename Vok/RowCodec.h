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
#include "Vok/PackedPlace.h"
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

namespace RowCodecDetail {

template <class... F>
struct FieldList {};
struct ListFields {
   template <class... F>
   constexpr FieldList<F...> operator()(const F&...) const {
      return {};
   }
};
/// The fields of a value, as types only.
template <class T>
using FieldsOf = decltype(T::vokFields(ListFields()));

/// Where each of the fields stands in the packed form, and behind the last the bytes of all of them. Of a row
/// that varies in size, these are the bytes before its array, which is its last field.
template <class T, class... F>
constexpr std::array<std::size_t, sizeof...(F) + 1> packedOffsets(FieldList<F...>) {
   std::array<std::size_t, sizeof...(F) + 1> offsets{};
   std::size_t number = 0;
   const auto next = [&](std::size_t bytes) {
      offsets[number + 1] = offsets[number] + bytes;
      ++number;
   };
   (next(isVariableRow<FieldType<F, T>>() ? 0 : packedSizeOf<FieldType<F, T>>()), ...);
   return offsets;
}

} // namespace RowCodecDetail

/// Packs a value of fixed size. Inlined whole, so that every offset is a constant.
template <class T>
[[gnu::always_inline]] inline void packFixed(const T& value, PackedTarget to);

namespace RowCodecDetail {

template <class Member>
[[gnu::always_inline]] inline void packField(const Member& member, PackedTarget to) {
   if constexpr (!isVariableRow<Member>())
      packFixed(member, to);
}

/// All fields but an array.
template <class T, class... F, std::size_t... i>
[[gnu::always_inline]] inline void packFields(const T& value, PackedTarget to, FieldList<F...>,
                                              std::index_sequence<i...>) {
   [[maybe_unused]] constexpr auto offsets = packedOffsets<T>(FieldList<F...>());
   (packField(value.*F::member, to.behind(offsets[i])), ...);
}
template <class T, class... F>
[[gnu::always_inline]] inline void packFields(const T& value, PackedTarget to, FieldList<F...> fields) {
   packFields(value, to, fields, std::index_sequence_for<F...>());
}

} // namespace RowCodecDetail

template <class T>
[[gnu::always_inline]] inline void packFixed(const T& value, PackedTarget to) {
   static_assert(!isVariableRow<T>());
   if constexpr (HasHandWrittenLayout<T>) {
      if constexpr (requires { value.pack(to); })
         value.pack(to);
      else
         value.pack(to.bytes());
   } else if constexpr (IsBoundedNumber<T> || IsFlagSet<T>) {
      to.put(0, value.value());
   } else if constexpr (IsBoundedString<T>) {
      static_assert(T::maxBytes < 256);
      U8* const at = to.bytes();
      std::memset(at, 0, 1 + T::maxBytes);
      *at = static_cast<U8>(value.text().size());
      std::memcpy(at + 1, value.text().data(), value.text().size());
   } else if constexpr (HasFields<T>) {
      RowCodecDetail::packFields(value, to, RowCodecDetail::FieldsOf<T>());
   } else {
      static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T>);
      to.put(0, value);
   }
}

/// Packs a value and returns the place after it. `at` must have room for packedSizeOf<T>() bytes.
template <class T>
U8* pack(const T& value, U8* at) {
   if constexpr (isIndexedArray<T>) {
      at = RowCodecDetail::put(at, static_cast<U16>(value.limit()));
      for (std::size_t i = 0; i < value.limit(); ++i)
         at = pack(value.at(i), at);
      return at;
   } else if constexpr (isVariableRow<T>()) {
      forEachField(value, [&](const auto& member) { at = pack(member, at); });
      return at;
   } else {
      packFixed(value, PackedTarget(at));
      return at + packedSizeOf<T>();
   }
}

/// Unpacks a value of fixed size. False when the bytes are not a valid T, which is unspecified then. Inlined
/// whole, so that every offset is a constant.
template <class T>
[[gnu::always_inline]] inline bool unpackFixed(T& value, PackedPlace from);

namespace RowCodecDetail {

template <class Member>
[[gnu::always_inline]] inline bool unpackField(Member& member, PackedPlace from) {
   if constexpr (isVariableRow<Member>())
      return true;
   else
      return unpackFixed(member, from);
}

/// All fields but an array, from number `first` on.
template <std::size_t first, class T, class... F, std::size_t... i>
[[gnu::always_inline]] inline bool unpackFields(T& value, PackedPlace from, FieldList<F...>,
                                                std::index_sequence<i...>) {
   [[maybe_unused]] constexpr auto offsets = packedOffsets<T>(FieldList<F...>());
   return ((i < first || unpackField(value.*F::member, from.behind(offsets[i]))) && ... && true);
}
template <std::size_t first = 0, class T, class... F>
[[gnu::always_inline]] inline bool unpackFields(T& value, PackedPlace from, FieldList<F...> fields) {
   return unpackFields<first>(value, from, fields, std::index_sequence_for<F...>());
}

template <class T, class First, class... F>
auto& firstField(T& value, FieldList<First, F...>) {
   return value.*First::member;
}

} // namespace RowCodecDetail

template <class T>
[[gnu::always_inline]] inline bool unpackFixed(T& value, PackedPlace from) {
   static_assert(!isVariableRow<T>());
   if constexpr (HasHandWrittenLayout<T>) {
      if constexpr (requires { value.unpack(from); })
         return value.unpack(from);
      else
         return value.unpack(from.bytes());
   } else if constexpr (IsBoundedNumber<T>) {
      const auto number = from.number<typename T::Number>(0);
      if (number < T::lowest || number > T::highest)
         return false;
      value = T(number);
      return true;
   } else if constexpr (IsFlagSet<T>) {
      const auto number = from.number<U32>(0);
      if (number > T::universal)
         return false;
      value = T(number);
      return true;
   } else if constexpr (IsBoundedString<T>) {
      const U8* at = from.bytes();
      if (*at > T::maxBytes)
         return false;
      value = T(String(reinterpret_cast<const char*>(at + 1), *at));
      return true;
   } else if constexpr (HasFields<T>) {
      return RowCodecDetail::unpackFields(value, from, RowCodecDetail::FieldsOf<T>());
   } else if constexpr (std::is_same_v<T, bool>) {
      const U8 number = from.number<U8>(0);
      value = number == 1;
      return number <= 1;
   } else {
      value = from.number<T>(0);
      return true;
   }
}

/// Unpacks a value and returns the place after it, or null when the bytes up to `end` are not a valid
/// T. Any content whatever may stand there; nothing beyond `end` is read.
template <class T>
const U8* unpack(T& value, const U8* at, const U8* end) {
   if constexpr (isIndexedArray<T>) {
      U16 limit = 0;
      if (static_cast<std::size_t>(end - at) < sizeof limit)
         return nullptr;
      at = RowCodecDetail::take(at, limit);
      if (limit > T::capacity)
         return nullptr;
      constexpr std::size_t elementBytes = packedSizeOf<typename T::Element>();
      if (static_cast<std::size_t>(end - at) < limit * elementBytes)
         return nullptr;
      const bool isValid = value.fill(limit, [&](auto& element, std::size_t slot) {
         return unpackFixed(element, PackedPlace(at + slot * elementBytes));
      });
      return isValid ? at + limit * elementBytes : nullptr;
   } else {
      if (static_cast<std::size_t>(end - at) < packedSizeOf<T>() || !unpackFixed(value, PackedPlace(at)))
         return nullptr;
      return at + packedSizeOf<T>();
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

/// The bytes of a row or key before its variable part.
template <class T>
constexpr std::size_t fixedBytesOf() {
   if constexpr (isVariableRow<T>())
      return RowCodecDetail::packedOffsets<T>(RowCodecDetail::FieldsOf<T>()).back();
   else
      return packedSizeOf<T>();
}

template <class T>
std::size_t rowStore(const T& value, U8* out) {
   return static_cast<std::size_t>(pack(value, out) - out);
}

/// Packs a row or key into whole words, zero behind its last byte: as many as the largest one takes, and one
/// more where rows vary. Returns its bytes.
template <class T>
std::size_t rowStore(const T& value, U64* words) {
   constexpr bool variable = isVariableRow<T>();
   constexpr std::size_t fixedBytes = fixedBytesOf<T>();
   std::array<U64, (fixedBytes + 7) / 8> made{}; // in registers, so that each word is stored once
   const PackedTarget start(made.data(), 0);
   if constexpr (variable)
      RowCodecDetail::packFields(value, start, RowCodecDetail::FieldsOf<T>());
   else
      packFixed(value, start);
   [&]<std::size_t... i>(std::index_sequence<i...>) {
      ((words[i] = made[i]), ...);
   }
   (std::make_index_sequence<made.size()>());
   std::size_t bytes = fixedBytes;
   if constexpr (variable) {
      packVariablePart(value, reinterpret_cast<U8*>(words) + fixedBytes);
      bytes += variablePartBytes(value);
      std::memset(reinterpret_cast<U8*>(words) + bytes, 0, sizeof(U64));
   }
   return bytes;
}

/// Unpacks a row or key from whole words. False when the bytes are not a valid T; the value is then
/// unspecified but safe to destroy. Fields before number `first` stay what they are.
template <std::size_t first = 0, class T>
bool rowLoad(T& value, const U64* words, std::size_t bytes) {
   const PackedPlace start(words, 0);
   constexpr std::size_t fixedBytes = fixedBytesOf<T>();
   if constexpr (isVariableRow<T>()) {
      if (bytes <= fixedBytes ||
          !RowCodecDetail::unpackFields<first>(value, start, RowCodecDetail::FieldsOf<T>()))
         return false;
      return unpackVariablePart(value, start.bytes() + fixedBytes, static_cast<U32>(bytes - fixedBytes)) ==
             bytes - fixedBytes;
   } else if constexpr (first == 0) {
      return bytes == fixedBytes && unpackFixed(value, start);
   } else {
      return bytes == fixedBytes &&
             RowCodecDetail::unpackFields<first>(value, start, RowCodecDetail::FieldsOf<T>());
   }
}

/// The same for a row that was looked for, and found, by its key: that one is taken as it is.
template <class Row>
bool rowLoad(Row& row, const typename Row::Key& key, const U64* words, std::size_t bytes) {
   if constexpr (HasFields<Row>) {
      RowCodecDetail::firstField(row, RowCodecDetail::FieldsOf<Row>()) = key;
      return rowLoad<1>(row, words, bytes);
   } else {
      return rowLoad(row, words, bytes);
   }
}

namespace RowCodecDetail {

/// For each word of a packed key, a mask of the key's bytes but the four of its `near` number.
template <class Key>
constexpr auto wordsWithoutNear() {
   constexpr std::size_t size = packedSizeOf<Key>(), words = (size + 7) / 8, near = nearOffset<Key>();
   std::array<U8, 8 * words> bytes{};
   for (std::size_t i = 0; i < size; ++i)
      bytes[i] = near != noNear && i - near < sizeof(U32) ? 0x00 : 0xff;
   return std::bit_cast<std::array<U64, words>>(bytes);
}

} // namespace RowCodecDetail

/// The `near` numbers of a table whose keys are numbered without gaps are this many a line of its index, and
/// the tags of a line and of the next are this far apart, but for their low three bits.
inline constexpr U32 nearALine = 8;
inline constexpr U32 nearStep = 0x9e3779b9;

/// The hash of a packed key for a table's index, seeded per table. Its high bits choose a line, its low three
/// bits a place there.
///
/// Eight keys that differ only in the low three bits of their `near` number get the eight places of one line.
/// The lines of successive eights follow one another at the golden ratio of the index, which spreads any
/// number of them more evenly than chance would: keys without gaps hardly ever find their place taken. Which
/// of the eight stands at which place is as good as chance, by a square: were it told by the low bits of the
/// product, keys in steps of 64 would all want the same place of their lines.
///
/// The key stands in whole words; what follows its last byte there does not matter.
template <class Key>
[[gnu::always_inline]] inline U32 packedTag(const U64* packed, U64 seed) {
   constexpr std::size_t nearAt = nearOffset<Key>();
   constexpr auto others = RowCodecDetail::wordsWithoutNear<Key>();
   U64 mixed = 0;
   [&]<std::size_t... i>(std::index_sequence<i...>) {
      ((mixed +=
        foldedProduct((packed[i] & others[i]) ^ seed, 0x9e3779b97f4a7c15ull + 0xbf58476d1ce4e5b8ull * i)),
       ...);
   }
   (std::make_index_sequence<others.size()>());
   mixed = foldedProduct(mixed, 0x94d049bb133111ebull);
   const auto tag = static_cast<U32>(mixed >> 32 ^ mixed);
   if constexpr (nearAt == noNear) {
      return tag;
   } else {
      U32 number;
      std::memcpy(&number, reinterpret_cast<const U8*>(packed) + nearAt, sizeof number);
      const U32 line = tag + number / nearALine * nearStep;
      return line ^ line * line >> 29 ^ number % nearALine;
   }
}

} // namespace Vok
