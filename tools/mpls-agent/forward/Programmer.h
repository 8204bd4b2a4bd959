#pragma once

#include "tools/mpls-agent/forward/ForwardingTable.h"

#include "Mpls/LfibTrackingSm.h"

#include <memory>
#include <unordered_set>

namespace agent {

/// Keeps a forwarding table equal to the LFIB: drains the backlogs of a tracking machine of its own, and
/// reads the rows as they stand when it does so. Another machine may take routes off the route backlog as
/// they come.
class Programmer {
  public:
   /// Starts with everything that the tables hold, which settle() then programs. Both outlive it.
   Programmer(const Vok::Ptr<const Mpls::LfibStatus>& lfib, ForwardingTable& table);
   ~Programmer();
   Programmer(const Programmer&) = delete;

   const Vok::Ptr<Mpls::LfibTrackingStatus>& trackingStatus() const { return tracked_; }

   /// Programs what has changed since the last call, each via set and each route once.
   void settle();

  private:
   class Changes;
   class ViaWatch;

   void settleViaSet(const Mpls::LfibViaSetKey& key);
   void settleRoute(const Mpls::RouteKey& key);
   void readAdjacency(const Mpls::LfibViaSetKey& key);

   const Vok::Ptr<const Mpls::LfibStatus> lfib_;
   ForwardingTable& table_;
   const Vok::Ptr<Mpls::LfibTrackingStatus> tracked_;
   const Vok::Ptr<Mpls::LfibTrackingSm> tracking_;
   std::unordered_set<Mpls::RouteKey, tools::HashOfKey> changedRoutes_;
   std::unique_ptr<Changes> changes_;
   std::unique_ptr<ViaWatch> viaWatch_;
   ForwardingTable::Adjacency adjacency_; ///< scratch
};

} // namespace agent
