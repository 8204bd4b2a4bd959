#include "bench/SharedPage.h"
#include "bench/Store.h"
#include "bench/Tables.h"
#include "bench/Works.h"

#include "Vok/Observer.h"

#include <poll.h>

/// What attached readers cost the writer, in its own processor time: the same changes with nobody there, and
/// with 1, 4 and 16 processes that follow every change.

namespace Bench {

namespace {

constexpr U64 changes = 200'000;

struct Audience {
   std::atomic<int> ready = 0;
   std::atomic<bool> over = false;
};

class KeyCounter final : public Vok::Observer<KeyCounter, Mpls::LfibStatus> {
  public:
   using Observer::Observer;
   void onLfibRoute(const Mpls::RouteKey&) override { ++keys; }
   U64 keys = 0;
};

std::vector<double> follow(const VokPooltab::MountInfo& where, Audience& audience) {
   TablesView view(where);
   KeyCounter counter(view.lfib());
   ++audience.ready;
   while (!audience.over) {
      pollfd waiting{view.mount().descriptor(), POLLIN, 0};
      if (poll(&waiting, 1, 20) > 0)
         view.mount().drain();
      view.mount().deliver(~std::size_t{0});
   }
   return {static_cast<double>(counter.keys)};
}

double writerCost(Tables& tables, U64 size, U64 metric) {
   const double start = cpuNs();
   for (U64 number = 0; number < changes; ++number) {
      tables.lfib().lfibRouteIs(tables.routeWithMetric(number % size, metric + number / size));
      if (number % Chunk::routes == Chunk::routes - 1)
         tables.flush();
   }
   return (cpuNs() - start) / static_cast<double>(changes);
}

} // namespace

void runReaders(const Options&, U64 size, Report& report) {
   Tables tables(size);
   writerCost(tables, size, 1);
   for (const int readers : {0, 1, 4, 16}) {
      SharedPage<Audience> audience;
      std::vector<Child> children;
      for (int i = 0; i < readers; ++i)
         children.emplace_back([&] { return follow(tables.where(), *audience.get()); });
      await([&] { return audience->ready == readers; });
      const double cost = writerCost(tables, size, static_cast<U64>(readers));
      audience->over = true;
      for (Child& child : children)
         child.result();
      report.add("log-cost", size,
                 readers == 0    ? "no-readers"
                 : readers == 16 ? ours
                                 : "readers-" + std::to_string(readers),
                 cost);
   }
}

} // namespace Bench
