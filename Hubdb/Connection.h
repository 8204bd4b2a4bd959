#pragma once
// Hubdb::Connection: frames over a stream socket, or over pipes in its place, on the activity.

#include "Hubdb/Pipes.h"
#include "Hubdb/Wire.h"

#include "Vok/Activity.h"
#include "Vok/Descriptor.h"

namespace Hubdb {

/// Who a connection tells. Called on the activity thread; may close or destroy the connection.
class ConnectionUser {
  public:
   virtual ~ConnectionUser() = default;
   /// A whole frame. May raise Vok::Error, which onBad() is told.
   virtual void onFrame(Wire::Kind kind, Bytes body) = 0;
   /// The other side sent what it must not. The connection is still open, so that a last word can be said:
   /// close it.
   virtual void onBad(const Vok::String& reason) = 0;
   /// The other side takes more of what waits: flush() when that may go out.
   virtual void onWritable() = 0;
   /// The connection has ended by itself, once; `reason` is empty when the other side closed it in good
   /// order.
   virtual void onClosed(const Vok::String& reason) = 0;
};

/// Reads a portion at a time and hands over the frames in it; keeps what is sent until flush(). Neither ever
/// blocks.
class Connection {
  public:
   /// Takes over a connected, non-blocking socket. The activity and the user must outlive the connection.
   Connection(Vok::Activity& activity, Vok::Descriptor socket, ConnectionUser& user);
   ~Connection() { *alive_ = false; }
   Connection(const Connection&) = delete;

   bool isOpen() const { return socket_ || pipes_; }
   /// Whether the other side has gone, even when closed() has not been told yet.
   bool isHungUp() const;

   /// Sends what waits, and pipes with it, and goes on over these. Without a word it stays with the socket
   /// when there is no room for pipes.
   void pipesGive();
   /// Goes on over pipes as soon as some come.
   void pipesAwait() { awaitsPipes_ = true; }

   /// Appends a frame with the fields that `body` writes. Nothing happens on a closed connection.
   template <class Body>
   void send(Wire::Kind kind, Body&& body) {
      body(emptyFrame());
      append(kind, {}, frame_.buffer());
   }
   /// Appends a frame with a mount's number and bytes as they stand, cut into several frames of whole records
   /// where they are too many for one. A record that is too large for any is left out, and traced at level 0.
   /// Returns the number of frames.
   Vok::U32 sendRecords(Vok::U32 mount, Bytes records);

   /// Bytes that wait.
   std::size_t queued() const { return out_.size() - outStart_; }
   /// Writes what the other side takes; the user is told when it takes more.
   void flush();
   /// Whether to read what comes, as at first. A server does not listen to those who do not listen to it:
   /// what it has to answer them would fill its memory.
   void readingIs(bool reading);
   /// Ends the connection without a word to the user.
   void close();

  private:
   Vok::NboAttrLog::Writer& emptyFrame();
   void append(Wire::Kind kind, Bytes head, Bytes body);
   void pipesAre(Pipes pipes, Vok::Activity::Watch watch);
   Vok::Activity::Watch watchOf(const Vok::Descriptor& descriptor, Vok::U32 events);
   void ready(Vok::U32 events);
   void read();
   ssize_t receive(Vok::U8* bytes, std::size_t size);
   std::size_t framesTake();
   void end(const Vok::String& reason);
   void watch();

   Vok::Activity& activity_;
   ConnectionUser& user_;
   Vok::Descriptor socket_; ///< empty when there are pipes
   Pipes pipes_;
   bool awaitsPipes_ = false;
   std::vector<Vok::U8> in_;
   std::size_t inSize_ = 0;
   std::vector<Vok::U8> out_;
   std::size_t outStart_ = 0;
   bool waiting_ = false; ///< for the other side to take more
   bool reading_ = true;
   Vok::NboAttrLog::Writer frame_;
   /// False once closed or destroyed, for whoever has called the user.
   const std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
   // Last: they go before the descriptors.
   Vok::Activity::Watch watch_;
   Vok::Activity::Watch outWatch_; ///< of the pipe, which is not the one that is read
};

} // namespace Hubdb
