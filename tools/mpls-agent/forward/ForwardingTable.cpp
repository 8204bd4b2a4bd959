#include "tools/mpls-agent/forward/ForwardingTable.h"

#include "Vok/Assert.h"

namespace agent {

using Mpls::LfibViaSetKey;
using Mpls::RouteKey;

void ForwardingTable::capacityIs(std::size_t capacity) {
   capacity_ = capacity;
   fillRoom();
}

void ForwardingTable::adjacencyIs(const LfibViaSetKey& key, const Adjacency& adjacency) {
   Shared& shared = adjacencies_[key];
   static_cast<Adjacency&>(shared) = adjacency;
   observer_.onAdjacency(key, &shared);
}

const ForwardingTable::Adjacency* ForwardingTable::adjacency(const LfibViaSetKey& key) const {
   const auto found = adjacencies_.find(key);
   return found == adjacencies_.end() ? nullptr : &found->second;
}

void ForwardingTable::release(const LfibViaSetKey& key) {
   const auto found = adjacencies_.find(key);
   if (--found->second.routes > 0)
      return;
   adjacencies_.erase(found);
   observer_.onAdjacency(key, nullptr);
}

/// Takes a route out, and leaves its room empty.
ForwardingTable::Routes::node_type ForwardingTable::take(const RouteKey& key) {
   const auto at = whole_.find(key);
   if (at == whole_.end())
      return broken_.extract(key);
   if (at->second.code == ReturnCode::programmed)
      --programmed_;
   if (at == waiting_)
      ++waiting_;
   return whole_.extract(at);
}

/// Puts a route where it belongs, and tells of it and of those that change places with it.
void ForwardingTable::enter(Routes::node_type node) {
   const RouteKey key = node.key();
   Route& route = node.mapped();
   if (!adjacencies_.at(route.viaSetKey).isWhole) {
      route.code = ReturnCode::adjacencyNotProgrammed;
      broken_.insert(std::move(node));
   } else if (waiting_ == whole_.end() || key < waiting_->first) {
      route.code = ReturnCode::programmed;
      whole_.insert(std::move(node));
      ++programmed_;
   } else {
      route.code = ReturnCode::routeNotProgrammed;
      whole_.insert(std::move(node));
   }
   fillRoom();
   observer_.onRoute(key, this->route(key));
}

void ForwardingTable::fillRoom() {
   const auto tell = [&](ReturnCode code) {
      waiting_->second.code = code;
      observer_.onRoute(waiting_->first, &waiting_->second);
   };
   while (programmed_ > capacity_) {
      --waiting_;
      --programmed_;
      tell(ReturnCode::routeNotProgrammed);
   }
   for (; programmed_ < capacity_ && waiting_ != whole_.end(); ++waiting_) {
      ++programmed_;
      tell(ReturnCode::programmed);
   }
}

void ForwardingTable::routeIs(const RouteKey& key, const LfibViaSetKey& viaSetKey, Mpls::RouteMetric metric) {
   const auto adjacency = adjacencies_.find(viaSetKey);
   vokAssert(adjacency != adjacencies_.end());
   ++adjacency->second.routes;
   Routes::node_type node = take(key);
   const LfibViaSetKey before = node ? node.mapped().viaSetKey : LfibViaSetKey();
   const bool wasThere = !node.empty();
   if (!wasThere) {
      Routes fresh;
      fresh.emplace(key, Route());
      node = fresh.extract(key);
   }
   node.mapped().viaSetKey = viaSetKey;
   node.mapped().metric = metric;
   enter(std::move(node));
   if (wasThere)
      release(before);
}

void ForwardingTable::routeDel(const RouteKey& key) {
   const Routes::node_type node = take(key);
   if (!node)
      return;
   observer_.onRoute(key, nullptr);
   release(node.mapped().viaSetKey);
   fillRoom();
}

const ForwardingTable::Route* ForwardingTable::route(const RouteKey& key) const {
   for (const Routes* routes : {&whole_, &broken_})
      if (const auto found = routes->find(key); found != routes->end())
         return &found->second;
   return nullptr;
}

const ForwardingTable::Adjacency* ForwardingTable::forward(const RouteKey& key) const {
   const auto found = whole_.find(key);
   return found == whole_.end() || found->second.code != ReturnCode::programmed
              ? nullptr
              : &adjacencies_.at(found->second.viaSetKey);
}

} // namespace agent
