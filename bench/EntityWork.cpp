#include "bench/Gauges.h"
#include "bench/Measure.h"
#include "bench/Peers.h"
#include "bench/Rows.h"
#include "bench/Works.h"

#include <memory>
#include <unordered_map>
#if BENCH_WITH_ABSL
#include <absl/container/flat_hash_map.h>
#endif

/// Setting an entity's map attribute, with observers that count, beside insert_or_assign with none. The keys
/// are there already; every set changes the value.

namespace Bench {

namespace {

class ReadingCounter : public Gauge::Notifiee {
  public:
   using Notifiee::Notifiee;
   void onReading(U32) override { ++told; }
   U64 told = 0;
};

/// Nanoseconds a set, over keys in random order; the keys are there already.
template <class Set>
double perSet(const std::vector<U32>& keys, Set&& set) {
   for (U32 key = 0; key < keys.size();
        ++key) // neighbours in memory are not set one after the other later on
      set(key, key);
   const double spent = timed([&] {
      for (const U32 key : keys)
         set(key, U64{key} + 1);
   });
   return spent / static_cast<double>(keys.size());
}

double entity(const std::vector<U32>& keys, int observers) {
   const Vok::Ptr<Gauge> gauge = gaugeFactory("gauge");
   std::vector<std::unique_ptr<ReadingCounter>> counters;
   for (int i = 0; i < observers; ++i)
      counters.push_back(std::make_unique<ReadingCounter>(gauge));
   const double cost = perSet(keys, [&](U32 key, U64 value) { gauge->readingIs(key, value); });
   for (const auto& counter : counters)
      if (counter->told != 2 * keys.size())
         throw std::runtime_error("an observer of the entity missed changes");
   return cost;
}

template <class Map>
double map(const std::vector<U32>& keys) {
   Map map;
   const double cost = perSet(keys, [&](U32 key, U64 value) { map.insert_or_assign(key, value); });
   keep(map.size());
   return cost;
}

} // namespace

void runEntity(const Options& options, U64 size, Report& report) {
   const std::vector<U32> keys = shuffled(size);
   for (const int observers : {1, 4}) {
      const std::string work = "entity-" + std::to_string(observers);
      report.add(work, size, ours, entity(keys, observers));
      if (options.hasPeer("std"))
         report.add(work, size, "std", map<std::unordered_map<U32, U64>>(keys));
#if BENCH_WITH_ABSL
      if (options.hasPeer("absl"))
         report.add(work, size, "absl", map<absl::flat_hash_map<U32, U64>>(keys));
#endif
   }
}

} // namespace Bench
