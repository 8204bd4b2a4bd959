#include "Hubdb/Client.h"

#include "Hubdb/SocketPath.h"

#include "Vok/Errors.h"
#include "Vok/Trace.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace Hubdb {

using Vok::U64;

namespace {

constinit Vok::TraceFacility trace("HubdbClient");

constexpr double firstPause = 0.05, longestPause = 5;
constexpr std::size_t queueLimit = 4 * Wire::portion;

} // namespace

Client::Client(Vok::Activity& activity, LinkClient& user, Vok::String socketPath, Vok::String program)
    : activity_(activity), user_(user), socketPath_(std::move(socketPath)), program_(std::move(program)),
      pause_(firstPause), turnEnd_(activity.atTurnEnd([this] { flush(); })) {
   retry_ = activity_.after(0, [this] { connect(); });
}

Client::Client(Vok::Activity& activity, LinkClient& user, Vok::Descriptor socket, Vok::String program)
    : activity_(activity), user_(user), program_(std::move(program)), pause_(firstPause),
      turnEnd_(activity.atTurnEnd([this] { flush(); })) {
   socketIs(std::move(socket));
}

Client::~Client() = default;

// -------------------------------------------------------------------------------------------------------------
// the connection

void Client::connect() {
   try {
      if (Vok::Descriptor socket = connectedSocket(socketPath_))
         return socketIs(std::move(socket));
      const std::string why = std::strerror(errno);
      if (!std::exchange(silent_, true))
         if (auto line = trace.at(1))
            line << "no server on socket '" << socketPath_ << "': " << why;
   } catch (const Vok::Error& error) {
      if (auto line = trace.at(0))
         line << std::string(error.what());
   }
   connectLater();
}

void Client::connectLater() {
   if (socketPath_.empty())
      return;
   retry_ = activity_.after(pause_, [this] { connect(); });
   pause_ = std::min(2 * pause_, longestPause);
}

void Client::socketIs(Vok::Descriptor socket) {
   before_ = nullptr;
   served_ = false;
   connection_ =
       std::make_unique<Connection>(activity_, std::move(socket), static_cast<ConnectionUser&>(*this));
   connection_->send(Wire::Kind::hello, [&](auto& body) {
      body.u16(Wire::version);
      body.string(std::string_view(program_).substr(0, 256));
      body.u8(true);
   });
   connection_->pipesAwait();
   connection_->flush();
}

/// May be called from within a callback of the connection, so that this one stays until the next.
void Client::lost(const Vok::String& reason) {
   if (auto line = trace.at(1))
      line << "the server is lost" << (reason.empty() ? "" : ": ") << reason;
   before_ = std::move(connection_);
   owned_.clear();
   unacknowledged_ = 0;
   full_ = false;
   connectLater();
   if (std::exchange(welcomed_, false))
      user_.onDisconnected();
}

void Client::onClosed(const Vok::String& reason) {
   if (served_)
      pause_ = firstPause; // a server that did its work will soon be back
   lost(reason);
}

void Client::onBad(const Vok::String& reason) {
   connection_->close();
   lost(reason);
}

bool Client::writable() const {
   return welcomed_ && connection_ && connection_->queued() < queueLimit;
}

void Client::onWritable() {
   flush();
}

void Client::flush() {
   if (!connection_ || connection_->queued() == 0)
      return;
   full_ |= connection_->queued() >= queueLimit;
   connection_->flush();
   if (full_ && connection_->queued() < Wire::portion) {
      full_ = false;
      user_.onWritable();
      // What that brought goes out when the socket takes more, or at the end of a turn.
      if (connection_ && connection_->queued() > 0)
         activity_.wantTurnEnd();
   }
}

// -------------------------------------------------------------------------------------------------------------
// what the manager asks

void Client::mount(const MountRequest& request) {
   if (!connection_)
      return;
   connection_->send(Wire::Kind::mount, [&](auto& body) {
      body.u32(request.mount);
      body.u8(static_cast<Vok::U8>(request.filter.kind()));
      body.u8(request.resume);
      body.u64(request.fingerprint);
      body.string(request.path);
      body.string(request.typeName);
   });
   activity_.wantTurnEnd();
}

