#pragma once
// Hubdb::Client: the link of an entity manager to a server.

#include "Hubdb/Connection.h"
#include "Hubdb/EntityManager.h"
#include "Hubdb/Link.h"

#include <map>

namespace Hubdb {

/// Connects, and connects anew whenever the connection is lost, after a pause that grows from a twentieth of
/// a second to five seconds while nobody answers, and while what one side says is refused by the other: that
/// will hardly be better a moment later. Says so in the trace at level 1.
class Client final : public Link, private ConnectionUser {
  public:
   /// `program` is how the server calls us in its messages. Connects in a later turn. Both references must
   /// outlive the client.
   Client(Vok::Activity& activity, LinkClient& user, Vok::String socketPath, Vok::String program);
   /// Over one connected socket, for good: nothing is connected anew.
   Client(Vok::Activity& activity, LinkClient& user, Vok::Descriptor socket, Vok::String program);
   ~Client() override;

   bool isConnected() const { return welcomed_; }
   /// Frames of what is owned that the server has not acknowledged on this connection: with none, all that
   /// was sent is as safe as the server keeps it. EntityManager::hasUnsent() tells of what was not sent.
   Vok::U64 unacknowledged() const { return unacknowledged_; }

   void mount(const MountRequest& request) override;
   void unmount(MountId mount) override;
   void del(MountId mount) override;
   void records(MountId mount, const Vok::U8* bytes, std::size_t size) override;
   void snapshotBegin(MountId mount) override;
   void snapshotEnd(MountId mount) override;
   void flush() override;
   bool writable() const override;

  private:
   struct Owned {
      Vok::U64 sent = 0;
      Vok::U64 acknowledged = 0;
   };

   void onFrame(Wire::Kind kind, Bytes body) override;
   void onBad(const Vok::String& reason) override;
   void onWritable() override;
   void onClosed(const Vok::String& reason) override;

   void connect();
   void connectLater();
   void socketIs(Vok::Descriptor socket);
   void lost(const Vok::String& reason);
   void sendMount(Wire::Kind kind, MountId mount);
   void sent(MountId mount, Vok::U64 frames);
   void forget(MountId mount);

   Vok::Activity& activity_;
   LinkClient& user_;
   const Vok::String socketPath_;
   const Vok::String program_;
   double pause_;
   bool silent_ = false; ///< nobody answers, and that has been said
   bool welcomed_ = false;
   bool served_ = false; ///< the server has answered a mount on this connection
   bool full_ = false;   ///< the user was told, or could see, that it is not writable
   std::map<MountId, Owned> owned_;
   Vok::U64 unacknowledged_ = 0;
   std::unique_ptr<Connection> connection_;
   std::unique_ptr<Connection> before_; ///< one that has ended, until the next one
   Vok::Activity::Handle retry_;
   Vok::Activity::Handle turnEnd_;
};

/// An entity manager of the server on this socket.
Vok::Ptr<EntityManager> connectedEntityManager(Vok::Activity& activity, Catalogue catalogue,
                                               const Vok::String& socketPath, const Vok::String& program);

} // namespace Hubdb
