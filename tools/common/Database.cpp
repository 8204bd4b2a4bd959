#include "tools/common/Database.h"

#include "tools/common/Catalogue.h"
#include "tools/common/Failure.h"

#include "Hubdb/Client.h"
#include "Hubdb/MountGroup.h"
#include "Hubdb/SocketPath.h"

#include "Vok/Errors.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>

namespace tools {

using Hubdb::MountStatus;

namespace {

/// Between two tries to own what another process owns.
constexpr double ownedPause = 0.1;

std::string listed(const std::vector<Database::Mount>& mounts) {
   std::vector<std::string_view> paths;
   for (const Database::Mount& mount : mounts)
      paths.push_back(mount.path);
   return fmt::format("'{}'", fmt::join(paths, "', '"));
}

[[noreturn]] void refuse(MountStatus status, const std::vector<Database::Mount>& mounts) {
   const std::string what = listed(mounts);
   switch (status) {
   case MountStatus::wrongType:
      throw Failure(Outcome::failed, "an entity of another type stands at " + what,
                    "'mplsctl db ls DIRECTORY' shows what stands where");
   case MountStatus::wrongDeclaration:
      throw Failure(Outcome::versionMismatch,
                    "the database server was built from another declaration of " + what,
                    "use programs and server of one build");
   case MountStatus::owned:
      throw Failure(Outcome::unreachable, "another process owns " + what,
                    "try again when it has ended, or end it");
   case MountStatus::forbidden:
      throw Failure(Outcome::unreachable, "the database server does not let this user have " + what,
                    "ask for a grant in its access file (hubdbd --help)");
   default:
      throw Failure(Outcome::failed,
                    fmt::format("the database has no {} ({})", what, Hubdb::stringValue(status)));
   }
}

} // namespace

void declareSocket(Command program, std::string& socket) {
   socket = Hubdb::defaultSocketPath();
   program.option("--socket", socket, "Socket of the central database");
}

Hubdb::Catalogue databaseCatalogue() {
   static const Catalogue known = catalogue();
   return Hubdb::Catalogue({known.entities});
}

Database::Database(Vok::Activity& activity, std::string socket, std::string program)
    : activity_(activity), socket_(std::move(socket)), program_(std::move(program)),
      manager_(Vok::make<Hubdb::EntityManager>(activity, databaseCatalogue())) {
   auto client = std::make_unique<Hubdb::Client>(activity, manager_->linkClient(), socket_, program_);
   client_ = client.get();
   manager_->linkIs(std::move(client));
}

/// Mounts may be under way whose callbacks keep machines alive, and those the manager.
Database::~Database() {
   manager_->waitingDelAll();
}

bool Database::turnUntil(const std::function<bool()>& done, double seconds) {
   bool late = false;
   Vok::Activity::Handle deadline;
   if (seconds >= 0)
      deadline = activity_.after(seconds, [&] { late = true; });
   while (!done()) {
      if (late)
         return false;
      if (beforeTurn_)
         beforeTurn_();
      activity_.turn(-1);
   }
   return true;
}

void Database::requireServer() {
   const char* const next = "start hubdbd or give --socket";
   try {
      if (!Hubdb::connectedSocket(socket_))
         throw Failure(Outcome::unreachable,
                       fmt::format("no database server answers on {}: {}", socket_, std::strerror(errno)),
                       next);
   } catch (const Vok::Error& error) {
      throw Failure(Outcome::usage, error.what(), next);
   }
   if (!turnUntil([&] { return client_->isConnected(); }, patience))
      throw Failure(Outcome::unreachable, fmt::format("the database server on {} does not greet", socket_),
                    next);
}

/// Nothing when patience ended first.
std::optional<MountStatus> Database::tryMount(const std::vector<Mount>& mounts, double seconds) {
   const auto group = manager_->mountGroup();
   for (const Mount& mount : mounts)
      group->doMount(mount.path, mount.typeName, mount.filter);
   // Shared, for the group may complete after patience has ended.
   const auto result = std::make_shared<std::optional<MountStatus>>();
   group->close([result](MountStatus status, Hubdb::EntityManager&) { *result = status; });
   turnUntil([&] { return result->has_value(); }, seconds);
   return *result;
}

void Database::mount(const std::vector<Mount>& mounts, double seconds) {
   bool late = false;
   Vok::Activity::Handle deadline;
   if (seconds >= 0)
      deadline = activity_.after(ownedPatience, [&] { late = true; });
   for (;;) {
      const std::optional<MountStatus> status = tryMount(mounts, seconds);
      if (status == MountStatus::success)
         return;
      if (!status)
         throw Failure(Outcome::failed, "nobody has made " + listed(mounts) + " yet",
                       "'mplsctl db ls DIRECTORY' shows what there is");
      if (*status != MountStatus::owned || late)
         refuse(*status, mounts);
      bool again = false;
      const auto pause = activity_.after(ownedPause, [&] { again = true; });
      turnUntil([&] { return again; }, forEver);
   }
}

bool Database::isConnected() const {
   return client_->isConnected();
}

/// Everything is handed over and acknowledged when a flush brings nothing more.
bool Database::isSettled() {
   manager_->flush();
   return isConnected() && !manager_->hasUnsent() && client_->unacknowledged() == 0;
}

void Database::settle(double seconds) {
   const auto settled = [&] {
      if (!isConnected())
         throw Failure(Outcome::unreachable, "the database server went while it was told of changes",
                       "look whether they arrived, and try again");
      return isSettled();
   };
   if (!turnUntil(settled, seconds))
      throw Failure(Outcome::unreachable, "the database server does not acknowledge the changes",
                    "look whether they arrived, and try again");
}

void Database::makeExist(const std::vector<Mount>& mounts, double seconds) {
   Database maker(activity_, socket_, program_);
   maker.beforeTurn_ = beforeTurn_;
   for (Mount mount : mounts) {
      mount.filter = Hubdb::MountFilter::own();
      const auto status = maker.tryMount({mount}, seconds);
      if (status && *status != MountStatus::success && *status != MountStatus::owned)
         refuse(*status, {mount});
   }
   if (maker.client_->isConnected())
      maker.settle(seconds);
}

} // namespace tools
