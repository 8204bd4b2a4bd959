#pragma once
// Hubdb::Peer: one client, as the server sees it.

#include "Hubdb/Roots.h"

namespace Hubdb {

/// Reads what the client asks, checks it and whether it may, and hands it to the roots.
class Peer final : public ConnectionUser {
  public:
   /// The socket is connected and does not block. Raises std::system_error.
   Peer(Vok::Activity& activity, Vok::Descriptor socket, Roots& roots, const Access& access,
        std::function<void(Peer&)> onEnd);
   ~Peer() override;

   Connection& connection() { return connection_; }
   /// "bgpd (process 4711, user 100)", for messages.
   Vok::String name() const;
   /// Why it was ended; empty when it went by itself.
   const Vok::String& reason() const { return reason_; }
   /// Gives up all its mounts.
   void leave();

   void onFrame(Wire::Kind kind, Bytes body) override;
   void onBad(const Vok::String& reason) override;
   void onWritable() override {} // the end of the turn flushes
   void onClosed(const Vok::String& reason) override;

  private:
   void hello(Wire::FrameReader& frame);
   void mount(Wire::FrameReader& frame);
   ServerMount& find(MountId id) const;

   Roots& roots_;
   const Access& access_;
   const std::function<void(Peer&)> onEnd_;
   const Credentials who_;
   Vok::String program_;
   Vok::String reason_;
   bool greeted_ = false;
   std::map<MountId, std::unique_ptr<ServerMount>> mounts_;
   Connection connection_;
};

} // namespace Hubdb
