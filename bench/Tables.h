#pragma once

#include "bench/Measure.h"
#include "bench/Rows.h"

#include "Pooltab/VokPooltab.h"

/// The LFIB in shared memory of this run's own, for works that are not about filling it.

namespace Bench {

class Tables {
  public:
   explicit Tables(U64 routes)
       : where_{.pool = "lfib", .root = scratch_.path()}, lfib_(Mpls::lfibStatusFactory("lfib")),
         mount_(lfib_, where_), writer_(Mpls::lfibWriterFactory(lfib_)) {
      for (U64 number = 0; number < routes; ++number)
         writer_->lfibRouteIs(routeOf(number, 0));
      mount_.flush();
   }

   const VokPooltab::MountInfo& where() const { return where_; }
   Mpls::LfibStatus& lfib() { return *lfib_; }
   Mpls::LfibWriter& writer() { return *writer_; }
   void flush() { mount_.flush(); }
   /// The row of a route as it stands, to be written again with another metric: one change of one row.
   Mpls::LfibRoute routeWithMetric(U64 number, U64 metric) {
      Mpls::LfibRoute route = lfib_->lfibRoute(routeKeyOf(number));
      route.metricIs(Mpls::RouteMetric(static_cast<U8>(1 + metric % 255)));
      return route;
   }

  private:
   ScratchDirectory scratch_;
   VokPooltab::MountInfo where_;
   Vok::Ptr<Mpls::LfibStatus> lfib_;
   VokPooltab::WriterMount mount_;
   Vok::Ptr<Mpls::LfibWriter> writer_;
};

/// The same in the eyes of another process.
class TablesView {
  public:
   explicit TablesView(const VokPooltab::MountInfo& where)
       : lfib_(Mpls::lfibStatusFactory("lfib")), mount_(lfib_, where) {}

   const Vok::Ptr<Mpls::LfibStatus>& lfib() const { return lfib_; }
   VokPooltab::ReaderMount& mount() { return mount_; }
   const Pooltab::TableReader<Mpls::LfibRoute>& routes() { return *lfib_->lfibRouteTable().tableReader(); }

  private:
   Vok::Ptr<Mpls::LfibStatus> lfib_;
   VokPooltab::ReaderMount mount_;
};

} // namespace Bench
