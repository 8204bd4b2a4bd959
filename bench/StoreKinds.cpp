#include "bench/Peers.h"
#include "bench/Store.h"

namespace Bench {

const std::vector<StoreKind>& storeKinds() {
   static const std::vector<StoreKind> kinds = {
      {"mpls", makeOurStore},
#if BENCH_WITH_ABSL
      {"absl", makeAbslStore},
#else
      {"absl", nullptr},
#endif
      {"std", makeStdStore},
#if BENCH_WITH_BOOST
      {"boost", makeBoostStore},
#else
      {"boost", nullptr},
#endif
#if BENCH_WITH_LMDB
      {"lmdb", makeLmdbStore},
#else
      {"lmdb", nullptr},
#endif
#if BENCH_WITH_REDIS
      {"redis", makeRedisStore},
#else
      {"redis", nullptr},
#endif
   };
   return kinds;
}

} // namespace Bench
