#include "Bolk/NumberSet.h"

#include <bit>

namespace Bolk {

NumberSet::NumberSet(Vok::U32 limit, bool full) {
   for (Vok::U64 bits = limit; bits != 0;) {
      const Vok::U64 words = (bits + 63) / 64;
      levels_.emplace_back(words, full ? ~Vok::U64(0) : 0);
      if (full && bits % 64 != 0)
         levels_.back().back() >>= 64 - bits % 64;
      bits = words == 1 ? 0 : words;
   }
}

Vok::U32 NumberSet::lowest() const {
   Vok::U64 at = 0;
   for (auto level = levels_.rbegin(); level != levels_.rend(); ++level)
      at = at * 64 + static_cast<Vok::U64>(std::countr_zero((*level)[at]));
   return static_cast<Vok::U32>(at);
}

void NumberSet::add(Vok::U32 number) {
   for (auto& level : levels_) {
      level[number / 64] |= Vok::U64(1) << number % 64;
      number /= 64;
   }
}

void NumberSet::remove(Vok::U32 number) {
   for (auto& level : levels_) {
      if ((level[number / 64] &= ~(Vok::U64(1) << number % 64)) != 0)
         return;
      number /= 64;
   }
}

} // namespace Bolk
