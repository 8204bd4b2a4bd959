#pragma once
// Hubdb::Server: the central database across processes.

#include "Hubdb/Access.h"
#include "Hubdb/Catalogue.h"

#include "Vok/Activity.h"
#include "Vok/Descriptor.h"

#include <list>
#include <memory>

namespace Hubdb {

class Peer;
class Roots;

struct ServerSetting {
   Access access;
   Vok::String stateFile; ///< empty: what is held goes with the server
   bool sync = false;     ///< what is acknowledged outlives the machine's power too
   /// Bytes that may wait for one client. One that does not keep up is told the whole state later, instead of
   /// each change, and so costs nobody else more than this.
   std::size_t queueLimit = 4 << 20;
};

/// Holds every root entity as packed records and never builds an entity. Knows types by the catalogue alone.
/// What comes from a client is checked by decoding it; the first wrong byte ends that client, with a line in
/// the trace at level 1, and nobody else. Whatever one turn of the activity brings is written to the state
/// file at its end, before anybody is told of it.
///
/// Belongs to the activity thread. The activity must outlive it.
class Server {
  public:
   /// Raises Vok::Error when the state file cannot be used.
   Server(Vok::Activity& activity, Catalogue catalogue, ServerSetting setting = {});
   ~Server();
   Server(const Server&) = delete;

   /// Listens on a Unix socket, made with mode 0660 and removed when the server goes. Takes the place of a
   /// socket that nobody listens on. Raises Vok::Error, naming the process, when another server does.
   void listen(const Vok::String& socketPath);
   /// Takes a connected socket, as listening would.
   void clientIs(Vok::Descriptor socket);

   std::size_t clients() const { return peers_.size(); }
   std::size_t roots() const;
   /// Bytes that the state takes.
   std::size_t memory() const;

  private:
   void accept();
   void turnEnd();
   void flush();
   void ended(Peer& peer);

   Vok::Activity& activity_;
   const Catalogue catalogue_;
   const ServerSetting setting_;
   std::unique_ptr<Roots> roots_;
   std::list<std::unique_ptr<Peer>> peers_;
   std::list<std::unique_ptr<Peer>> gone_; ///< until the end of the turn
   Vok::String socketPath_;
   Vok::Descriptor socket_;
   Vok::Activity::Watch watch_;
   Vok::Activity::Handle turnEnd_;
};

} // namespace Hubdb
