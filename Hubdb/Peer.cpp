#include "Hubdb/Peer.h"

#include "Hubdb/Path.h"

#include "Vok/Errors.h"

#include <unistd.h>

namespace Hubdb {

Peer::Peer(Vok::Activity& activity, Vok::Descriptor socket, Roots& roots, const Access& access,
           std::function<void(Peer&)> onEnd)
    : roots_(roots), access_(access), onEnd_(std::move(onEnd)), who_(peerCredentials(socket.fd())),
      connection_(activity, std::move(socket), *this) {}

Peer::~Peer() {
   leave();
}

void Peer::leave() {
   for (const auto& [id, mount] : mounts_)
      roots_.unmount(*mount);
   mounts_.clear();
}

Vok::String Peer::name() const {
   return (program_.empty() ? Vok::String("a client") : program_) + " (process " +
          std::to_string(who_.process) + ", user " + std::to_string(who_.user) + ")";
}

void Peer::onClosed(const Vok::String& reason) {
   reason_ = reason;
   onEnd_(*this);
}

void Peer::onBad(const Vok::String& reason) {
   connection_.send(Wire::Kind::refused,
                    [&](auto& body) { body.string(reason.substr(0, Wire::maxTextSize)); });
   connection_.flush();
   connection_.close();
   onClosed(reason);
}

void Peer::onFrame(Wire::Kind kind, Bytes body) {
   Wire::FrameReader frame(body);
   if (greeted_ == (kind == Wire::Kind::hello))
      throw Vok::LogError(greeted_ ? "a second hello" : "the first frame is no hello");
   switch (kind) {
   case Wire::Kind::hello:
      return hello(frame);
   case Wire::Kind::mount:
      return mount(frame);
   case Wire::Kind::records: {
      ServerMount& owner = find(frame.u32());
      return roots_.records(owner, frame.rest());
   }
   case Wire::Kind::unmount:
   case Wire::Kind::del:
   case Wire::Kind::snapshotBegin:
   case Wire::Kind::snapshotEnd:
      break;
   default:
      throw Vok::LogError("no frame of kind " + std::to_string(static_cast<unsigned>(kind)) +
                          " comes from a client");
   }
   ServerMount& mount = find(frame.u32());
   frame.expectEnd();
   if (kind == Wire::Kind::snapshotBegin)
      return roots_.snapshotBegin(mount);
   if (kind == Wire::Kind::snapshotEnd)
      return roots_.snapshotEnd(mount);
   if (kind == Wire::Kind::del)
      roots_.del(mount);
   else
      roots_.unmount(mount);
   mounts_.erase(mount.id);
}

void Peer::hello(Wire::FrameReader& frame) {
   const Vok::U16 version = frame.u16();
   program_ = frame.text(256);
   if (version != Wire::version)
      throw Vok::LogError("it speaks version " + std::to_string(version) + ", the server version " +
                          std::to_string(Wire::version) + "; run both from one installation");
   const bool takesPipes = frame.flag();
   frame.expectEnd();
   greeted_ = true;
   connection_.send(Wire::Kind::welcome, [](auto& body) {
      body.u16(Wire::version);
      body.u32(static_cast<Vok::U32>(getpid()));
   });
   // Others could hold the server up by them.
   if (takesPipes && isTrusted(who_))
      connection_.pipesGive();
}

void Peer::mount(Wire::FrameReader& frame) {
   MountRequest request;
   request.mount = frame.u32();
   const Vok::U8 filter = frame.u8();
   request.resume = frame.flag();
   request.fingerprint = frame.u64();
   request.path = checkedPath(frame.text());
   request.typeName = frame.text();
   frame.expectEnd();
   if (filter > static_cast<Vok::U8>(MountFilter::Kind::entries))
      throw Vok::RangeError("a mount filter of " + std::to_string(filter));
   request.filter = MountFilter(static_cast<MountFilter::Kind>(filter));
   if (mounts_.contains(request.mount))
      throw Vok::RangeError("mount " + std::to_string(request.mount) + " is there already");
   if (mounts_.size() == Wire::maxMounts)
      throw Vok::RangeError("more than " + std::to_string(Wire::maxMounts) + " mounts");
   const bool own = request.filter == MountFilter::own();
   Vok::String text;
   MountStatus status = MountStatus::forbidden;
   auto made = std::make_unique<ServerMount>(connection_, request);
   if (own ? access_.mayOwn(who_, request.path) : access_.mayRead(who_, request.path))
      status = roots_.mount(*made, request, text);
   else
      text = name() + " may not " + (own ? "own" : "read") + " '" + request.path +
             "'; the server's access file grants it to others";
   if (status == MountStatus::success)
      mounts_.emplace(request.mount, std::move(made));
   else
      sendStatus(connection_, request.mount, status, text);
}

ServerMount& Peer::find(MountId id) const {
   const auto found = mounts_.find(id);
   if (found == mounts_.end())
      throw Vok::LogError("there is no mount " + std::to_string(id));
   return *found->second;
}

} // namespace Hubdb
