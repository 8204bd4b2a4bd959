#pragma once

#include <cstddef>

namespace tools {

/// For the standard's containers by keys of the model.
struct HashOfKey {
   std::size_t operator()(const auto& key) const { return key.hash(); }
};

} // namespace tools
