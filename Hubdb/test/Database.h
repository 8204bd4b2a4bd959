#pragma once
// A server and its clients for tests: in one process over socket pairs, or the server in a process of its
// own that can be killed.

#include "Hubdb/test/Dump.h"
#include "Hubdb/test/Routes.h"

#include "Hubdb/Client.h"
#include "Hubdb/MountGroup.h"
#include "Hubdb/Server.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <sys/socket.h>
#include <sys/wait.h>

namespace HubdbTest {

inline const Hubdb::Catalogue& catalogue() {
   static const Hubdb::Catalogue all({HubdbRoutes::routesEntityTypes()});
   return all;
}

/// So many routes with a via each.
inline void fill(HubdbRoutes::Source& source, Vok::U32 routes) {
   for (Vok::U32 key = 0; key < routes; ++key) {
      const auto route = source.routeIs(key);
      route->viaIs(HubdbRoutes::Via(key, 16 + key), true);
      route->dynamicIs(key % 3 == 0);
   }
}

/// Of a file; nothing when there is none.
inline std::string contents(const std::string& path) {
   std::ifstream file(path, std::ios::binary);
   return {std::istreambuf_iterator<char>(file), {}};
}

/// Random changes of all kinds.
inline void change(HubdbRoutes::Source& source, std::mt19937& random, int changes) {
   while (changes-- > 0) {
      const Vok::U32 key = random() % 300;
      switch (random() % 4) {
      case 0:
         source.routeDel(key);
         break;
      case 1:
         source.routeIs(key)->viaIs(HubdbRoutes::Via(random() % 4, 16), random() % 2);
         break;
      case 2:
         source.routeIs(key)->metricIs(random() % 9);
         break;
      default:
         source.noteIs(Vok::Name(std::to_string(key)), std::string(random() % 50, 'n'));
      }
   }
   source.countIs(source.count() + 1);
}

/// Turns the activity until the condition holds. False when that takes half a minute.
template <class Holds>
bool turnUntil(Vok::Activity& activity, Holds holds) {
   const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
   while (!holds()) {
      if (std::chrono::steady_clock::now() > deadline)
         return false;
      activity.turn(0.05);
   }
   return true;
}

/// A folder that goes with its contents.
class TemporaryFolder {
  public:
   TemporaryFolder() {
      char path[] = "/tmp/hubdb-test-XXXXXX";
      path_ = mkdtemp(path);
   }
   ~TemporaryFolder() { std::filesystem::remove_all(path_); }
   std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  private:
   std::string path_;
};

/// One end for a server, the other one for a client.
inline std::pair<Vok::Descriptor, Vok::Descriptor> socketPair() {
   int ends[2];
   if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) != 0)
      throw std::system_error(errno, std::generic_category(), "a pair of sockets");
   return {Vok::Descriptor(ends[0]), Vok::Descriptor(ends[1])};
}

/// A program that uses the database.
struct Program {
   Vok::Ptr<Hubdb::EntityManager> manager;
   Hubdb::Client* client = nullptr; ///< the manager's

   Program(Vok::Activity& activity, const Hubdb::Catalogue& catalogue, auto where,
           const std::string& name = "test")
       : manager(Vok::make<Hubdb::EntityManager>(activity, catalogue)) {
      auto made = std::make_unique<Hubdb::Client>(activity, manager->linkClient(), std::move(where), name);
      client = made.get();
      manager->linkIs(std::move(made));
   }

   /// How the mount ends; nothing while it has not ended.
   std::shared_ptr<std::optional<Hubdb::MountStatus>> mount(const std::string& path, std::string_view type,
                                                            Hubdb::MountFilter filter) {
      auto status = std::make_shared<std::optional<Hubdb::MountStatus>>();
      const auto group = manager->mountGroup();
      group->doMount(path, type, filter);
      group->close([status](Hubdb::MountStatus ended, Hubdb::EntityManager&) { *status = ended; });
      return status;
   }
   /// The same, waited for.
   Hubdb::MountStatus mounted(const std::string& path, std::string_view type, Hubdb::MountFilter filter) {
      const auto status = mount(path, type, filter);
      return turnUntil(manager->activity(), [&] { return status->has_value(); })
                 ? **status
                 : Hubdb::MountStatus::unreachable;
   }
   /// Mounts an entity to own, and waits for it. Null when that fails.
   template <class E>
   Vok::Ptr<E> own(const std::string& path) {
      mounted(path, E::vokType().name(), Hubdb::MountFilter::own());
      return manager->get<E>(path);
   }
   /// Everything that was changed so far has been acknowledged.
   bool safe() {
      return turnUntil(manager->activity(), [this] {
         manager->flush();
         return client->isConnected() && !manager->hasUnsent() && client->unacknowledged() == 0;
      });
   }
};

/// All that a program knows of an entity; nothing when it does not have it.
inline std::string text(const Program& program, const std::string& path) {
   const auto entity = program.manager->getEntity(path);
   return entity ? dump(*entity) : "";
}

/// A server and programs on one activity.
struct ServerFixture : testing::Test {
   Vok::Activity activity;
   std::optional<Hubdb::Server> server{std::in_place, activity, catalogue(), Hubdb::ServerSetting{}};

   Program program(const std::string& name = "test") {
      auto [ours, theirs] = socketPair();
      server->clientIs(std::move(theirs));
      return Program(activity, catalogue(), std::move(ours), name);
   }
   void expectSame(const Program& one, const Program& other, const std::string& path) {
      EXPECT_TRUE(turnUntil(activity, [&] { return text(one, path) == text(other, path); }))
          << text(one, path) << "against\n"
          << text(other, path);
   }
};

/// Something in a process of its own, until it is killed.
class Process {
  public:
   /// `body` returns the exit status.
   explicit Process(std::function<int()> body) : body_(std::move(body)) {}
   ~Process() { kill(); }
   Process(Process&& other) noexcept
       : body_(std::move(other.body_)), process_(std::exchange(other.process_, 0)) {}

   void start() {
      process_ = fork();
      if (process_ != 0)
         return;
      int status = 1;
      try {
         status = body_();
      } catch (const std::exception& error) {
         std::fprintf(stderr, "process: %s\n", error.what());
      }
      _exit(status);
   }
   void kill() {
      if (process_ <= 0)
         return;
      ::kill(process_, SIGKILL);
      wait();
   }
   /// Until it ends by itself: its exit status, or -1 when a signal ended it.
   int wait() {
      int status = 0;
      waitpid(std::exchange(process_, 0), &status, 0);
      return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
   }

  private:
   std::function<int()> body_;
   pid_t process_ = 0;
};

/// A server in a process of its own. start() returns at once: clients wait until it serves.
class ServerProcess : public Process {
  public:
   ServerProcess(Hubdb::Catalogue catalogue, std::string socket, std::string state)
       : Process([catalogue = std::move(catalogue), socket = std::move(socket), state = std::move(state)] {
            Vok::Activity activity;
            Hubdb::ServerSetting setting;
            setting.stateFile = state;
            Hubdb::Server server(activity, catalogue, std::move(setting));
            server.listen(socket);
            activity.run();
            return 1;
         }) {}
};

} // namespace HubdbTest
