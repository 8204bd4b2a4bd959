#include "bench/SharedPage.h"
#include "bench/Tables.h"
#include "bench/Works.h"

#include <functional>
#include <poll.h>
#include <unistd.h>

/// One change to a sleeping reader: from before the writer's mutator to the reader having the row. Beside it
/// the bare wake-up: the same doorbell rung and heard, with nothing written and nothing read.

namespace Bench {

namespace {

constexpr int changes = 1000;

struct Watch {
   std::atomic<int> heard = -1; ///< the last change that the reader has seen
   std::atomic<double> sent = 0;
};

void sleepOn(int descriptor) {
   pollfd waiting{descriptor, POLLIN, 0};
   poll(&waiting, 1, -1);
}

/// Notes how long each change took to arrive.
struct Arrivals {
   Watch* watch;
   std::vector<double> microseconds;
   void arrived() {
      const double now = nowNs();
      if (const int heard = watch->heard; heard >= 0)
         microseconds.push_back((now - watch->sent) / 1000);
      watch->heard = watch->heard + 1;
   }
   bool isComplete() const { return microseconds.size() == changes; }
};

/// Reads the route that changed.
class RouteWatcher : public Mpls::LfibStatus::Notifiee {
  public:
   RouteWatcher(TablesView& view, Arrivals& arrivals)
       : Notifiee(view.lfib()), view_(view), arrivals_(arrivals) {}
   void onLfibRoute(const Mpls::RouteKey& key) override {
      keep(view_.routes().find(key, route_));
      arrivals_.arrived();
   }

  private:
   TablesView& view_;
   Arrivals& arrivals_;
   Mpls::LfibRoute route_;
};

std::vector<double> readTables(const VokPooltab::MountInfo& where, Watch& watch) {
   TablesView view(where);
   Arrivals arrivals{&watch, {}};
   RouteWatcher watcher(view, arrivals);
   view.mount().deliver(~std::size_t{0});
   for (watch.heard = 0; !arrivals.isComplete();) {
      sleepOn(view.mount().descriptor());
      view.mount().drain();
      view.mount().deliver(~std::size_t{0});
   }
   return arrivals.microseconds;
}

std::vector<double> hearBell(Pooltab::Folder& folder, Watch& watch) {
   const auto listener = folder.listen();
   Arrivals arrivals{&watch, {}};
   for (watch.heard = 0; !arrivals.isComplete();) {
      sleepOn(listener->descriptor());
      listener->drain();
      arrivals.arrived();
   }
   return arrivals.microseconds;
}

/// Makes one change after another, each when the reader has had time to fall asleep again. What prepare()
/// gives for a number, change() is handed on the clock.
template <class Prepare, class Change>
void pace(Watch& watch, Prepare&& prepare, Change&& change) {
   constexpr useconds_t asleep = 400;
   for (int number = 0; number < changes; ++number) {
      while (watch.heard < number)
         usleep(50);
      usleep(asleep);
      const auto prepared = prepare(number);
      watch.sent = nowNs();
      change(prepared);
   }
}

void add(Report& report, U64 size, const char* who, const std::vector<double>& microseconds) {
   report.add("wake-median", size, who, median(microseconds));
   report.add("wake-p99", size, who, quantile(microseconds, 0.99));
}

} // namespace

void runWake(const Options&, U64 size, Report& report) {
   {
      Tables tables(size);
      SharedPage<Watch> watch;
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
   SharedPage<Watch> watch;
   Child reader([&] { return hearBell(*folder, *watch.get()); });
   pace(*watch.get(), std::identity(), [&](int) { folder->ring(); });
   add(report, size, "bare", reader.result());
}

} // namespace Bench
