#include "bench/Database.h"

#include "bench/Gauges.h"

#include "Hubdb/Server.h"
#include "Mpls/Mpls.h"

#include <csignal>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace Bench {

namespace {

Hubdb::Catalogue catalogue() {
   return Hubdb::Catalogue({gaugesEntityTypes(), Mpls::mplsEntityTypes()});
}

} // namespace

DatabaseServer::DatabaseServer(const std::string& directory)
    : socket_(directory + "/hubdb.sock"), owner_(getpid()) {
   pid_ = fork();
   if (pid_ < 0)
      throw std::runtime_error("no other process can be started");
   if (pid_ != 0)
      return;
   try {
      Vok::Activity activity;
      Hubdb::Server server(activity, catalogue());
      server.listen(socket_);
      activity.run();
   } catch (const std::exception& failure) {
      std::fprintf(stderr, "mplsbench: the database server: %s\n", failure.what());
   }
   _exit(1);
}

DatabaseServer::~DatabaseServer() {
   if (getpid() != owner_)
      return;
   kill(pid_, SIGKILL);
   waitpid(pid_, nullptr, 0);
}

double DatabaseServer::residentBytes() const {
   return Bench::residentBytes(pid_);
}

double residentBytes(int pid) {
   std::ifstream file("/proc/" + std::to_string(pid) + "/statm");
   double total = 0, resident = 0;
   if (!(file >> total >> resident))
      throw std::runtime_error("process " + std::to_string(pid) + " has ended");
   return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

DatabaseClient::DatabaseClient(const std::string& socketPath)
    : manager_(Vok::make<Hubdb::EntityManager>(activity_, catalogue())) {
   auto client = std::make_unique<Hubdb::Client>(activity_, manager_->linkClient(), socketPath, "mplsbench");
   client_ = client.get();
   manager_->linkIs(std::move(client));
}

void DatabaseClient::mount(const std::string& path, const Vok::EntityType& type, Hubdb::MountFilter filter) {
   std::optional<Hubdb::MountStatus> ended;
   const auto group = manager_->mountGroup();
   group->doMount(path, type.name(), filter);
   group->close([&](Hubdb::MountStatus status, Hubdb::EntityManager&) { ended = status; });
   while (!ended)
      activity_.turn(-1);
   if (*ended != Hubdb::mountSuccess())
      throw std::runtime_error("'" + path + "' cannot be mounted");
}

void DatabaseClient::inTurn(std::function<void()> work) {
   activity_.post(std::move(work));
   activity_.turn(0);
}

void DatabaseClient::settle() {
   for (;;) {
      manager_->flush(); // what did not fit before
      if (client_->isConnected() && client_->writable() && client_->unacknowledged() == 0)
         return;
      activity_.turn(-1);
   }
}

} // namespace Bench
