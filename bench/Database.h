#pragma once

#include "Hubdb/Client.h"
#include "Hubdb/MountGroup.h"

#include <functional>
#include <string>

/// The central database in processes of this run's own.

namespace Bench {

/// A server that does what hubdbd does, without a state file, on a socket in that directory.
class DatabaseServer {
  public:
   explicit DatabaseServer(const std::string& directory);
   ~DatabaseServer();
   DatabaseServer(const DatabaseServer&) = delete;
   const std::string& socketPath() const { return socket_; }
   double residentBytes() const;

  private:
   std::string socket_;
   int pid_;
   int owner_;
};

/// A program that uses it.
class DatabaseClient {
  public:
   explicit DatabaseClient(const std::string& socketPath);

   /// Mounts, and waits until the entity is there. Raises std::runtime_error when it cannot be mounted.
   template <class E>
   Vok::Ptr<E> own(const std::string& path) {
      mount(path, E::vokType(), Hubdb::MountFilter::own());
      return manager_->get<E>(path);
   }
   template <class E>
   Vok::Ptr<E> read(const std::string& path) {
      mount(path, E::vokType(), Hubdb::MountFilter::read());
      return manager_->get<E>(path);
   }
   /// A turn that does the work, and sends what it has changed.
   void inTurn(std::function<void()> work);
   /// One turn, at whose end all changes are sent; sleeps when there is nothing to do.
   void turn(bool sleep) { activity_.turn(sleep ? -1 : 0); }
   /// Until the server has acknowledged all changes.
   void settle();

  private:
   void mount(const std::string& path, const Vok::EntityType& type, Hubdb::MountFilter filter);

   Vok::Activity activity_;
   Vok::Ptr<Hubdb::EntityManager> manager_;
   Hubdb::Client* client_; ///< the manager's
};

/// Memory of a process, this one by default, that is really there.
double residentBytes(int pid);

} // namespace Bench
