#include "bench/Peers.h"
#include "bench/SharedPage.h"
#include "bench/Stream.h"
#include "bench/Tables.h"
#include "bench/Works.h"

#include "Vok/Observer.h"

#include <poll.h>

namespace Bench {

namespace {

struct Progress {
   std::atomic<bool> ready = false;
   std::atomic<U64> rows = 0; ///< that the reader has
};

/// Reads each route that the log tells of.
class RouteFollower final : public Vok::Observer<RouteFollower, Mpls::LfibStatus> {
  public:
   explicit RouteFollower(TablesView& view) : Observer(view.lfib()), view_(view) {}
   void onLfibRoute(const Mpls::RouteKey& key) override {
      rows += view_.routes().find(key, route_);
      keep(route_);
   }
   void onLfibRouteCollection() override { isLost = true; }
   U64 rows = 0;
   bool isLost = false;

  private:
   TablesView& view_;
   Mpls::LfibRoute route_;
};

std::vector<double> follow(const VokPooltab::MountInfo& where, Progress& progress) {
   TablesView view(where);
   view.mount().descriptor(); // listening begins, before the first change is waited for
   view.mount().deliver(~std::size_t{0});
   RouteFollower follower(view);
   for (progress.ready = true; follower.rows < streamChanges; progress.rows = follower.rows) {
      if (view.mount().deliver(256) > 0)
         continue;
      pollfd waiting{view.mount().descriptor(), POLLIN, 0};
      poll(&waiting, 1, -1);
      view.mount().drain();
      if (follower.isLost)
         throw std::runtime_error("the reader of the change stream was overtaken");
   }
   return {nowNs()};
}

} // namespace

double ourStream(const std::vector<U32>& labels) {
   constexpr U64 batch = 250;
   constexpr U64 unreadMax = 8192; // well within the log, so that no change is lost
   Tables tables(labels.size());
   std::vector<Mpls::LfibRoute> routes;
   for (const U32 label : labels)
      routes.push_back(tables.routeWithMetric(label, 1));
   SharedPage<Progress> progress;
   Child reader([&] { return follow(tables.where(), *progress.get()); });
   await([&] { return progress->ready.load(); });

   const double start = nowNs();
   for (U64 change = 0; change < streamChanges;) {
      const U64 first = change % routes.size();
      const U64 count = std::min({batch, routes.size() - first, streamChanges - change});
      const auto rows = std::span(routes).subspan(first, count);
      for (Mpls::LfibRoute& route : rows)
         route.metricIs(Mpls::RouteMetric(static_cast<U8>(1 + (route.metric().value() + 1) % 255)));
      tables.lfib().lfibRouteTable().is(rows);
      change += rows.size();
      if (change % streamBurst < batch) {
         tables.flush();
         await([&] { return change <= progress->rows + unreadMax; });
      }
   }
   tables.flush();
   return (reader.result().front() - start) / static_cast<double>(streamChanges);
}

void runStream(const Options& options, U64 size, Report& report) {
   std::vector<U32> labels = shuffled(size);
   const auto peer = [&](const char* name, const char* who, auto stream) {
      if (!options.hasPeer(name))
         return;
      try {
         report.add("stream", size, who, stream(labels));
      } catch (const std::exception& failure) {
         report.skip(who, failure.what());
      }
   };
   report.add("stream", size, ours, ourStream(labels));
#if BENCH_WITH_ABSL
   peer("absl", "observer", observerStream);
#endif
#if BENCH_WITH_LMDB
   peer("lmdb", "lmdb+socket", lmdbStream);
#endif
#if BENCH_WITH_REDIS
   peer("redis", "redis", redisStream);
#endif
}

} // namespace Bench
