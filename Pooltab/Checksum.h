#pragma once

#include "Pooltab/Words.h"

/// The checksum of a row. It finds faults, not attackers: those are kept out by the modes of the files.

namespace Pooltab {

/// The product of two words folded to one.
inline Word foldedProduct(Word a, Word b) {
   const auto product = static_cast<unsigned __int128>(a) * b;
   return static_cast<Word>(product) ^ static_cast<Word>(product >> 64);
}

/// Covers where the row stands (slot), which table it belongs to (seed), which write made it and how long it
/// is (stamp), and the payload. An older row of the same slot put back, or a row copied to another slot, is
/// found as surely as a flipped bit. Two independent chains, since a chain of multiplications is bound by
/// their latency.
inline U32 rowChecksum(Word seed, U32 slot, Word stamp, const Word* payload, unsigned words) {
   constexpr Word k0 = 0x9e6c63d0876a9a47, k1 = 0xb9b5a1c3f26ed4e9, k2 = 0xd3a2646c1d8f7b35,
                  k3 = 0x8bb84b93962eacc9;
   Word a = foldedProduct(seed ^ k0, stamp ^ k1);
   Word b = (Word{slot} << 32 | words) ^ k2;
   unsigned i = 0;
   for (; i + 4 <= words; i += 4) {
      a = foldedProduct(a ^ payload[i], payload[i + 1] ^ k0);
      b = foldedProduct(b ^ payload[i + 2], payload[i + 3] ^ k3);
   }
   for (; i + 2 <= words; i += 2)
      a = foldedProduct(a ^ payload[i], payload[i + 1] ^ k1);
   if (i < words)
      b = foldedProduct(b ^ payload[i], k2);
   const Word folded = foldedProduct(a ^ k3, b ^ k1);
   return static_cast<U32>(folded ^ folded >> 32);
}

} // namespace Pooltab
