#pragma once

#include "tools/common/HashOfKey.h"
#include "tools/common/ViaRow.h"

#include <map>
#include <unordered_map>
#include <vector>

namespace agent {

/// A forwarding table of limited room: label stack to vias. Routes share adjacencies, each made from one via
/// set. Of the routes whose adjacency is whole, the first `capacity` in the order of their keys are
/// programmed, whoever came first: the table is a function of what it was told last, so that one that was
/// made anew is equal to one that saw everything. A change costs what it touches.
class ForwardingTable {
  public:
   using ReturnCode = Mpls::LfibHwProgrammingReturnCode;

   struct Adjacency {
      std::vector<tools::ViaRow> vias; ///< in the order of their slots, as far as they are there
      bool isWhole = false;            ///< the via set and all its vias are there
   };
   struct Route {
      Mpls::LfibViaSetKey viaSetKey;
      Mpls::RouteMetric metric;
      /// programmed; routeNotProgrammed for want of room; adjacencyNotProgrammed when that is not whole
      ReturnCode code = ReturnCode::adjacencyNotProgrammed;
   };

   /// Told after each change. The adjacency of a route is told before it comes and after it went.
   class Observer {
     public:
      virtual ~Observer() = default;
      /// Null when it is gone.
      virtual void onRoute(const Mpls::RouteKey& key, const Route* route) = 0;
      virtual void onAdjacency(const Mpls::LfibViaSetKey& key, const Adjacency* adjacency) = 0;
   };

   /// The observer outlives the table.
   ForwardingTable(std::size_t capacity, Observer& observer) : capacity_(capacity), observer_(observer) {}
   ForwardingTable(const ForwardingTable&) = delete;

   std::size_t capacity() const { return capacity_; }
   void capacityIs(std::size_t capacity);

   /// Sets what an adjacency consists of. One that is new is kept once a route uses it; when the last of its
   /// routes goes it goes too. Routes that use it stay as they are until routeIs() settles them.
   void adjacencyIs(const Mpls::LfibViaSetKey& key, const Adjacency& adjacency);
   /// Null when there is none.
   const Adjacency* adjacency(const Mpls::LfibViaSetKey& key) const;

   /// Adds, changes or settles a route. Its adjacency is there.
   void routeIs(const Mpls::RouteKey& key, const Mpls::LfibViaSetKey& viaSetKey, Mpls::RouteMetric metric);
   void routeDel(const Mpls::RouteKey& key);
   /// Null when there is none.
   const Route* route(const Mpls::RouteKey& key) const;

   /// Where packets with that label stack go; null when the route is not programmed.
   const Adjacency* forward(const Mpls::RouteKey& key) const;

   std::size_t programmedRoutes() const { return programmed_; }
   std::size_t waitingRoutes() const { return whole_.size() - programmed_; }
   /// Routes whose adjacency is not whole.
   std::size_t brokenRoutes() const { return broken_.size(); }

  private:
   struct Shared : Adjacency {
      std::size_t routes = 0;
   };
   using Routes = std::map<Mpls::RouteKey, Route>;

   Routes::node_type take(const Mpls::RouteKey& key);
   void enter(Routes::node_type node);
   void release(const Mpls::LfibViaSetKey& key);
   void fillRoom();

   std::size_t capacity_;
   Observer& observer_;
   std::unordered_map<Mpls::LfibViaSetKey, Shared, tools::HashOfKey> adjacencies_;
   Routes broken_;
   Routes whole_;
   Routes::iterator waiting_ = whole_.end(); ///< the first of those in whole_ that found no room
   std::size_t programmed_ = 0;              ///< those before it
};

} // namespace agent
