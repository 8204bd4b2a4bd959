#include "bench/HeapStore.h"

#include <absl/container/flat_hash_map.h>

namespace Bench {

namespace {

/// With the library's own hash of the packed key.
template <class Key, class Row>
using AbslMap = absl::flat_hash_map<Key, Row>;

} // namespace

std::unique_ptr<Store> makeAbslStore(const StoreParameters& parameters) {
   return std::make_unique<HeapStore<AbslMap>>(parameters);
}

} // namespace Bench
