#pragma once

#include "bench/Measure.h"
#include "bench/Store.h"

/// Three hash maps on the private heap, packed key to packed row: no sharing, no log, no checksums. The limit
/// of what a table can be asked for.

namespace Bench {

template <template <class Key, class Row> class Map>
class HeapStore : public PeerStore {
  public:
   using PeerStore::PeerStore;

   void publish() override {
      for (const PackedRoute& row : rows_)
         insert(row);
   }
   void rewrite() override {
      for (std::size_t i = 0; i < rows_.size(); ++i) {
         insert(rows_[i]);
         viaSets_.erase(old_[i].viaSetKey());
         vias_.erase(old_[i].viaKey());
      }
   }
   void remove() override {
      for (const PackedRoute& row : rows_) {
         routes_.erase(row.routeKey());
         viaSets_.erase(row.viaSetKey());
         vias_.erase(row.viaKey());
      }
   }

   bool isShared() const override { return false; }

   U64 lookup(std::span<const U32> labels) override {
      U64 found = 0;
      for (const U32 label : labels) {
         const auto at = routes_.find(keyOf(label));
         if (at == routes_.end())
            continue;
         const RouteBlob row = at->second;
         keep(row);
         ++found;
      }
      return found;
   }
   U64 chase(std::span<const U32> labels) override {
      U64 found = 0;
      for (const U32 label : labels) {
         const auto route = routes_.find(keyOf(label));
         if (route == routes_.end())
            continue;
         const auto viaSet = viaSets_.find(blobAt<ViaSetKeyBlob>(route->second, viaSetKeyAt));
         if (viaSet == viaSets_.end())
            continue;
         const auto via = vias_.find(blobAt<ViaKeyBlob>(viaSet->second, firstViaKeyAt));
         if (via == vias_.end())
            continue;
         const ViaBlob row = via->second;
         keep(row);
         ++found;
      }
      return found;
   }
   U64 walk() override { return walkMap(routes_) + walkMap(viaSets_) + walkMap(vias_); }

  private:
   void insert(const PackedRoute& row) {
      vias_.insert_or_assign(row.viaKey(), row.via);
      viaSets_.insert_or_assign(row.viaSetKey(), row.viaSet);
      routes_.insert_or_assign(row.routeKey(), row.route);
   }
   template <class M>
   static U64 walkMap(const M& map) {
      U64 rows = 0;
      for (const auto& entry : map) {
         const auto row = entry.second;
         keep(row);
         ++rows;
      }
      return rows;
   }

   Map<RouteKeyBlob, RouteBlob> routes_;
   Map<ViaSetKeyBlob, ViaSetBlob> viaSets_;
   Map<ViaKeyBlob, ViaBlob> vias_;
};

} // namespace Bench
