#include "bench/RedisServer.h"
#include "bench/SharedPage.h"
#include "bench/Stream.h"

/// SET and PUBLISH of the row, the commands of a burst in one go; the reader subscribes to the channel.

namespace Bench {

namespace {

std::vector<double> follow(const std::string& socketPath, std::atomic<bool>& ready) {
   RedisClient client(socketPath);
   client.append({"SUBSCRIBE", "routes"});
   client.finish();
   ready = true;
   for (U64 seen = 0; seen < streamChanges; ++seen)
      freeReplyObject(client.next());
   return {nowNs()};
}

} // namespace

double redisStream(const std::vector<U32>& labels) {
   const ScratchDirectory scratch;
   const RedisServer server(scratch.path());
   RedisClient client(server.socketPath());
   SharedPage<std::atomic<bool>> ready;
   Child reader([&] { return follow(server.socketPath(), *ready.get()); });
   await([&] { return ready.get()->load(); });

   StreamRows rows(labels);
   const double start = nowNs();
   for (U64 change = 0; change < streamChanges;) {
      for (U64 i = 0; i < streamBurst; ++i, ++change) {
         const RouteBlob& row = rows[change];
         client.append({"SET", view(blobAt<RouteKeyBlob>(row)), view(row)});
         client.append({"PUBLISH", "routes", view(row)});
      }
      client.finish();
   }
   return (reader.result().front() - start) / static_cast<double>(streamChanges);
}

} // namespace Bench
