#include "bench/Changes.h"
#include "bench/Database.h"
#include "bench/Gauges.h"
#include "bench/Peers.h"
#include "bench/Works.h"

#include "Mpls/Mpls.h"
#include "Vok/Observer.h"

#include <functional>
#include <malloc.h>

/// The central database across processes: changes at full speed and one at a time, and routes as they are
/// configured, sent and mounted.

namespace Bench {

namespace {

constexpr const char* gaugePath = "bench/gauge";
constexpr const char* routesPath = "routing/mpls/route/input/dynamic/bench";

/// Changes that the owner may be ahead of the reader: fewer than there are keys, so that none replaces
/// another one before that has been sent.
constexpr U64 aheadMax = 8192;
constexpr U64 keysMin = 2 * aheadMax;

struct Progress {
   std::atomic<bool> filled = false; ///< the owner has a number under every key
   std::atomic<bool> ready = false;  ///< the reader has them all
   std::atomic<U64> told = 0;
};

class Counter final : public Vok::Observer<Counter, Gauge> {
  public:
   using Observer::Observer;
   void onReading(U32) override { ++told; }
   U64 told = 0;
};

std::vector<double> follow(const std::string& socketPath, U64 keys, Progress& progress) {
   while (!progress.filled)
      usleep(1000);
   DatabaseClient client(socketPath);
   const auto gauge = client.read<Gauge>(gaugePath);
   if (gauge->readings() != keys)
      throw std::runtime_error("the mounted gauge is not whole");
   Counter counter(gauge);
   for (progress.ready = true; counter.told < changesTotal; progress.told = counter.told)
      client.turn(true);
   return {nowNs()};
}

class WakeListener final : public Vok::Observer<WakeListener, Gauge> {
  public:
   WakeListener(const Vok::Ptr<Gauge>& gauge, Arrivals& arrivals) : Observer(gauge), arrivals_(arrivals) {}
   void onReading(U32) override { arrivals_.arrived(); }

