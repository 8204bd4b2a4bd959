#pragma once

#include <atomic>
#include <bit>
#include <cstdint>
#include <utility>

/// Access to memory that other processes see at the same time.
///
/// Everything shared is read and written in aligned 8-byte words, each access atomic. There are no
/// stand-alone fences: a store that must not be seen before an earlier one is a release store, and the load
/// that may see it is an acquire load. The comments at the calls name the partner.

namespace Pooltab {

using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;
using U64 = std::uint64_t;
using Word = std::uint64_t;

inline Word loadAcquire(const Word& word) {
   return std::atomic_ref<Word>(const_cast<Word&>(word)).load(std::memory_order_acquire);
}

/// For words whose value needs no order with others: counters in statistics, the writer's own reading back.
inline Word loadRelaxed(const Word& word) {
   return std::atomic_ref<Word>(const_cast<Word&>(word)).load(std::memory_order_relaxed);
}

inline void storeRelease(Word& word, Word value) {
   std::atomic_ref<Word>(word).store(value, std::memory_order_release);
}

inline void storeRelaxed(Word& word, Word value) {
   std::atomic_ref<Word>(word).store(value, std::memory_order_relaxed);
}

/// Copies out of shared memory. Each load is an acquire: whoever saw one new word of a row also sees, in its
/// second look at the row's guard, that the row was being changed. Partner: copyIn.
inline void copyOut(Word* to, const Word* shared, unsigned words) {
#pragma GCC unroll 4
   for (unsigned i = 0; i < words; ++i)
      to[i] = loadAcquire(shared[i]);
}

/// The same for a number of words that is known, without a loop.
template <unsigned words>
[[gnu::always_inline]] inline void copyOut(Word* to, const Word* shared) {
   [&]<unsigned... i>(std::integer_sequence<unsigned, i...>) {
      ((to[i] = loadAcquire(shared[i])), ...);
   }
   (std::make_integer_sequence<unsigned, words>());
}

/// Copies into shared memory. Each store is a release: none is seen before the mark that announced the
/// change. Partner: copyOut.
inline void copyIn(Word* shared, const Word* from, unsigned words) {
#pragma GCC unroll 4
   for (unsigned i = 0; i < words; ++i)
      storeRelease(shared[i], from[i]);
}

inline void zeroIn(Word* shared, unsigned words) {
   for (unsigned i = 0; i < words; ++i)
      storeRelease(shared[i], 0);
}

inline constexpr unsigned wordsFor(unsigned bytes) {
   return (bytes + 7) / 8;
}

/// Has the cache line at a place come. A compiler takes a function that does nothing but this for one without
/// any effect, and leaves out each call that it has not inlined; the empty statement forbids it.
inline void fetchLine(const void* at) {
   __builtin_prefetch(at);
   asm volatile("");
}

/// Compares the first bytes in memory, one at least, of two runs of whole words. Keys are a few words; a call
/// of memcmp would cost more than it does.
inline bool sameBytes(const Word* a, const Word* b, unsigned bytes) {
   const unsigned last = (bytes - 1) / 8;
   for (unsigned i = 0; i < last; ++i)
      if (a[i] != b[i])
         return false;
   const unsigned spareBits = 64 * (last + 1) - 8 * bytes;
   const Word differences = a[last] ^ b[last];
   return (std::endian::native == std::endian::little ? differences << spareBits
                                                      : differences >> spareBits) == 0;
}

} // namespace Pooltab
