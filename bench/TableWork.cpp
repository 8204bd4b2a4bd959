#include "bench/Measure.h"
#include "bench/Store.h"
#include "bench/Works.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <stdexcept>
#include <sys/mman.h>

namespace Bench {

namespace {

/// Has the machine back the memory that a store is about to take. A virtual machine gives free pages back to
/// its host, and the first touch of such a page costs ten times as much as that of a page it still has; who
/// runs right after somebody who freed much would have an advantage that is none of its own.
void warmMemory(U64 routes) {
   const std::size_t bytes = routes * 1500 + (64u << 20);
   void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
   if (memory == MAP_FAILED)
      return;
   madvise(memory, bytes, MADV_HUGEPAGE);
   std::memset(memory, 1, bytes);
   munmap(memory, bytes);
}

/// Goes through the routes chunk by chunk; only `call` is measured. Returns nanoseconds a route.
template <class Call>
double overRoutes(Store& store, std::span<const U32> labels, U64 generation, Call&& call) {
   double spent = 0;
   for (U64 first = 0; first < labels.size(); first += Chunk::routes) {
      const U64 count = std::min(Chunk::routes, labels.size() - first);
      store.prepare({labels.subspan(first, count), first, generation});
      spent += timed(call, store.clock());
   }
   return spent / static_cast<double>(labels.size());
}

/// Lookup, chase and walk, each after a first pass that is not measured, so that the process has its pages.
std::vector<double> read(Store& store, U64 size) {
   std::vector<U32> labels = shuffled(size);
   std::shuffle(labels.begin(), labels.end(), std::mt19937(7)); // not in the order of writing
   const auto sample = std::span(labels).first(std::min(size, store.readsMax()));
   const auto count = static_cast<double>(sample.size());
   const auto all = [&](U64 found) {
      if (found != sample.size())
         throw std::runtime_error("a reader found " + std::to_string(found) + " of " +
                                  std::to_string(sample.size()) + " routes");
   };
   all(store.lookup(sample));
   const double lookup = timed([&] { all(store.lookup(sample)); }, store.clock()) / count;
   all(store.chase(sample));
   const double chase = timed([&] { all(store.chase(sample)); }, store.clock()) / count;
   if (store.walk() == 0)
      return {lookup, chase};
   const double walk = timed([&] { keep(store.walk()); }) / (3 * static_cast<double>(size));
   return {lookup, chase, walk};
}

std::vector<double> readWhereReadersAre(Store& store, U64 size) {
   if (!store.isShared())
      return read(store, size);
   Child child([&] {
      store.attach();
      return read(store, size);
   });
   return child.result();
}

void runStore(const StoreKind& kind, std::span<const U32> labels, Report& report) {
   const U64 size = labels.size();
   const ScratchDirectory scratch;
   const std::string who = kind.name;
   warmMemory(size);
   const auto store = kind.make({scratch.path(), size});
   const auto add = [&](const char* work, double value) { report.add(work, size, who, value); };

   add("publish", overRoutes(*store, labels, 0, [&] { store->publish(); }));
   const std::vector<double> reads = readWhereReadersAre(*store, size);
   static constexpr const char* names[] = {"lookup", "chase", "walk"};
   for (std::size_t i = 0; i < reads.size(); ++i)
      add(names[i], reads[i]);
   if (store->isShared() && who != "redis")
      add("bytes", allocatedBytes(scratch.path()) / static_cast<double>(size));
   if (const double restart = store->restart(); restart > 0)
      add("restart", restart / 1e6);
   add("rewrite", overRoutes(*store, labels, 1, [&] { store->rewrite(); }));
   add("delete", overRoutes(*store, labels, 1, [&] { store->remove(); }));
}

} // namespace

void runTables(const Options& options, U64 size, Report& report) {
   std::vector<U32> labels = shuffled(size);
   if (options.inLabelOrder)
      std::sort(labels.begin(), labels.end());
   for (const StoreKind& kind : storeKinds()) {
      if (kind.name != std::string(ours) && !options.hasPeer(kind.name))
         continue;
      if (!kind.make) {
         report.skip(kind.name, "its library was not there when this program was built");
         continue;
      }
      try {
         runStore(kind, labels, report);
      } catch (const std::exception& failure) {
         if (kind.name == std::string(ours))
            throw;
         report.skip(kind.name, failure.what());
      }
   }
}

} // namespace Bench
