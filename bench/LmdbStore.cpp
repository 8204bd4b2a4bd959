#include "bench/LmdbBase.h"
#include "bench/Measure.h"
#include "bench/Store.h"

/// Three named databases; a chunk of 1000 routes is a transaction, a lookup renews a read transaction, a
/// batch uses one for its whole length.

namespace Bench {

namespace {

auto routeKey(const RouteKeyBlob& key) {
   return treeKey<Mpls::RouteKey>(key);
}
auto viaSetKey(const ViaSetKeyBlob& key) {
   return treeKey<Mpls::LfibViaSetKey>(key);
}
auto viaKey(const ViaKeyBlob& key) {
   return treeKey<Mpls::LfibViaKey>(key);
}

class LmdbStore : public PeerStore {
  public:
   explicit LmdbStore(const StoreParameters& parameters)
       : PeerStore(parameters), base_(parameters.directory, (64 << 20) + parameters.routes * 2048) {}

   void publish() override {
      MDB_txn* transaction = base_.begin(0);
      for (const PackedRoute& row : rows_)
         insert(transaction, row);
      base_.commit(transaction);
   }
   void rewrite() override {
      MDB_txn* transaction = base_.begin(0);
      for (std::size_t i = 0; i < rows_.size(); ++i) {
         insert(transaction, rows_[i]);
         base_.del(transaction, LmdbBase::viaSets, viaSetKey(old_[i].viaSetKey()));
         base_.del(transaction, LmdbBase::vias, viaKey(old_[i].viaKey()));
      }
      base_.commit(transaction);
   }
   void remove() override {
      MDB_txn* transaction = base_.begin(0);
      for (const PackedRoute& row : rows_) {
         base_.del(transaction, LmdbBase::routes, routeKey(row.routeKey()));
         base_.del(transaction, LmdbBase::viaSets, viaSetKey(row.viaSetKey()));
         base_.del(transaction, LmdbBase::vias, viaKey(row.viaKey()));
      }
      base_.commit(transaction);
   }

   bool isShared() const override { return true; }
   void attach() override { base_.reopen(); }
   U64 lookup(std::span<const U32> labels) override {
      U64 found = 0;
      RouteBlob row;
      MDB_txn* transaction = base_.begin(MDB_RDONLY);
      for (const U32 label : labels) {
         mdb_txn_reset(transaction);
         LmdbBase::check(mdb_txn_renew(transaction));
         found += base_.get(transaction, LmdbBase::routes, routeKey(keyOf(label)), row);
         keep(row);
      }
      mdb_txn_abort(transaction);
      return found;
   }
   U64 chase(std::span<const U32> labels) override {
      U64 found = 0;
      RouteBlob route;
      ViaSetBlob viaSet;
      ViaBlob via;
      MDB_txn* transaction = base_.begin(MDB_RDONLY);
      for (const U32 label : labels) {
         found +=
             base_.get(transaction, LmdbBase::routes, routeKey(keyOf(label)), route) &&
             base_.get(transaction, LmdbBase::viaSets, viaSetKey(blobAt<ViaSetKeyBlob>(route, viaSetKeyAt)),
                       viaSet) &&
             base_.get(transaction, LmdbBase::vias, viaKey(blobAt<ViaKeyBlob>(viaSet, firstViaKeyAt)), via);
         keep(via);
      }
      mdb_txn_abort(transaction);
      return found;
   }
   U64 walk() override {
      MDB_txn* transaction = base_.begin(MDB_RDONLY);
      const U64 rows = walkTable<RouteBlob>(transaction, LmdbBase::routes) +
                       walkTable<ViaSetBlob>(transaction, LmdbBase::viaSets) +
                       walkTable<ViaBlob>(transaction, LmdbBase::vias);
      mdb_txn_abort(transaction);
      return rows;
   }

  private:
   void insert(MDB_txn* transaction, const PackedRoute& row) {
      base_.put(transaction, LmdbBase::vias, viaKey(row.viaKey()), row.via);
      base_.put(transaction, LmdbBase::viaSets, viaSetKey(row.viaSetKey()), row.viaSet);
      base_.put(transaction, LmdbBase::routes, routeKey(row.routeKey()), row.route);
   }
   template <class Row>
   U64 walkTable(MDB_txn* transaction, LmdbBase::Table table) {
      MDB_cursor* cursor;
      LmdbBase::check(mdb_cursor_open(transaction, base_.handle(table), &cursor));
      U64 rows = 0;
      Row row;
      for (MDB_val k, v; mdb_cursor_get(cursor, &k, &v, MDB_NEXT) == 0; ++rows) {
         std::copy_n(static_cast<const U8*>(v.mv_data), sizeof row, row.data());
         keep(row);
      }
      mdb_cursor_close(cursor);
      return rows;
   }

   LmdbBase base_;
};

} // namespace

std::unique_ptr<Store> makeLmdbStore(const StoreParameters& parameters) {
   return std::make_unique<LmdbStore>(parameters);
}

} // namespace Bench
