#pragma once
// Bolk::NumberSet: a set of numbers below a limit that finds its lowest number at once.

#include "Vok/Types.h"

#include <vector>

namespace Bolk {

/// A bit a number, and above every 64 words a word that says which of them are not empty, up to a single
/// word: four levels for a million numbers. Each call touches a word a level at most.
class NumberSet {
  public:
   NumberSet() = default;
   /// Holds every number below `limit` when `full`, or none.
   NumberSet(Vok::U32 limit, bool full);

   bool empty() const { return levels_.empty() || levels_.back()[0] == 0; }
   /// Any number may be asked for.
   bool has(Vok::U32 number) const {
      return !levels_.empty() && number / 64 < levels_[0].size() &&
             (levels_[0][number / 64] >> number % 64 & 1);
   }
   /// Of a set that is not empty.
   Vok::U32 lowest() const;
   /// The number must be below the limit.
   void add(Vok::U32 number);
   void remove(Vok::U32 number);

  private:
   std::vector<std::vector<Vok::U64>> levels_; // the numbers themselves first
};

} // namespace Bolk
