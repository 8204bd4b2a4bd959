#include "bench/Changes.h"
#include "bench/RedisServer.h"

#include <functional>

/// SET and PUBLISH of a key's number; the reader subscribes to the channel and gets key and number in each
/// message.

namespace Bench {

namespace {

/// A key and its number as they travel.
class Message {
  public:
   Message(U32 key, U64 number) {
      store(key, 0, sizeof key);
      store(number, sizeof key, sizeof number);
   }
   std::string_view key() const { return {bytes_, sizeof(U32)}; }
   std::string_view number() const { return {bytes_ + sizeof(U32), sizeof(U64)}; }
   std::string_view whole() const { return {bytes_, sizeof bytes_}; }

  private:
   void store(U64 value, std::size_t at, std::size_t size) {
      for (std::size_t i = 0; i < size; ++i)
         bytes_[at + i] = static_cast<char>(value >> 8 * i);
   }
   char bytes_[sizeof(U32) + sizeof(U64)];
};

void appendChange(RedisClient& client, const Message& message) {
   client.append({"SET", message.key(), message.number()});
   client.append({"PUBLISH", "readings", message.whole()});
}

void subscribe(RedisClient& client) {
   client.append({"SUBSCRIBE", "readings"});
   client.finish();
}

std::vector<double> follow(const std::string& socketPath, std::atomic<bool>& ready) {
   RedisClient client(socketPath);
   subscribe(client);
   ready = true;
   for (U64 seen = 0; seen < changesTotal; ++seen)
      freeReplyObject(client.next());
   return {nowNs()};
}

std::vector<double> listen(const std::string& socketPath, WakeWatch& watch) {
   RedisClient client(socketPath);
   subscribe(client);
   Arrivals arrivals(watch);
   for (arrivals.start(); !arrivals.isComplete();) {
      redisReply* message = client.next();
      arrivals.arrived();
      freeReplyObject(message);
   }
   return arrivals.microseconds;
}

} // namespace

double redisChanges(const std::vector<U32>& keys) {
   const ScratchDirectory scratch;
   const RedisServer server(scratch.path());
   RedisClient client(server.socketPath());
   for (std::size_t i = 0; i < keys.size(); ++i) {
      const Message message(keys[i], 0);
      client.append({"SET", message.key(), message.number()});
      if (i % changesBurst == changesBurst - 1)
         client.finish();
   }
   client.finish();
   SharedPage<std::atomic<bool>> ready;
   Child reader([&] { return follow(server.socketPath(), *ready.get()); });
   await([&] { return ready.get()->load(); });

   const double start = nowNs();
   for (U64 change = 0; change < changesTotal;) {
      for (U64 i = 0; i < changesBurst; ++i, ++change)
         appendChange(client, Message(keys[change % keys.size()], change + 1));
      client.finish();
   }
   return (reader.result().front() - start) / static_cast<double>(changesTotal);
}

std::vector<double> redisWake() {
   const ScratchDirectory scratch;
   const RedisServer server(scratch.path());
   RedisClient client(server.socketPath());
   SharedPage<WakeWatch> watch;
   Child reader([&] { return listen(server.socketPath(), *watch.get()); });
   pace(*watch.get(), std::identity(), [&](int number) {
      appendChange(client, Message(1, static_cast<U64>(number) + 1));
      client.finish();
   });
   return reader.result();
}

} // namespace Bench
