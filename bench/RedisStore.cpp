#include "bench/RedisServer.h"
#include "bench/Store.h"

#include <cstring>
#include <optional>

/// A key a row, the name of its table in the first byte; the commands of a chunk of 1000 routes are sent
/// before the first reply is read.

namespace Bench {

namespace {

template <std::size_t bytes>
std::string named(char table, const Blob<bytes>& key) {
   return table + std::string(view(key));
}

class RedisStore : public PeerStore {
  public:
   explicit RedisStore(const StoreParameters& parameters)
       : PeerStore(parameters), server_(parameters.directory), client_(std::in_place, server_.socketPath()) {}

   void publish() override {
      for (const PackedRoute& row : rows_)
         insert(row);
      client_->finish();
   }
   void rewrite() override {
      for (std::size_t i = 0; i < rows_.size(); ++i) {
         insert(rows_[i]);
         client_->append({"DEL", named('s', old_[i].viaSetKey())});
         client_->append({"DEL", named('v', old_[i].viaKey())});
      }
      client_->finish();
   }
   void remove() override {
      for (const PackedRoute& row : rows_) {
         client_->append({"DEL", named('r', row.routeKey())});
         client_->append({"DEL", named('s', row.viaSetKey())});
         client_->append({"DEL", named('v', row.viaKey())});
      }
      client_->finish();
   }

   bool isShared() const override { return true; }
   void attach() override { client_.emplace(server_.socketPath()); }
   clockid_t clock() const override { return CLOCK_MONOTONIC; }
   U64 readsMax() const override { return 100'000; }

   U64 lookup(std::span<const U32> labels) override {
      U64 found = 0;
      for (std::size_t at = 0; at < labels.size(); at += Chunk::routes) {
         for (const U32 label : labels.subspan(at, std::min(Chunk::routes, labels.size() - at)))
            client_->append({"GET", named('r', keyOf(label))});
         client_->finish([&](const redisReply& reply) { found += reply.len == routeBytes; });
      }
      return found;
   }
   U64 chase(std::span<const U32> labels) override {
      U64 found = 0;
      std::vector<ViaSetKeyBlob> viaSetKeys;
      std::vector<ViaKeyBlob> viaKeys;
      for (std::size_t at = 0; at < labels.size(); at += Chunk::routes) {
         viaSetKeys.clear();
         viaKeys.clear();
         for (const U32 label : labels.subspan(at, std::min(Chunk::routes, labels.size() - at)))
            client_->append({"GET", named('r', keyOf(label))});
         client_->finish(
             [&](const redisReply& reply) { collect<routeBytes, viaSetKeyAt>(reply, viaSetKeys); });
         for (const ViaSetKeyBlob& key : viaSetKeys)
            client_->append({"GET", named('s', key)});
         client_->finish(
             [&](const redisReply& reply) { collect<viaSetBytes, firstViaKeyAt>(reply, viaKeys); });
         for (const ViaKeyBlob& key : viaKeys)
            client_->append({"GET", named('v', key)});
         client_->finish([&](const redisReply& reply) { found += reply.len == viaBytes; });
      }
      return found;
   }
   U64 walk() override { return 0; }

  private:
   void insert(const PackedRoute& row) {
      client_->append({"SET", named('v', row.viaKey()), view(row.via)});
      client_->append({"SET", named('s', row.viaSetKey()), view(row.viaSet)});
      client_->append({"SET", named('r', row.routeKey()), view(row.route)});
   }
   /// Adds the key that stands in a row.
   template <std::size_t rowBytes, std::size_t at, class Key>
   static void collect(const redisReply& reply, std::vector<Key>& keys) {
      if (reply.len != rowBytes)
         return;
      std::memcpy(keys.emplace_back().data(), reply.str + at, sizeof(Key));
   }

   RedisServer server_;
   std::optional<RedisClient> client_;
};

} // namespace

std::unique_ptr<Store> makeRedisStore(const StoreParameters& parameters) {
   return std::make_unique<RedisStore>(parameters);
}

} // namespace Bench