void Client::sendMount(Wire::Kind kind, MountId mount) {
   if (!connection_)
      return;
   connection_->send(kind, [&](auto& body) { body.u32(mount); });
   activity_.wantTurnEnd();
}

void Client::unmount(MountId mount) {
   forget(mount);
   sendMount(Wire::Kind::unmount, mount);
}

void Client::del(MountId mount) {
   forget(mount);
   sendMount(Wire::Kind::del, mount);
}

void Client::snapshotBegin(MountId mount) {
   sendMount(Wire::Kind::snapshotBegin, mount);
   sent(mount, 1);
}

void Client::snapshotEnd(MountId mount) {
   sendMount(Wire::Kind::snapshotEnd, mount);
   sent(mount, 1);
}

void Client::records(MountId mount, const Vok::U8* bytes, std::size_t size) {
   if (connection_)
      sent(mount, connection_->sendRecords(mount, Bytes(bytes, size)));
}

void Client::sent(MountId mount, U64 frames) {
   if (!connection_)
      return;
   owned_[mount].sent += frames;
   unacknowledged_ += frames;
}

void Client::forget(MountId mount) {
   const auto found = owned_.find(mount);
   if (found == owned_.end())
      return;
   unacknowledged_ -= found->second.sent - found->second.acknowledged;
   owned_.erase(found);
}

// -------------------------------------------------------------------------------------------------------------
// what the server says

void Client::onFrame(Wire::Kind kind, Bytes body) {
   Wire::FrameReader frame(body);
   if (kind == Wire::Kind::refused)
      throw Vok::Error("it refuses us: " + frame.text());
   if (welcomed_ == (kind == Wire::Kind::welcome))
      throw Vok::LogError("the server greets at the wrong time");
   if (kind == Wire::Kind::welcome) {
      if (const Vok::U16 version = frame.u16(); version != Wire::version)
         throw Vok::LogError("the server speaks version " + std::to_string(version) + ", this program " +
                             std::to_string(Wire::version));
      welcomed_ = true;
      silent_ = false;
      if (auto line = trace.at(3))
         line << "connected to process " << frame.u32();
      return user_.onConnected();
   }
   const MountId mount = frame.u32();
   switch (kind) {
   case Wire::Kind::status: {
      const Vok::U8 status = frame.u8();
      if (status > static_cast<Vok::U8>(MountStatus::forbidden))
         throw Vok::RangeError("a mount status of " + std::to_string(status));
      served_ = true;
      return user_.onMountStatus(mount, static_cast<MountStatus>(status), frame.text());
   }
   case Wire::Kind::snapshotBegin:
      return user_.onSnapshotBegin(mount);
   case Wire::Kind::snapshotEnd:
      return user_.onSnapshotEnd(mount);
   case Wire::Kind::records:
      return user_.onRecords(mount, frame.rest().data(), frame.rest().size());
   case Wire::Kind::entry: {
      const bool present = frame.flag();
      const Vok::String name = frame.text();
      return user_.onEntry(mount, name, present, frame.text());
   }
   case Wire::Kind::gone:
      return user_.onGone(mount);
   case Wire::Kind::acknowledged: {
      // Of a mount that was given up meanwhile it says nothing.
      const auto found = owned_.find(mount);
      const U64 frames = frame.u64();
      if (found == owned_.end())
         return;
      Owned& owned = found->second;
      if (frames < owned.acknowledged || frames > owned.sent)
         throw Vok::RangeError("the server acknowledges what it was not sent");
      unacknowledged_ -= frames - owned.acknowledged;
      owned.acknowledged = frames;
      return;
   }
   default:
      throw Vok::LogError("no frame of kind " + std::to_string(static_cast<unsigned>(kind)) +
                          " comes from a server");
   }
}

Vok::Ptr<EntityManager> connectedEntityManager(Vok::Activity& activity, Catalogue catalogue,
                                               const Vok::String& socketPath, const Vok::String& program) {
   const auto manager = Vok::make<EntityManager>(activity, std::move(catalogue));
   manager->linkIs(std::make_unique<Client>(activity, manager->linkClient(), socketPath, program));
   return manager;
}

} // namespace Hubdb
