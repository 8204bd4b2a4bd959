#pragma once

#include <string_view>

namespace Bench {

/// The standard library's hash over the bytes of a packed key.
template <class Key>
struct BlobHash {
   std::size_t operator()(const Key& key) const {
      return std::hash<std::string_view>()({reinterpret_cast<const char*>(key.data()), key.size()});
   }
};

} // namespace Bench
