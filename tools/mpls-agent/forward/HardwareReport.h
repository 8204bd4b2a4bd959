#pragma once

#include "tools/mpls-agent/forward/ForwardingTable.h"

#include "Mpls/MplsHardware.h"

namespace agent {

/// Says of a forwarding table what hardware says of itself: every route and adjacency as entities, and the
/// routes that are not programmed, with the reason, as rows. Next hops are reported as the LFIB gives them:
/// nothing resolves them to a neighbour, so that no address of layer 2 is known.
class HardwareReport final : public ForwardingTable::Observer {
  public:
   /// What an earlier process reported may stand in both, until forget() is called.
   HardwareReport(const Vok::Ptr<Mpls::Hardware::Status>& status, const Vok::Ptr<Mpls::LfibHwStatus>& rows)
       : status_(status), rows_(rows) {}

   void onRoute(const Mpls::RouteKey& key, const ForwardingTable::Route* route) override;
   void onAdjacency(const Mpls::LfibViaSetKey& key, const ForwardingTable::Adjacency* adjacency) override;

   /// Removes what is in none of the table's routes and adjacencies.
   void forgetAllBut(const ForwardingTable& table);

  private:
   const Vok::Ptr<Mpls::Hardware::Status> status_;
   const Vok::Ptr<Mpls::LfibHwStatus> rows_;
};

/// Tells what such a table can do.
void capabilityIs(Mpls::Hardware::Capability& capability);

} // namespace agent
