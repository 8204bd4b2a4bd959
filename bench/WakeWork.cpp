#include "bench/Arrivals.h"
#include "bench/Tables.h"
#include "bench/Works.h"

#include "Vok/Observer.h"

#include <functional>
#include <poll.h>

/// One change to a sleeping reader: from before the writer's mutator to the reader having the row. Beside it
/// the bare wake-up: the same doorbell rung and heard, with nothing written and nothing read.

namespace Bench {

namespace {

void sleepOn(int descriptor) {
   pollfd waiting{descriptor, POLLIN, 0};
   poll(&waiting, 1, -1);
}

/// Reads the route that changed.
class RouteWatcher final : public Vok::Observer<RouteWatcher, Mpls::LfibStatus> {
  public:
   RouteWatcher(TablesView& view, Arrivals& arrivals)
       : Observer(view.lfib()), view_(view), arrivals_(arrivals) {}
   void onLfibRoute(const Mpls::RouteKey& key) override {
      keep(view_.routes().find(key, route_));
      arrivals_.arrived();
   }

  private:
   TablesView& view_;
   Arrivals& arrivals_;
   Mpls::LfibRoute route_;
};

std::vector<double> readTables(const VokPooltab::MountInfo& where, WakeWatch& watch) {
   TablesView view(where);
   Arrivals arrivals(watch);
   RouteWatcher watcher(view, arrivals);
   view.mount().descriptor(); // listening begins, before the first change is waited for
   view.mount().deliver(~std::size_t{0});
   for (arrivals.start(); !arrivals.isComplete();) {
      sleepOn(view.mount().descriptor());
      view.mount().drain();
      view.mount().deliver(~std::size_t{0});
   }
   return arrivals.microseconds;
}

std::vector<double> hearBell(Pooltab::Folder& folder, WakeWatch& watch) {
   const auto listener = folder.listen();
   Arrivals arrivals(watch);
   for (arrivals.start(); !arrivals.isComplete();) {
      sleepOn(listener->descriptor());
      listener->drain();
      arrivals.arrived();
   }
   return arrivals.microseconds;
}

void add(Report& report, U64 size, const char* who, const std::vector<double>& microseconds) {
   report.add("wake-median", size, who, median(microseconds));
   report.add("wake-p99", size, who, quantile(microseconds, 0.99));
}

} // namespace

void runWake(const Options&, U64 size, Report& report) {
   {
      Tables tables(size);
      SharedPage<WakeWatch> watch;
      Child reader([&] { return readTables(tables.where(), *watch.get()); });
      pace(
          *watch.get(),
          [&](int number) { return tables.routeWithMetric(static_cast<U64>(number) % size, 7 + number); },
          [&](const Mpls::LfibRoute& route) {
             tables.lfib().lfibRouteIs(route);
             tables.flush();
          });
      add(report, size, ours, reader.result());
   }
   const ScratchDirectory scratch;
   const auto folder = Pooltab::sharedFolder("bell", scratch.path());
   const auto lock = folder->lock();
   SharedPage<WakeWatch> watch;
   Child reader([&] { return hearBell(*folder, *watch.get()); });
   pace(*watch.get(), std::identity(), [&](int) { folder->ring(); });
   add(report, size, "bare", reader.result());
}

} // namespace Bench
