#include "bench/Measure.h"
#include "bench/Rows.h"
#include "bench/Works.h"

#include "Hubdb/Incoming.h"
#include "Hubdb/Outgoing.h"
#include "Mpls/Mpls.h"

/// A reader that is told the whole state of its routes again, as after a lost connection, and has all of
/// them.

namespace Bench {

namespace {

/// Routes point nowhere.
class NoReferences final : public Hubdb::References {
  public:
   void goes(const Vok::Entity&) override {}
   std::string_view pathOf(const Vok::Entity&) const override { return {}; }
   Vok::Ptr<Vok::Entity> rootAt(std::string_view) const override { return nullptr; }
};

class ChangeCounter final : public Mpls::RouteConfigInput::Notifiee {
  public:
   using Notifiee::Notifiee;
   void vokOnChange(Vok::AttrId, const void*) override { ++changes; }
   U64 changes = 0;
};

} // namespace

void runReconcile(const Options&, U64 size, Report& report) {
   NoReferences references;
   Hubdb::Plans ownerPlans, readerPlans;
   const auto owned = Mpls::routeConfigInputFactory("routes");
   for (const U32 label : shuffled(size)) {
      const auto route =
          owned->routeIs(Mpls::RouteKeyAndMetric::fromLabel(Kinet::MplsLabel(label), Mpls::RouteMetric(100)));
      route->viaIs(Mpls::Via(Kinet::IpGenAddr::fromIpv4(0x0a000001), Kinet::MplsLabelAction::swap,
                             Kinet::MplsLabel(label), false),
                   true);
   }
   Hubdb::Outgoing outgoing(owned, ownerPlans, references, [] {});
   Hubdb::RecordWriter state;
   outgoing.snapshotStart();
   outgoing.snapshot(state, ~std::size_t{0});

   const auto read = Mpls::routeConfigInputFactory("routes");
   Hubdb::Incoming incoming(read, readerPlans, references);
   const auto snapshot = [&] {
      return timed([&] {
                incoming.snapshotBegin();
                incoming.apply(state.bytes());
                incoming.snapshotEnd();
             }) *
             1e-9;
   };
   report.add("hubdb-take", size, ours, snapshot());
   const ChangeCounter counter(read);
   report.add("hubdb-reconcile", size, ours, snapshot());
   if (read->routes() != size || counter.changes > 0)
      throw std::runtime_error("a state told again changed what was there");
}

} // namespace Bench
