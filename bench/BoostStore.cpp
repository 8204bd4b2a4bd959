#include "bench/BlobHash.h"
#include "bench/Measure.h"
#include "bench/Store.h"

#include <boost/interprocess/allocators/allocator.hpp>
#include <boost/interprocess/managed_mapped_file.hpp>
#include <boost/interprocess/sync/interprocess_sharable_mutex.hpp>
#include <boost/interprocess/sync/scoped_lock.hpp>
#include <boost/interprocess/sync/sharable_lock.hpp>
#include <boost/unordered_map.hpp>

/// Three hash maps in one segment of shared memory, under one sharable mutex: writers take it once a route,
/// readers once a lookup.

namespace Bench {

namespace {

namespace ipc = boost::interprocess;
using Segment = ipc::managed_mapped_file;
using Mutex = ipc::interprocess_sharable_mutex;

template <class Key, class Row>
using SharedMap = boost::unordered_map<Key, Row, BlobHash<Key>, std::equal_to<Key>,
                                       ipc::allocator<std::pair<const Key, Row>, Segment::segment_manager>>;

class BoostStore : public PeerStore {
  public:
   explicit BoostStore(const StoreParameters& parameters)
       : PeerStore(parameters), path_(parameters.directory + "/segment"),
         segment_(ipc::create_only, path_.c_str(), (16 << 20) + parameters.routes * 1024) {
      find();
   }

   void publish() override {
      for (const PackedRoute& row : rows_) {
         ipc::scoped_lock<Mutex> lock(*mutex_);
         insert(row);
      }
   }
   void rewrite() override {
      for (std::size_t i = 0; i < rows_.size(); ++i) {
         ipc::scoped_lock<Mutex> lock(*mutex_);
         insert(rows_[i]);
         viaSets_->erase(old_[i].viaSetKey());
         vias_->erase(old_[i].viaKey());
      }
   }
   void remove() override {
      for (const PackedRoute& row : rows_) {
         ipc::scoped_lock<Mutex> lock(*mutex_);
         routes_->erase(row.routeKey());
         viaSets_->erase(row.viaSetKey());
         vias_->erase(row.viaKey());
      }
   }

   bool isShared() const override { return true; }
   void attach() override {
      segment_ = Segment(ipc::open_only, path_.c_str());
      find();
   }
   U64 lookup(std::span<const U32> labels) override {
      U64 found = 0;
      for (const U32 label : labels) {
         const RouteKeyBlob key = keyOf(label);
         ipc::sharable_lock<Mutex> lock(*mutex_);
         found += copied(*routes_, key);
      }
      return found;
   }
   U64 chase(std::span<const U32> labels) override {
      U64 found = 0;
      for (const U32 label : labels) {
         const RouteKeyBlob key = keyOf(label);
         ipc::sharable_lock<Mutex> lock(*mutex_);
         const auto route = routes_->find(key);
         if (route == routes_->end())
            continue;
         const auto viaSet = viaSets_->find(blobAt<ViaSetKeyBlob>(route->second, viaSetKeyAt));
         if (viaSet != viaSets_->end())
            found += copied(*vias_, blobAt<ViaKeyBlob>(viaSet->second, firstViaKeyAt));
      }
      return found;
   }
   U64 walk() override {
      ipc::sharable_lock<Mutex> lock(*mutex_);
      return walkMap(*routes_) + walkMap(*viaSets_) + walkMap(*vias_);
   }

  private:
   template <class Map>
   Map* findMap(const char* name) {
      return segment_.find_or_construct<Map>(name)(
          16, typename Map::hasher(), typename Map::key_equal(),
          typename Map::allocator_type(segment_.get_segment_manager()));
   }
   void find() {
      mutex_ = segment_.find_or_construct<Mutex>("mutex")();
      routes_ = findMap<SharedMap<RouteKeyBlob, RouteBlob>>("routes");
      viaSets_ = findMap<SharedMap<ViaSetKeyBlob, ViaSetBlob>>("viaSets");
      vias_ = findMap<SharedMap<ViaKeyBlob, ViaBlob>>("vias");
   }
   void insert(const PackedRoute& row) {
      vias_->insert_or_assign(row.viaKey(), row.via);
      viaSets_->insert_or_assign(row.viaSetKey(), row.viaSet);
      routes_->insert_or_assign(row.routeKey(), row.route);
   }
   template <class Map, class Key>
   static bool copied(const Map& map, const Key& key) {
      const auto at = map.find(key);
      if (at == map.end())
         return false;
      const auto row = at->second;
      keep(row);
      return true;
   }
   template <class Map>
   static U64 walkMap(const Map& map) {
      for (const auto& entry : map) {
         const auto row = entry.second;
         keep(row);
      }
      return map.size();
   }

   std::string path_;
   Segment segment_;
   Mutex* mutex_;
   SharedMap<RouteKeyBlob, RouteBlob>* routes_;
   SharedMap<ViaSetKeyBlob, ViaSetBlob>* viaSets_;
   SharedMap<ViaKeyBlob, ViaBlob>* vias_;
};

} // namespace

std::unique_ptr<Store> makeBoostStore(const StoreParameters& parameters) {
   return std::make_unique<BoostStore>(parameters);
}

} // namespace Bench
