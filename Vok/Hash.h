#pragma once
// The type system's incremental 32-bit hash. The order of mixing is part of a type's declaration: a
// value mixes its fields in declared order, unless it says otherwise.

#include "Vok/Types.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <type_traits>

namespace Vok {

/// Folds a product of 128 bits to 64: every bit of both factors reaches every bit of the result.
inline U64 foldedProduct(U64 a, U64 b) {
   const auto product = static_cast<unsigned __int128>(a) * b;
   return static_cast<U64>(product) ^ static_cast<U64>(product >> 64);
}

/// Mixes values one after the other. The same values in the same order give the same result on every
/// machine and in every run; the result is not meant to withstand an adversary.
class Hash {
  public:
   void mix(U64 word) { state_ = foldedProduct(state_ ^ word, 0x9e3779b97f4a7c15ull); }
   void mix(U32 word) { mix(static_cast<U64>(word) | U64(4) << 32); }
   void mix(U16 word) { mix(static_cast<U64>(word) | U64(2) << 32); }
   void mix(U8 byte) { mix(static_cast<U64>(byte) | U64(1) << 32); }
   void mix(bool flag) { mix(static_cast<U8>(flag)); }

   /// Mixes `size` bytes, eight at a time, the length included.
   void mix(const void* bytes, std::size_t size) {
      const auto* at = static_cast<const U8*>(bytes);
      const auto* const end = at + size;
      for (; end - at >= 8; at += 8)
         mix(load<U64>(at));
      if (at != end)
         mix(size >= 8 ? load<U64>(end - 8) >> (64 - 8 * (end - at)) : shortWord(at, size));
      mix(static_cast<U64>(size));
   }

   U32 result() const {
      const U64 mixed = foldedProduct(state_, 0xd6e8feb86659fd93ull);
      return static_cast<U32>(mixed ^ (mixed >> 32));
   }

  private:
   /// The first byte is the lowest, on every machine.
   template <class Word>
   static Word load(const U8* at) {
      Word word;
      std::memcpy(&word, at, sizeof word);
      if constexpr (std::endian::native == std::endian::big)
         std::reverse(reinterpret_cast<U8*>(&word), reinterpret_cast<U8*>(&word + 1));
      return word;
   }
   /// One to seven bytes, zeroes above them. Loads that overlap are cheaper than a loop or a call.
   static U64 shortWord(const U8* at, std::size_t size) {
      if (size >= 4)
         return load<U32>(at) | U64(load<U32>(at + size - 4)) << (8 * (size - 4));
      return at[0] | U64(at[size / 2]) << (8 * (size / 2)) | U64(at[size - 1]) << (8 * (size - 1));
   }

   U64 state_ = 0x2545f4914f6cdd1dull;
};

} // namespace Vok
