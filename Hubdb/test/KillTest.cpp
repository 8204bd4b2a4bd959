// Servers, owners and readers in processes of their own, which are killed at any moment.

#include "Hubdb/test/Database.h"

namespace HubdbTest {
namespace {

using Hubdb::MountFilter;
using HubdbRoutes::Source;

constexpr int sources = 2;

std::string pathOf(int source) {
   return "routing/" + std::to_string(source);
}

/// The folder holds the server's socket and state; "stop" once no more kills come; the last state of each
/// source, as its owner left it.
class Scene {
  public:
   std::string socket() const { return folder_ / "socket"; }
   std::string state() const { return folder_ / "state"; }
   void stop() const { std::ofstream(folder_ / "stop"); }

   /// Changes its source until there are no more kills; then leaves a note of what the server acknowledged.
   int own(int number) const {
      Vok::Activity activity;
      Program program(activity, catalogue(), socket(), "owner");
      Vok::Ptr<Source> source;
      while (!source) // the server may not know yet that the one before is dead
         source = program.own<Source>(pathOf(number));
      std::mt19937 random(static_cast<unsigned>(getpid()));
      while (!stopped()) {
         for (int batches = static_cast<int>(random() % 8); batches >= 0; --batches) {
            change(*source, random, 20);
            activity.turn(0);
         }
         if (!program.safe())
            return 1;
      }
      if (!program.safe())
         return 1;
      std::ofstream(folder_ / ("writing" + std::to_string(number))) << dump(*source);
      std::filesystem::rename(folder_ / ("writing" + std::to_string(number)), note(number));
      return 0;
   }

   /// Follows all sources; succeeds when it comes to have each as its owner left it.
   int read() const {
      Vok::Activity activity;
      Program program(activity, catalogue(), socket(), "reader");
      for (int number = 0; number < sources; ++number)
         program.mount(pathOf(number), "HubdbRoutes::Source", MountFilter::read());
      while (!stopped())
         activity.turn(0.05);
      for (int number = 0; number < sources; ++number)
         if (!turnUntil(activity, [&] {
                const std::string left = contents(note(number));
                return !left.empty() && text(program, pathOf(number)) == left;
             }))
            return 1;
      return 0;
   }

  private:
   bool stopped() const { return std::filesystem::exists(folder_ / "stop"); }
   std::string note(int number) const { return folder_ / ("left" + std::to_string(number)); }

   TemporaryFolder folder_;
};

TEST(KillTest, everyReaderEqualsItsOwnersAfterwards) {
   const Scene scene;
   ServerProcess server(catalogue(), scene.socket(), scene.state());
   std::vector<Process> clients;
   for (int number = 0; number < sources; ++number)
      clients.emplace_back([&scene, number] { return scene.own(number); });
   for (int reader = 0; reader < 2; ++reader)
      clients.emplace_back([&scene] { return scene.read(); });
   server.start();
   for (Process& client : clients)
      client.start();

   Vok::Activity activity;
   Program witness(activity, catalogue(), scene.socket());
   witness.mount(pathOf(0), "HubdbRoutes::Source", MountFilter::read());
   std::mt19937 random(17);
   for (int kills = 0; kills < 40; ++kills) {
      // The moment is given by what arrives here, so that every life gets somewhere.
      Vok::U64 seen = 0;
      for (int arrivals = static_cast<int>(random() % 5); arrivals >= 0; --arrivals) {
         ASSERT_TRUE(turnUntil(activity, [&] {
            const auto source = witness.manager->get<Source>(pathOf(0));
            return source && source->count() != seen;
         })) << kills;
         seen = witness.manager->get<Source>(pathOf(0))->count();
      }
      const std::size_t victim = random() % (clients.size() + 1);
      Process& process = victim == clients.size() ? server : clients[victim];
      process.kill();
      process.start();
   }
   scene.stop();
   for (std::size_t client = 0; client < clients.size(); ++client)
      EXPECT_EQ(clients[client].wait(), 0) << client;
}

} // namespace
} // namespace HubdbTest
