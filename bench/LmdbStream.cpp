#include "bench/LmdbBase.h"
#include "bench/Stream.h"

#include <sys/socket.h>
#include <unistd.h>

/// A transaction a burst; then the keys of the burst go over a socket in one write, and the reader gets their
/// rows in one read transaction.

namespace Bench {

namespace {

RouteKeyBlob keyIn(const RouteBlob& row) {
   return treeKey<Mpls::RouteKey>(blobAt<RouteKeyBlob>(row));
}

void sendAll(int socket, const void* bytes, std::size_t count) {
   for (auto* at = static_cast<const char*>(bytes); count > 0;) {
      const ssize_t sent = write(socket, at, count);
      if (sent <= 0)
         throw std::runtime_error("the reader of the change stream is gone");
      at += sent;
      count -= static_cast<std::size_t>(sent);
   }
}

std::vector<double> follow(LmdbBase& base, int socket) {
   base.reopen();
   std::vector<RouteKeyBlob> keys(streamBurst);
   RouteBlob row;
   for (U64 seen = 0; seen < streamChanges;) {
      const ssize_t got = recv(socket, keys.data(), keys.size() * sizeof keys[0], MSG_WAITALL);
      if (got <= 0)
         throw std::runtime_error("the writer of the change stream is gone");
      MDB_txn* transaction = base.begin(MDB_RDONLY);
      for (std::size_t i = 0; i < static_cast<std::size_t>(got) / sizeof keys[0]; ++i) {
         seen += base.get(transaction, LmdbBase::routes, keys[i], row);
         keep(row);
      }
      mdb_txn_abort(transaction);
   }
   return {nowNs()};
}

} // namespace

double lmdbStream(const std::vector<U32>& labels) {
   const ScratchDirectory scratch;
   LmdbBase base(scratch.path(), (64 << 20) + labels.size() * 1024);
   StreamRows rows(labels);
   MDB_txn* filling = base.begin(0);
   for (const RouteBlob& row : rows.all())
      base.put(filling, LmdbBase::routes, keyIn(row), row);
   base.commit(filling);

   int ends[2];
   if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0)
      throw std::runtime_error("no socket can be made");
   Child reader([&] { return follow(base, ends[1]); });
   close(ends[1]);
   std::vector<RouteKeyBlob> keys;
   const double start = nowNs();
   for (U64 change = 0; change < streamChanges;) {
      keys.clear();
      MDB_txn* transaction = base.begin(0);
      for (U64 i = 0; i < streamBurst; ++i, ++change) {
         const RouteBlob& row = rows[change];
         keys.push_back(keyIn(row));
         base.put(transaction, LmdbBase::routes, keys.back(), row);
      }
      base.commit(transaction);
      sendAll(ends[0], keys.data(), keys.size() * sizeof keys[0]);
   }
   const double end = reader.result().front();
   close(ends[0]);
   return (end - start) / static_cast<double>(streamChanges);
}

} // namespace Bench
