#pragma once
// Where a packed value stands: for those who unpack it, and for those who pack it.
//
// Packed values have no padding, so that most of their numbers overlap two words. Loading a number of which
// parts were stored a moment ago, in other pieces, has to wait until those stores are through. So both
// classes deal with words in registers where a value stands in whole words: a number is put together from two
// of them, or laid into two of them. Offsets are constants wherever a pack() or unpack() is inlined, and then
// nothing of these classes is left.

#include "Vok/Types.h"

#include <bit>
#include <cstring>
#include <type_traits>

namespace Vok {

namespace PackedDetail {

template <std::size_t bytes>
using Unsigned =
    std::conditional_t<bytes == 1, U8,
                       std::conditional_t<bytes == 2, U16, std::conditional_t<bytes == 4, U32, U64>>>;

/// How far the place of a byte in its word is from the word's low end, in bits.
[[gnu::always_inline]] inline unsigned shiftOf(std::size_t offset) {
   return 8 * (offset % sizeof(U64));
}

inline constexpr bool isLittle = std::endian::native == std::endian::little;

} // namespace PackedDetail

/// A place in packed bytes, of which numbers are taken.
class PackedPlace {
  public:
   /// Bytes that stand anywhere.
   PackedPlace(const U8* bytes) : bytes_(bytes) {}
   /// So many bytes into a run of whole words. No word is touched that has no byte of a number taken.
   PackedPlace(const U64* words, std::size_t offset)
       : words_(words), offset_(offset), bytes_(reinterpret_cast<const U8*>(words) + offset) {
      if (!words)
         __builtin_unreachable(); // or it would be asked which of the two this is
   }

   const U8* bytes() const { return bytes_; }
   [[gnu::always_inline]] PackedPlace behind(std::size_t bytes) const {
      return words_ ? PackedPlace(words_, offset_ + bytes) : PackedPlace(bytes_ + bytes);
   }

   /// The number that starts `at` bytes behind this place.
   template <class N>
   [[gnu::always_inline]] N number(std::size_t at) const {
      if (!PackedDetail::isLittle || !words_) {
         N number;
         std::memcpy(&number, bytes_ + at, sizeof number);
         return number;
      }
      const std::size_t offset = offset_ + at;
      const unsigned shift = PackedDetail::shiftOf(offset);
      U64 bits = word(offset / 8) >> shift;
      if (shift + 8 * sizeof(N) > 64)
         bits |= word(offset / 8 + 1) << (64 - shift);
      return std::bit_cast<N>(static_cast<PackedDetail::Unsigned<sizeof(N)>>(bits));
   }

  private:
   /// Loaded by itself: the compiler may not make it part of a vector, which would overlap two stores.
   [[gnu::always_inline]] U64 word(std::size_t number) const {
      return static_cast<const volatile U64*>(words_)[number];
   }

   const U64* words_ = nullptr;
   std::size_t offset_ = 0;
   const U8* bytes_;
};

/// A place that numbers are put into.
class PackedTarget {
  public:
   /// Bytes anywhere.
   PackedTarget(U8* bytes) : bytes_(bytes) {}
   /// So many bytes into a run of whole words, which are zero where nothing was put yet.
   PackedTarget(U64* words, std::size_t offset)
       : words_(words), offset_(offset), bytes_(reinterpret_cast<U8*>(words) + offset) {}

   U8* bytes() const { return bytes_; }
   [[gnu::always_inline]] PackedTarget behind(std::size_t bytes) const {
      return words_ ? PackedTarget(words_, offset_ + bytes) : PackedTarget(bytes_ + bytes);
   }

   /// Puts a number `at` bytes behind this place.
   template <class N>
   [[gnu::always_inline]] void put(std::size_t at, N number) const {
      if (!PackedDetail::isLittle || !words_) {
         std::memcpy(bytes_ + at, &number, sizeof number);
         return;
      }
      const std::size_t offset = offset_ + at;
      const unsigned shift = PackedDetail::shiftOf(offset);
      const U64 bits = std::bit_cast<PackedDetail::Unsigned<sizeof(N)>>(number);
      words_[offset / 8] |= bits << shift;
      if (shift + 8 * sizeof(N) > 64)
         words_[offset / 8 + 1] |= bits >> (64 - shift);
   }

  private:
   U64* words_ = nullptr;
   std::size_t offset_ = 0;
   U8* bytes_;
};

} // namespace Vok
