#include "bench/SharedPage.h"
#include "bench/Tables.h"
#include "bench/Works.h"

#include <span>

namespace Bench {

namespace {

struct Stage {
   std::atomic<int> reached = 0; ///< 1: the quiet half is over, 2: the busy one too
};

double lookups(TablesView& view, std::span<const U32> labels) {
   Mpls::LfibRoute route;
   U64 found = 0;
   const double spent = timed([&] {
      for (const U32 label : labels)
         found += view.routes().find(routeKeyOf(label), route);
   });
   if (found != labels.size())
      throw std::runtime_error("a reader beside a writer missed routes that were there");
   return spent / static_cast<double>(labels.size());
}

} // namespace

void runBusy(const Options&, U64 size, Report& report) {
   Tables tables(size);
   SharedPage<Stage> stage;
   const std::vector<U32> labels = shuffled(size);
   const U64 passes = 1 + 1'000'000 / size;
   Child child([&] {
      TablesView view(tables.where());
      lookups(view, labels);
      std::vector<double> quiet, busy;
      for (U64 pass = 0; pass < passes; ++pass)
         quiet.push_back(lookups(view, labels));
      stage->reached = 1;
      for (U64 pass = 0; pass < passes; ++pass)
         busy.push_back(lookups(view, labels));
      stage->reached = 2;
      return std::vector<double>{median(quiet), median(busy)};
   });
   await([&] { return stage->reached >= 1; });
   for (U64 write = 0; stage->reached < 2; ++write)
      tables.lfib().lfibRouteIs(tables.routeWithMetric(labels[write % size], write / size));
   const std::vector<double> rates = child.result();
   report.add("lookup-busy", size, "quiet", rates[0]);
   report.add("lookup-busy", size, ours, rates[1]);
}

} // namespace Bench
