#include "bench/RedisServer.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace Bench {

RedisServer::RedisServer(const std::string& directory)
    : socket_(directory + "/redis.sock"), owner_(getpid()) {
   pid_ = fork();
   if (pid_ < 0)
      throw std::runtime_error("no other process can be started");
   if (pid_ == 0) {
      const int nowhere = open("/dev/null", O_WRONLY);
      dup2(nowhere, STDOUT_FILENO);
      dup2(nowhere, STDERR_FILENO);
      execlp("redis-server", "redis-server", "--port", "0", "--unixsocket", socket_.c_str(), "--dir",
             directory.c_str(), "--save", "", "--appendonly", "no", "--client-output-buffer-limit",
             "pubsub 0 0 0", nullptr);
      _exit(127);
   }
}

RedisServer::~RedisServer() {
   if (getpid() != owner_)
      return;
   kill(pid_, SIGKILL);
   waitpid(pid_, nullptr, 0);
}

RedisClient::RedisClient(const std::string& socketPath) {
   constexpr int attempts = 2000;
   for (int attempt = 0;; ++attempt) {
      context_ = redisConnectUnix(socketPath.c_str());
      if (context_ && context_->err == 0)
         return;
      redisFree(context_);
      if (attempt == attempts)
         throw std::runtime_error("redis-server does not answer; is it installed?");
      usleep(1000);
   }
}

void RedisClient::append(std::initializer_list<std::string_view> words) {
   std::array<const char*, 8> text;
   std::array<std::size_t, 8> length;
   std::size_t count = 0;
   for (const std::string_view word : words) {
      text[count] = word.data();
      length[count++] = word.size();
   }
   redisAppendCommandArgv(context_, static_cast<int>(count), text.data(), length.data());
   ++pending_;
}

redisReply* RedisClient::next() {
   void* reply = nullptr;
   if (redisGetReply(context_, &reply) != REDIS_OK || !reply)
      throw std::runtime_error(std::string("redis: ") + context_->errstr);
   return static_cast<redisReply*>(reply);
}

} // namespace Bench
