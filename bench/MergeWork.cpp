#include "bench/Measure.h"
#include "bench/Rows.h"
#include "bench/Works.h"

#include "Hubdb/EntityManager.h"
#include "Mpls/MplsRouteConfigMergeSm.h"

/// Four sources of configuration become one, in one process with no database between.

namespace Bench {

namespace {

constexpr std::size_t sourceCount = 4;

Mpls::RouteKeyAndMetric keyOf(U32 label) {
   return Mpls::RouteKeyAndMetric::fromLabel(Kinet::MplsLabel(label), Mpls::RouteMetric(100));
}

/// Sources, the first of which is the command line's, and the machine once it is started.
class Merge {
  public:
   Merge() {
      for (std::size_t i = 1; i < sourceCount; ++i) {
         const std::string name = "source" + std::to_string(i);
         sources_[i] = manager_->own<Mpls::RouteConfigInput>("routing/mpls/route/input/dynamic/" + name);
         folder_->entityPtrNameIs(name);
      }
   }
   /// Until every source is merged.
   void start() {
      sm_ = Mpls::routeConfigMergeSmFactory(merged_, folder_, sources_[0], manager_);
      while (!merged_->ready())
         activity_.turn(0);
   }
   Mpls::RouteConfigInput& source(std::size_t number) { return *sources_[number % sourceCount]; }
   void expect(U64 routes) const {
      if (merged_->routes() != routes)
         throw std::runtime_error("the merged configuration is not what its sources say");
   }

  private:
   Vok::Activity activity_;
   Vok::Ptr<Hubdb::EntityManager> manager_ =
       Vok::make<Hubdb::EntityManager>(activity_, Hubdb::Catalogue({Mpls::mplsEntityTypes()}));
   Vok::Ptr<Vok::Dir> folder_ = Vok::make<Vok::Dir>("dynamic");
   Vok::Ptr<Mpls::RouteConfigInput> sources_[sourceCount] = {Mpls::routeConfigInputFactory("cli")};
   Vok::Ptr<Mpls::RouteConfig> merged_ = Mpls::routeConfigFactory("merged");
   Vok::Ptr<Mpls::RouteConfigMergeSm> sm_;
};

/// What one source change costs when the sources change label by label, each calling change( source, label ).
template <class Change>
double perChange(const std::vector<U32>& labels, U64 changesOfLabel, Change&& change) {
   const double spent = timed([&] {
      for (std::size_t i = 0; i < labels.size(); ++i)
         change(i, labels[i]);
   });
   return spent / static_cast<double>(labels.size() * changesOfLabel);
}

double started(const std::vector<U32>& labels) {
   Merge merge;
   for (std::size_t i = 0; i < labels.size(); ++i)
      merge.source(i).routeIs(keyOf(labels[i]));
   const double spent = timed([&] { merge.start(); });
   merge.expect(labels.size());
   return spent / static_cast<double>(labels.size());
}

} // namespace

void runMerge(const Options&, U64 size, Report& report) {
   const std::vector<U32> labels = shuffled(size);
   report.add("merge-start", size, ours, started(labels));
   Merge merge;
   merge.start();
   report.add("merge-give", size, ours,
              perChange(labels, 1, [&](std::size_t i, U32 label) { merge.source(i).routeIs(keyOf(label)); }));
   merge.expect(size);
   report.add("merge-conflict", size, ours, perChange(labels, 2, [&](std::size_t i, U32 label) {
                 const Mpls::RouteKeyAndMetric key = keyOf(label);
                 merge.source(i + 1).routeIs(key);
                 merge.source(i + 1).routeDel(key);
              }));
   merge.expect(size);
   report.add("merge-withdraw", size, ours, perChange(labels, 1, [&](std::size_t i, U32 label) {
                 merge.source(i).routeDel(keyOf(label));
              }));
   merge.expect(0);
}

} // namespace Bench
