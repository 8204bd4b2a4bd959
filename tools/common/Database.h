#pragma once

#include "tools/common/CommandLine.h"

#include "Hubdb/EntityManager.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

/// The central database in the hands of a program.

namespace Hubdb {
class Client;
}

namespace tools {

/// Declares --socket; without it, the one that hubdbd takes.
void declareSocket(Command program, std::string& socket);

/// The types of the library that can stand in the database.
Hubdb::Catalogue databaseCatalogue();

/// A connection, and the waiting that belongs to it: every call that waits turns the activity.
class Database {
  public:
   struct Mount {
      std::string path;
      std::string_view typeName;
      Hubdb::MountFilter filter = Hubdb::MountFilter::read();
   };
   /// In seconds. What is asked of a server that lives takes far less.
   static constexpr double patience = 10;
   static constexpr double forEver = -1;
   /// How long at most to wait for another process that owns what is wanted: a short-lived one has ended by
   /// then.
   static constexpr double ownedPatience = 1;

   /// Connects in a later turn, and anew whenever the connection is lost. `program` is how the server's
   /// messages call us. The activity must outlive it.
   Database(Vok::Activity& activity, std::string socket, std::string program);
   ~Database();
   Database(const Database&) = delete;

   const Vok::Ptr<Hubdb::EntityManager>& manager() const { return manager_; }
   const std::string& socket() const { return socket_; }

   /// Raises Failure( unreachable ) when no server answers on the socket.
   void requireServer();
   /// Mounts and waits until all is there. Raises Failure when it may not be, or when patience ends. What
   /// another process owns is tried again for a while, and for ever without patience.
   void mount(const std::vector<Mount>& mounts, double seconds = patience);
   /// One mount, as an E.
   template <class E>
   Vok::Ptr<E> own(std::string_view path) {
      mount({{std::string(path), E::vokType().name(), Hubdb::MountFilter::own()}});
      return manager_->get<E>(path);
   }
   /// Waits until the server has taken over all that this process changed. Raises Failure when the server
   /// goes meanwhile.
   void settle(double seconds = patience);
   /// Hands over what this process changed, and tells whether the server has taken over all of it; not so
   /// while there is no connection.
   bool isSettled();
   bool isConnected() const;

   /// Makes entities that nobody may have made yet, over a connection of its own, and owns them no longer
   /// when it returns. What exists stays as it is.
   void makeExist(const std::vector<Mount>& mounts, double seconds = patience);

   /// Turns the activity until `done`. Returns false when patience ends before.
   bool turnUntil(const std::function<bool()>& done, double seconds);
   /// Called before every turn that is waited for; what it raises ends the waiting.
   void beforeTurnIs(std::function<void()> beforeTurn) { beforeTurn_ = std::move(beforeTurn); }

  private:
   std::optional<Hubdb::MountStatus> tryMount(const std::vector<Mount>& mounts, double seconds);

   Vok::Activity& activity_;
   const std::string socket_;
   const std::string program_;
   std::function<void()> beforeTurn_;
   Vok::Ptr<Hubdb::EntityManager> manager_;
   Hubdb::Client* client_; ///< the manager's
};

} // namespace tools
