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
/// found as surely as a flipped bit. Each two words are multiplied under a key of their place, and the
/// products are added: a chain of multiplications would be bound by their latency.
inline U32 rowChecksum(Word seed, U32 slot, Word stamp, const Word* payload, unsigned words) {
   constexpr Word step = 0x9e6c63d0876a9a47, last = 0xb9b5a1c3f26ed4e9;
   Word key = seed;
   Word sum = foldedProduct(stamp ^ key, (Word{slot} << 32 | words) + key);
   unsigned i = 0;
   for (; i + 2 <= words; i += 2) {
      key += step;
      sum += foldedProduct(payload[i] ^ key, payload[i + 1] + key);
   }
   if (i < words)
      sum += foldedProduct(payload[i] ^ (key + step), last);
   const Word folded = foldedProduct(sum ^ seed, last);
   return static_cast<U32>(folded ^ folded >> 32);
}

} // namespace Pooltab
