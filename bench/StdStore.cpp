#include "bench/BlobHash.h"
#include "bench/HeapStore.h"

#include <unordered_map>

namespace Bench {

namespace {

template <class Key, class Row>
using StdMap = std::unordered_map<Key, Row, BlobHash<Key>>;

} // namespace

std::unique_ptr<Store> makeStdStore(const StoreParameters& parameters) {
   return std::make_unique<HeapStore<StdMap>>(parameters);
}

} // namespace Bench