  private:
   Arrivals& arrivals_;
};

std::vector<double> listen(const std::string& socketPath, WakeWatch& watch) {
   DatabaseClient client(socketPath);
   Arrivals arrivals(watch);
   const WakeListener listener(client.read<Gauge>(gaugePath), arrivals);
   for (arrivals.start(); !arrivals.isComplete();)
      client.turn(true);
   return arrivals.microseconds;
}

Kinet::IpGenAddr hopOf(U64 number) {
   return Kinet::IpGenAddr::fromIpv4(0x0a000000 + static_cast<U32>(number % 64));
}

struct Residence {
   std::atomic<bool> filled = false;
   std::atomic<bool> over = false;
};

/// Configures the routes and stays. Nanoseconds a route until the server has acknowledged the last one.
std::vector<double> configure(const std::string& socketPath, U64 size, Residence& residence) {
   DatabaseClient client(socketPath);
   const auto input = client.own<Mpls::RouteConfigInput>(routesPath);
   const double start = nowNs();
   for (U64 number = 0; number < size; ++number) {
      const auto label = static_cast<U32>(number);
      const auto route =
          input->routeIs(Mpls::RouteKeyAndMetric::fromLabel(Kinet::MplsLabel(label), Mpls::RouteMetric(100)));
      route->viaIs(Mpls::Via(hopOf(number), Kinet::MplsLabelAction::swap, Kinet::MplsLabel(label), false),
                   true);
      if (number % changesBurst == changesBurst - 1)
         client.turn(false);
   }
   client.settle();
   const double spent = nowNs() - start;
   residence.filled = true;
   while (!residence.over)
      usleep(1000);
   return {spent / static_cast<double>(size)};
}

/// Seconds until all is there, connecting included; bytes a route that the process grows by.
std::vector<double> mountRoutes(const std::string& socketPath, U64 size) {
   malloc_trim(0); // what the process that started us had freed would not count as growth
   const double before = residentBytes(getpid());
   const double start = nowNs();
   DatabaseClient client(socketPath);
   const auto input = client.read<Mpls::RouteConfigInput>(routesPath);
   const double spent = nowNs() - start;
   const double after = residentBytes(getpid());
   if (input->routes() != size)
      throw std::runtime_error("the mounted routes are not whole");
   return {spent * 1e-9, (after - before) / static_cast<double>(size)};
}

void runRoutes(U64 size, Report& report) {
   const ScratchDirectory scratch;
   malloc_trim(0);
   const DatabaseServer server(scratch.path());
   {
      DatabaseClient client(server.socketPath()); // it serves
      client.own<Gauge>(gaugePath);
   }
   const double before = server.residentBytes();
   SharedPage<Residence> residence;
   Child owner([&] { return configure(server.socketPath(), size, *residence.get()); });
   await([&] {
      usleep(1000);
      return residence->filled.load();
   });
   const double bytes = (server.residentBytes() - before) / static_cast<double>(size);
   const std::vector<double> mounted = Child([&] { return mountRoutes(server.socketPath(), size); }).result();
   residence->over = true;
   report.add("hubdb-configure", size, ours, owner.result().front());
   report.add("hubdb-mount", size, ours, mounted.at(0));
   report.add("hubdb-server-bytes", size, ours, bytes);
   report.add("hubdb-reader-bytes", size, ours, mounted.at(1));
}

} // namespace

double ourChanges(const std::vector<U32>& keys) {
   const ScratchDirectory scratch;
   const DatabaseServer server(scratch.path());
   // Started before there is any state: pages shared with a child would be copied while the clock runs.
   SharedPage<Progress> progress;
   Child reader([&] { return follow(server.socketPath(), keys.size(), *progress.get()); });
   DatabaseClient client(server.socketPath());
   const auto gauge = client.own<Gauge>(gaugePath);
   for (const U32 key : keys)
      gauge->readingIs(key, 0);
   client.settle();
   progress->filled = true;
   await([&] { return progress->ready.load(); });

   const double start = nowNs();
   for (U64 change = 0; change < changesTotal;) {
      for (U64 i = 0; i < changesBurst; ++i, ++change)
         gauge->readingIs(keys[change % keys.size()], change + 1);
      for (client.turn(false); change > progress->told + aheadMax; client.turn(false))
         usleep(20); // the server and the reader may need the processor
   }
   client.settle();
   return (reader.result().front() - start) / static_cast<double>(changesTotal);
}

std::vector<double> ourWake() {
   const ScratchDirectory scratch;
   const DatabaseServer server(scratch.path());
   DatabaseClient client(server.socketPath());
   const auto gauge = client.own<Gauge>(gaugePath);
   client.settle();
   SharedPage<WakeWatch> watch;
   Child reader([&] { return listen(server.socketPath(), *watch.get()); });
   pace(*watch.get(), std::identity(), [&](int number) {
      client.inTurn([&] { // as programs do whose changes follow from what they are told
         watch->sent = nowNs();
         gauge->readingIs(1, static_cast<U64>(number) + 1);
      });
      client.settle(); // the peer waits for its answer as well, and so leaves its processor to the others
   });
   return reader.result();
}

void runHubdb(const Options& options, U64 size, Report& report) {
   const std::vector<U32> keys = shuffled(std::max(size, keysMin));
   report.add("hubdb-change", size, ours, ourChanges(keys));
   report.add("hubdb-wake", size, ours, median(ourWake()));
#if BENCH_WITH_REDIS
   if (options.hasPeer("redis")) {
      try {
         report.add("hubdb-change", size, "redis", redisChanges(keys));
         report.add("hubdb-wake", size, "redis", median(redisWake()));
      } catch (const std::exception& failure) {
         report.skip("redis", failure.what());
      }
   }
#else
   (void)options;
#endif
   runRoutes(size, report);
}

} // namespace Bench
