#pragma once
// What stands between an entity manager and a server: the manager asks through a Link and is told through
// its LinkClient. Everything happens on the activity thread. Mounts are numbered by the manager.

#include "Hubdb/MountFilter.h"
#include "Hubdb/MountStatus.h"

#include "Vok/Types.h"

namespace Hubdb {

using MountId = Vok::U32;

struct MountRequest {
   MountId mount = 0;
   Vok::String path;         ///< as checkedPath() returns it
   Vok::String typeName;     ///< "Mpls::RouteConfigInput"; of a directory "Vok::Dir"
   Vok::U64 fingerprint = 0; ///< of its declaration, see Hubdb::fingerprint(); 0 for a directory
   MountFilter filter = MountFilter::read();
   /// An owner that has the state already and sends it with snapshotBegin(); the server sends none. Only a
   /// mount that was lost with its connection is asked for in this way.
   bool resume = false;
};

/// What the manager asks of the server. Nothing is answered from within a call, and no call fails: what
/// cannot be sent is forgotten with the connection, and asked for again after LinkClient::onConnected().
class Link {
  public:
   virtual ~Link() = default;

   virtual void mount(const MountRequest& request) = 0;
   /// Ends a mount. An owner's entity stays, without an owner.
   virtual void unmount(MountId mount) = 0;
   /// Removes the entity that this mount owns from the database, and the mount with it.
   virtual void del(MountId mount) = 0;

   /// Whole records about the entity that the mount owns.
   virtual void records(MountId mount, const Vok::U8* bytes, std::size_t size) = 0;
   /// What is sent from here to snapshotEnd() is the whole state: what it does not mention goes.
   virtual void snapshotBegin(MountId mount) = 0;
   virtual void snapshotEnd(MountId mount) = 0;

   /// Puts on its way now what was handed over, instead of at the end of the turn.
   virtual void flush() = 0;
   /// False while more is waiting to be sent than is good; then the manager keeps its changes, one for each
   /// attribute and key, until LinkClient::onWritable().
   virtual bool writable() const = 0;
};

/// What the transport tells the manager. Bytes are hostile until the manager has looked at them; they live
/// until the call returns. Raises Vok::Error when they are not records of that mount: then the transport
/// closes the connection, says why, and connects anew.
class LinkClient {
  public:
   virtual ~LinkClient() = default;

   /// A connection stands and knows of no mounts: the manager asks for all of its own.
   virtual void onConnected() = 0;
   virtual void onDisconnected() = 0;
   virtual void onWritable() = 0;

   /// Success for what exists and may be mounted in this way; its snapshot follows, except to an owner that
   /// resumes. Any other status ends the mount, `text` says what is wrong and how to mend it.
   virtual void onMountStatus(MountId mount, MountStatus status, const Vok::String& text) = 0;
   /// Whole state: what is not mentioned until onSnapshotEnd() goes. Of a directory, its entries are told.
   virtual void onSnapshotBegin(MountId mount) = 0;
   virtual void onSnapshotEnd(MountId mount) = 0;
   virtual void onRecords(MountId mount, const Vok::U8* bytes, std::size_t size) = 0;
   /// An entry of a mounted directory came, with the name of its type ("Vok::Dir" for a directory below), or
   /// went; then `typeName` is empty.
   virtual void onEntry(MountId mount, const Vok::String& name, bool present,
                        const Vok::String& typeName) = 0;
   /// What was mounted has been deleted. The mount goes on, and waits as a new one does.
   virtual void onGone(MountId mount) = 0;
};

} // namespace Hubdb
