#include "bench/Gauges.h"
#include "bench/Measure.h"
#include "bench/Peers.h"
#include "bench/Rows.h"
#include "bench/Works.h"

#include "Vok/Observer.h"

#include <memory>
#include <unordered_map>
#if BENCH_WITH_ABSL
#include <absl/container/flat_hash_map.h>
#endif

/// Setting an entity's map attribute, with observers that count, beside insert_or_assign with none. The keys
/// are there already; every set changes the value.

namespace Bench {

namespace {

/// Keys as an entity's map and as a peer has them, and how to set the entity's.
struct ByNumber {
   static constexpr const char* suffix = "";
   using Key = U32;
   using PeerKey = U32;
   template <class K>
   static K keyOf(U32 number) {
      return number;
   }
   static void set(Gauge& gauge, Key key, U64 value) { gauge.readingIs(key, value); }
};
struct ByLabel {
   static constexpr const char* suffix = "-label";
   using Key = Kinet::MplsLabel;
   using PeerKey = U32;
   template <class K>
   static K keyOf(U32 number) {
      return K(number);
   }
   static void set(Gauge& gauge, Key key, U64 value) { gauge.byLabelIs(key, value); }
};
struct ByName {
   static constexpr const char* suffix = "-name";
   using Key = Vok::Name;
   using PeerKey = std::string;
   template <class K>
   static K keyOf(U32 number) {
      return K("Ethernet" + std::to_string(number));
   }
   static void set(Gauge& gauge, const Key& key, U64 value) { gauge.byNameIs(key, value); }
};

class ChangeCounter final : public Vok::Observer<ChangeCounter, Gauge> {
  public:
   using Observer::Observer;
   void onReading(U32) override { ++told; }
   void onByLabel(Kinet::MplsLabel) override { ++told; }
   void onByName(const Vok::Name&) override { ++told; }
   U64 told = 0;
};

/// Nanoseconds a set, over keys in random order. The first round adds them in the order of their numbers, so
/// that neighbours in memory are not set one after the other later on.
template <class Keys, class Key, class Set>
double perSet(const std::vector<U32>& numbers, Set&& set) {
   std::vector<Key> keys;
   for (const U32 number : numbers)
      keys.push_back(Keys::template keyOf<Key>(number));
   for (U32 number = 0; number < numbers.size(); ++number)
      set(Keys::template keyOf<Key>(number), 0);
   U64 value = 0;
   const double spent = timed([&] {
      for (const auto& key : keys)
         set(key, ++value);
   });
   return spent / static_cast<double>(keys.size());
}

template <class Keys>
double entity(const std::vector<U32>& numbers, int observers) {
   const Vok::Ptr<Gauge> gauge = gaugeFactory("gauge");
   std::vector<std::unique_ptr<ChangeCounter>> counters;
   for (int i = 0; i < observers; ++i)
      counters.push_back(std::make_unique<ChangeCounter>(gauge));
   const double cost = perSet<Keys, typename Keys::Key>(
       numbers, [&](const auto& key, U64 value) { Keys::set(*gauge, key, value); });
   for (const auto& counter : counters)
      if (counter->told != 2 * numbers.size())
         throw std::runtime_error("an observer of the entity missed changes");
   return cost;
}

template <class Keys, class Map>
double map(const std::vector<U32>& numbers) {
   Map map;
   const double cost = perSet<Keys, typename Map::key_type>(
       numbers, [&](const auto& key, U64 value) { map.insert_or_assign(key, value); });
   keep(map.size());
   return cost;
}

template <class Keys>
void runKeys(const Options& options, U64 size, const std::vector<U32>& numbers, Report& report) {
   using Key = typename Keys::PeerKey;
   for (const int observers : {1, 4}) {
      const std::string work = "entity-" + std::to_string(observers) + Keys::suffix;
      report.add(work, size, ours, entity<Keys>(numbers, observers));
      if (options.hasPeer("std"))
         report.add(work, size, "std", map<Keys, std::unordered_map<Key, U64>>(numbers));
#if BENCH_WITH_ABSL
      if (options.hasPeer("absl"))
         report.add(work, size, "absl", map<Keys, absl::flat_hash_map<Key, U64>>(numbers));
#endif
   }
}

} // namespace

void runEntity(const Options& options, U64 size, Report& report) {
   const std::vector<U32> numbers = shuffled(size);
   runKeys<ByNumber>(options, size, numbers, report);
   runKeys<ByLabel>(options, size, numbers, report);
   runKeys<ByName>(options, size, numbers, report);
}

} // namespace Bench
