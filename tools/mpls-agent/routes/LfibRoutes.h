#pragma once

#include "tools/common/Lfib.h"
#include "tools/config/Merge.h"
#include "tools/config/RouteProducer.h"

#include <unordered_set>

namespace agent {

/// Keeps the routes of two sources in the LFIB, static routes and VRF labels, equal to the merged
/// configuration. What changed in a turn of the activity is written at its end, each label stack once,
/// however large the tables are. Rows of other sources are never touched: a label that one of them holds is
/// left to it, with a line in the trace at level 1.
class LfibRoutes {
  public:
   /// Takes over what stands in the tables: routes that are wished for are left alone, or replaced in one
   /// step when they differ; those that are not wished for any more go last. Everything outlives it.
   LfibRoutes(Vok::Activity& activity, const tools::config::Merge& merge, tools::Lfib& lfib);
   ~LfibRoutes();
   LfibRoutes(const LfibRoutes&) = delete;

  private:
   class RouteWatch;
   class RoutesWatch;
   class VrfLabelsWatch;
   /// The merged routes of one label stack, lowest metric first. Their vias change without a word from the
   /// merged configuration, so that each is watched.
   using Routes = std::vector<std::unique_ptr<RouteWatch>>;

   void watch(const Mpls::RouteKeyAndMetric& key);
   void converge();
   void changed(const Mpls::RouteKey& key) { changed_.insert(key); }
   void turnEnd();
   void settle(const Mpls::RouteKey& key);
   void write(const Mpls::RouteKey& key, const Mpls::LfibRoute& row);

   const tools::config::Merge& merge_;
   tools::Lfib& lfib_;
   const Vok::Ptr<Mpls::LfibWriter> writer_;
   std::unordered_map<Mpls::RouteKey, Routes, tools::HashOfKey> routes_;
   std::unordered_set<Mpls::RouteKey, tools::HashOfKey> changed_;
   tools::config::LfibWish wish_; ///< scratch
   std::unique_ptr<RoutesWatch> routesWatch_;
   std::unique_ptr<VrfLabelsWatch> vrfLabelsWatch_;
   Vok::Activity::Handle turnEnd_;
};

} // namespace agent
