#pragma once
// hashOf( v ): the 32-bit hash of any value of the model; HashOf is the function object for maps.

#include "Vok/Hash.h"
#include "Vok/Name.h"

#include <bit>
#include <concepts>

namespace Vok {

template <class T>
concept HasHash = requires(const T& value) {
   { value.hash() } -> std::convertible_to<U32>;
};

template <class T>
void hashMix(Hash& hash, const T& value);

/// The hash of a text: 0 when it is empty.
inline U32 hashOf(std::string_view text) {
   if (text.empty())
      return 0;
   Hash hash;
   hash.mix(text.data(), text.size());
   return hash.result();
}

inline U32 hashOf(const String& text) {
   return hashOf(std::string_view(text));
}

inline U32 hashOf(const Name& name) {
   return hashOf(std::string_view(name.text()));
}

/// The hash of a number, an enumerator, or a value with a member hash().
/// Raises UnhashableError for a value declared unhashable.
template <class T>
U32 hashOf(const T& value) {
   if constexpr (HasHash<T>) {
      return value.hash();
   } else {
      Hash hash;
      hashMix(hash, value);
      return hash.result();
   }
}

/// Mixes a value into a running hash: numbers and flags by their bytes, enumerators as 32-bit
/// numbers, texts and values by their own hash.
template <class T>
void hashMix(Hash& hash, const T& value) {
   if constexpr (std::is_enum_v<T>)
      hash.mix(static_cast<U32>(value));
   else if constexpr (std::is_same_v<T, bool>)
      hash.mix(value);
   else if constexpr (std::is_floating_point_v<T>)
      hash.mix(std::bit_cast<U64>(value));
   else if constexpr (std::is_integral_v<T>)
      hash.mix(static_cast<std::make_unsigned_t<T>>(value));
   else
      hash.mix(hashOf(value));
}

struct HashOf {
   template <class T>
   U32 operator()(const T& value) const {
      return hashOf(value);
   }
};

} // namespace Vok
