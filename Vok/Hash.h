#pragma once
// The type system's incremental 32-bit hash. The order of mixing is part of a type's declaration: a
// value mixes its fields in declared order, unless it says otherwise.

#include "Vok/Types.h"

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
      for (std::size_t left = size; left > 0;) {
         const std::size_t step = left < 8 ? left : 8;
         U64 word = 0;
         std::memcpy(&word, at, step);
         mix(word);
         at += step;
         left -= step;
      }
      mix(static_cast<U64>(size));
   }

   U32 result() const {
      const U64 mixed = foldedProduct(state_, 0xd6e8feb86659fd93ull);
      return static_cast<U32>(mixed ^ (mixed >> 32));
   }

  private:
   U64 state_ = 0x2545f4914f6cdd1dull;
};

} // namespace Vok
