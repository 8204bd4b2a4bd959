#include "bench/SharedPage.h"
#include "bench/Stream.h"
#include "bench/Tables.h"
#include "bench/Works.h"

#include "Mpls/LfibTrackingSm.h"

/// A tracking machine in a reading process: its start over tables that are there, a changed via below k of
/// the routes, and the changes of a writer at full speed until they have left the backlogs.

namespace Bench {

namespace {

constexpr U64 rewrites = 200'000;
constexpr U64 changesOfRewrite = 5; ///< via, via set and route come; the old via set and via go
constexpr U64 aheadMax = 32'768;    ///< changes; half of what the log remembers
constexpr U64 viaChanges = 100'000; ///< divided by the routes that each touches
constexpr U32 usersOfVia[] = {1, 10, 100, 1000};

/// A tracking machine in route and via-set mode, and what stands in for the consumer of its backlogs.
class Tracker {
  public:
   explicit Tracker(const Vok::Ptr<Mpls::LfibStatus>& lfib)
       : sm_(Mpls::lfibTrackingSmFactory(lfib, status_, Mpls::LfibTrackingMode::vokUniversal(), "bench")) {}

   Mpls::LfibTrackingSm& sm() { return *sm_; }
   U64 routes() const { return status_->routeKeyBacklogs(); }
   void drain() {
      for (const Mpls::RouteKey& key : status_->routeKeyBacklogEach())
         status_->routeKeyBacklogDel(key);
      for (const Mpls::LfibViaSetKey& key : status_->viaSetKeyBacklogEach())
         status_->viaSetKeyBacklogDel(key);
   }

  private:
   Vok::Ptr<Mpls::LfibTrackingStatus> status_ = Mpls::lfibTrackingStatusFactory("bench");
   Vok::Ptr<Mpls::LfibTrackingSm> sm_;
};

void expect(U64 number, U64 wanted, const char* what) {
   if (number != wanted)
      throw std::runtime_error(std::to_string(number) + " " + what + ", and not " + std::to_string(wanted));
}

std::vector<double> start(const VokPooltab::MountInfo& where, U64 size) {
   TablesView view(where);
   std::optional<Tracker> tracker;
   const double spent = timed([&] { tracker.emplace(view.lfib()); });
   expect(tracker->routes(), size, "routes in the backlog");
   return {spent * 1e-9};
}

struct Progress {
   std::atomic<bool> ready = false;
   std::atomic<U64> drained = 0; ///< changes
};

std::vector<double> follow(const VokPooltab::MountInfo& where, Progress& progress) {
   TablesView view(where);
   view.mount().deliver(~std::size_t{0});
   Tracker tracker(view.lfib());
   tracker.drain();
   progress.ready = true;
   for (U64 drained = 0; drained < rewrites * changesOfRewrite; progress.drained = drained) {
      drained += view.mount().deliver(4096);
      tracker.drain();
   }
   return {nowNs()};
}

double steady(Tables& tables, U64 size) {
   const std::vector<U32> labels = shuffled(size);
   SharedPage<Progress> progress;
   Child reader([&] { return follow(tables.where(), *progress.get()); });
   await([&] { return progress->ready.load(); });
   const double start = nowNs();
   for (U64 number = 0; number < rewrites; ++number) {
      tables.writer().lfibRouteIs(routeOf(labels[number % size], 1 + number / size));
      if (number % streamBurst == streamBurst - 1) {
         tables.flush();
         await([&] { return number * changesOfRewrite < progress->drained + aheadMax; });
      }
   }
   tables.flush();
   return (reader.result().front() - start) / static_cast<double>(rewrites * changesOfRewrite);
}

Mpls::LfibViaKey viaUsedBy(U32 users) {
   return {Mpls::LFib::Source::lfibSourceStaticMpls, Mpls::viaTypeMplsPseudowire_, users};
}

/// Lets routes use a pseudowire via of their own: the first one, the next ten, and so on.
void shareVias(Tables& tables) {
   U64 number = 0;
   for (const U32 users : usersOfVia) {
      Mpls::LfibPwVia via;
      via.keyIs(viaUsedBy(users));
      tables.lfib().pwViaIs(via);
      Mpls::LfibViaSet viaSet;
      viaSet.keyIs({via.key().source(), users, via.key().viaType(), Mpls::LfibViaSetType::unicast});
      viaSet.viaKeyIs(Mpls::LfibViaIndexRange(0), via.key());
      tables.lfib().viaSetIs(viaSet);
      for (U32 user = 0; user < users; ++user) {
         Mpls::LfibRoute route = tables.lfib().lfibRoute(routeKeyOf(number++));
         route.viaSetKeyIs(viaSet.key());
         tables.lfib().lfibRouteIs(route);
      }
   }
}

/// Nanoseconds a touched route, for each number of users.
std::vector<double> changeVias(const VokPooltab::MountInfo& where) {
   TablesView view(where);
   Tracker tracker(view.lfib());
   tracker.drain();
   std::vector<double> costs;
   for (const U32 users : usersOfVia) {
      tracker.sm().handleVia(viaUsedBy(users));
      expect(tracker.routes(), users, "routes touched by a via");
      const U64 rounds = viaChanges / users;
      costs.push_back(timed([&] {
                         for (U64 round = 0; round < rounds; ++round) {
                            tracker.sm().handleVia(viaUsedBy(users));
                            tracker.drain();
                         }
                      }) /
                      static_cast<double>(rounds * users));
   }
   return costs;
}

} // namespace

void runTracking(const Options&, U64 size, Report& report) {
   Tables tables(size);
   report.add("track-start", size, ours, Child([&] { return start(tables.where(), size); }).result().front());
   report.add("track-steady", size, ours, steady(tables, size));
   if (size < 10'000)
      return; // too few routes for four vias with users of their own
   shareVias(tables);
   const std::vector<double> costs = Child([&] { return changeVias(tables.where()); }).result();
   for (std::size_t i = 0; i < costs.size(); ++i)
      report.add("track-via-" + std::to_string(usersOfVia[i]), size, ours, costs[i]);
}

} // namespace Bench
