#pragma once

#include "bench/Rows.h"

#include <hiredis/hiredis.h>
#include <string>
#include <string_view>

namespace Bench {

/// A Redis server of this run's own, on a Unix socket in the directory, without persistence. Raises
/// std::runtime_error when there is no such program. Ends with the object.
class RedisServer {
  public:
   explicit RedisServer(const std::string& directory);
   ~RedisServer();
   RedisServer(const RedisServer&) = delete;
   const std::string& socketPath() const { return socket_; }

  private:
   std::string socket_;
   int pid_;
   int owner_;
};

/// A connection that sends many commands before it reads their replies.
class RedisClient {
  public:
   /// Waits until the server accepts.
   explicit RedisClient(const std::string& socketPath);
   ~RedisClient() { redisFree(context_); }
   RedisClient(const RedisClient&) = delete;

   void append(std::initializer_list<std::string_view> words);
   /// Reads the replies to all that was appended and calls visit(reply) for each.
   template <class Visit>
   void finish(Visit&& visit) {
      for (; pending_ > 0; --pending_) {
         redisReply* reply = next();
         visit(*reply);
         freeReplyObject(reply);
      }
   }
   void finish() {
      finish([](const redisReply&) {});
   }
   /// The next message, for subscribers. To be given to freeReplyObject.
   redisReply* next();

  private:
   redisContext* context_ = nullptr;
   std::size_t pending_ = 0;
};

/// A key's or row's bytes as Redis takes them.
template <std::size_t bytes>
std::string_view view(const Blob<bytes>& blob) {
   return {reinterpret_cast<const char*>(blob.data()), bytes};
}

} // namespace Bench
