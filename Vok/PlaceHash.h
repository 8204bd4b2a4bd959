#pragma once
// Where a hash map looks for a key.

#include "Vok/HashOf.h"

namespace Vok {

/// Numbers, enumerators and bounded numbers.
template <class K>
inline constexpr bool isNumberKey = std::is_integral_v<K> || std::is_enum_v<K> || requires(const K& key) {
   K::lowest;
   { key.value() } -> std::integral;
};

/// One multiplication spreads numbers well enough; everything else is placed by its own hash.
template <class K>
U32 placeHash(const K& key) {
   if constexpr (isNumberKey<K>) {
      U64 number;
      if constexpr (requires { key.value(); })
         number = static_cast<U64>(key.value());
      else
         number = static_cast<U64>(key);
      return static_cast<U32>((number * 0x9e3779b97f4a7c15ull) >> 32);
   } else {
      return hashOf(key);
   }
}

} // namespace Vok
