#pragma once

#include "bench/Rows.h"

#include <algorithm>
#include <lmdb.h>
#include <stdexcept>
#include <string>

/// LMDB as it is fastest for this use: on shared memory, written through its map, never synchronised.

namespace Bench {

/// Packed keys are small-endian; with the bytes of their number the other way round, neighbours in number are
/// neighbours in the tree.
template <class Key, std::size_t bytes>
Blob<bytes> treeKey(Blob<bytes> key) {
   const auto number = key.begin() + Vok::nearOffset<Key>();
   std::reverse(number, number + sizeof(U32));
   return key;
}

class LmdbBase {
  public:
   enum Table { routes, viaSets, vias, tables };

   LmdbBase(const std::string& directory, U64 mapBytes) : path_(directory + "/lmdb"), mapBytes_(mapBytes) {
      open();
   }
   ~LmdbBase() {
      if (environment_)
         mdb_env_close(environment_);
   }
   LmdbBase(const LmdbBase&) = delete;

   /// In another process: leaves the parent's environment alone and opens one of its own.
   void reopen() { open(); }

   MDB_txn* begin(unsigned flags) {
      MDB_txn* transaction;
      check(mdb_txn_begin(environment_, nullptr, flags, &transaction));
      return transaction;
   }
   void commit(MDB_txn* transaction) { check(mdb_txn_commit(transaction)); }

   template <std::size_t keyBytes, std::size_t rowBytes>
   void put(MDB_txn* transaction, Table table, Blob<keyBytes> key, const Blob<rowBytes>& row) {
      MDB_val k{keyBytes, key.data()};
      MDB_val v{rowBytes, const_cast<U8*>(row.data())};
      check(mdb_put(transaction, table_[table], &k, &v, 0));
   }
   template <std::size_t keyBytes>
   void del(MDB_txn* transaction, Table table, Blob<keyBytes> key) {
      MDB_val k{keyBytes, key.data()};
      check(mdb_del(transaction, table_[table], &k, nullptr));
   }
   template <std::size_t rowBytes, std::size_t keyBytes>
   bool get(MDB_txn* transaction, Table table, Blob<keyBytes> key, Blob<rowBytes>& row) {
      MDB_val k{keyBytes, key.data()}, v;
      if (mdb_get(transaction, table_[table], &k, &v) != 0 || v.mv_size != rowBytes)
         return false;
      std::copy_n(static_cast<const U8*>(v.mv_data), rowBytes, row.data());
      return true;
   }
   MDB_dbi handle(Table table) const { return table_[table]; }

   static void check(int error) {
      if (error != 0)
         throw std::runtime_error(std::string("lmdb: ") + mdb_strerror(error));
   }

  private:
   void open() {
      check(mdb_env_create(&environment_));
      check(mdb_env_set_mapsize(environment_, mapBytes_));
      check(mdb_env_set_maxdbs(environment_, tables));
      check(mdb_env_open(environment_, path_.c_str(),
                         MDB_NOSUBDIR | MDB_NOSYNC | MDB_NOMETASYNC | MDB_WRITEMAP, 0600));
      MDB_txn* transaction = begin(0);
      static constexpr const char* names[] = {"routes", "viaSets", "vias"};
      for (int table = 0; table < tables; ++table)
         check(mdb_dbi_open(transaction, names[table], MDB_CREATE, &table_[table]));
      commit(transaction);
   }

   std::string path_;
   U64 mapBytes_;
   MDB_env* environment_ = nullptr;
   MDB_dbi table_[tables];
};

} // namespace Bench
