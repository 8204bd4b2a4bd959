#include "Hubdb/Connection.h"

#include "Vok/Errors.h"
#include "Vok/Trace.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace Hubdb {

using Vok::U32;
using Vok::U8;

static constinit Vok::TraceFacility trace("HubdbConnection");

Connection::Connection(Vok::Activity& activity, Vok::Descriptor socket, ConnectionUser& user)
    : activity_(activity), user_(user), socket_(std::move(socket)), in_(Wire::portion),
      watch_(watchOf(socket_, Vok::Activity::readable)) {
   // As much as the system allows: fewer turns for a large batch.
   const int size = 4 * Wire::portion;
   setsockopt(socket_.fd(), SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
}

bool Connection::isHungUp() const {
   pollfd poll{pipes_ ? pipes_.in.fd() : socket_.fd(), POLLRDHUP, 0};
   return !isOpen() || (::poll(&poll, 1, 0) == 1 && (poll.revents & (POLLHUP | POLLERR | POLLRDHUP)) != 0);
}

void Connection::pipesGive() {
   auto [ours, theirs] = makePipes();
   if (!ours || !isOpen())
      return;
   Vok::Activity::Watch watch;
   try {
      watch = watchOf(ours.in, Vok::Activity::readable);
   } catch (const std::system_error&) {
      return;
   }
   const ssize_t sent = sendPipes(socket_.fd(), Bytes(out_).subspan(outStart_), theirs);
   if (sent < 0)
      return;
   if (static_cast<std::size_t>(sent) < queued())
      throw Vok::LogError("it takes no " + std::to_string(queued()) + " bytes at once");
   out_.clear();
   outStart_ = 0;
   pipesAre(std::move(ours), std::move(watch));
}

void Connection::pipesAre(Pipes pipes, Vok::Activity::Watch watch) {
   watch_ = std::move(watch);
   outWatch_ = watchOf(pipes.out, 0);
   pipes_ = std::move(pipes);
   socket_ = Vok::Descriptor();
   this->watch();
}

Vok::Activity::Watch Connection::watchOf(const Vok::Descriptor& descriptor, U32 events) {
   return activity_.watch(descriptor.fd(), events, [this](U32 ready) { this->ready(ready); });
}

Vok::NboAttrLog::Writer& Connection::emptyFrame() {
   frame_.clear();
   return frame_;
}

void Connection::append(Wire::Kind kind, Bytes head, Bytes body) {
   if (!isOpen())
      return;
   const auto length = static_cast<U32>(1 + head.size() + body.size());
   const U8 start[Wire::headSize] = {static_cast<U8>(length >> 24), static_cast<U8>(length >> 16),
                                     static_cast<U8>(length >> 8), static_cast<U8>(length),
                                     static_cast<U8>(kind)};
   out_.insert(out_.end(), start, start + sizeof start);
   out_.insert(out_.end(), head.begin(), head.end());
   out_.insert(out_.end(), body.begin(), body.end());
}

U32 Connection::sendRecords(U32 mount, Bytes records) {
   const U8 head[] = {static_cast<U8>(mount >> 24), static_cast<U8>(mount >> 16), static_cast<U8>(mount >> 8),
                      static_cast<U8>(mount)};
   if (records.size() <= Wire::batchSize) {
      append(Wire::Kind::records, head, records);
      return 1;
   }
   RecordReader reader(records);
   std::size_t start = 0;
   U32 frames = 0;
   const auto cutAt = [&](std::size_t end) {
      if (end == start)
         return;
      append(Wire::Kind::records, head, records.subspan(start, end - start));
      start = end;
      ++frames;
   };
   for (Record record; reader.next(record);) {
      const std::size_t end = reader.offset() + record.whole.size();
      if (end - start > Wire::batchSize)
         cutAt(reader.offset());
      if (record.whole.size() <= Wire::maxRecordSize)
         continue;
      if (auto line = trace.at(0))
         line << "a value of " << record.value.size() << " bytes does not travel; at most "
              << Wire::maxRecordSize << " do, with their key (mount " << mount << ", entity " << record.entity
              << ", attribute " << record.attr << ")";
      start = end;
   }
   cutAt(records.size());
   return frames;
}

void Connection::flush() {
   while (isOpen() && queued() > 0) {
      const U8* const bytes = out_.data() + outStart_;
      const auto sent = pipes_ ? ::write(pipes_.out.fd(), bytes, queued())
                               : ::send(socket_.fd(), bytes, queued(), MSG_NOSIGNAL);
      if (sent < 0) {
         if (errno == EINTR)
            continue;
         // Whoever takes nothing any more may still have something to say: the end is told of when that has
         // been read.
         if (errno == EPIPE)
            outStart_ = out_.size();
         break;
      }
      outStart_ += static_cast<std::size_t>(sent);
   }
   if (!isOpen())
      return;
   if (queued() == 0) {
      out_.clear();
      outStart_ = 0;
      if (out_.capacity() > 8 * Wire::portion)
         out_.shrink_to_fit();
   } else if (outStart_ > out_.size() / 2) {
      out_.erase(out_.begin(), out_.begin() + static_cast<std::ptrdiff_t>(outStart_));
      outStart_ = 0;
   }
   if (const bool wait = queued() > 0; std::exchange(waiting_, wait) != wait)
      watch();
}

void Connection::readingIs(bool reading) {
   if (std::exchange(reading_, reading) != reading && isOpen())
      watch();
}

void Connection::watch() {
   const U32 writable = waiting_ ? Vok::Activity::writable : 0;
   if (pipes_) {
      // Whoever is not read from is still seen to go.
      watch_.eventsIs(reading_ ? Vok::Activity::readable : Vok::Activity::hungUp);
      outWatch_.eventsIs(writable);
   } else {
      watch_.eventsIs((reading_ ? Vok::Activity::readable : 0) | writable);
   }
}

void Connection::close() {
   *alive_ = false;
   watch_.del();
   outWatch_.del();
   socket_ = Vok::Descriptor();
   pipes_ = Pipes();
   out_.clear();
   outStart_ = 0;
}

void Connection::end(const Vok::String& reason) {
   close();
   user_.onClosed(reason);
}

void Connection::ready(U32 events) {
   const auto alive = alive_;
   if (events & Vok::Activity::writable)
      user_.onWritable();
   if (*alive && (events & ~Vok::Activity::writable))
      read();
}

ssize_t Connection::receive(U8* bytes, std::size_t size) {
   if (pipes_)
      return ::read(pipes_.in.fd(), bytes, size);
   if (!awaitsPipes_)
      return ::recv(socket_.fd(), bytes, size, 0);
   Pipes pipes;
   const auto got = receivePipes(socket_.fd(), bytes, size, pipes);
   if (got > 0)
      awaitsPipes_ = false; // they come with the first bytes or not at all
   if (pipes) {
      auto watch = watchOf(pipes.in, Vok::Activity::readable);
      pipesAre(std::move(pipes), std::move(watch));
   }
   return got;
}

void Connection::read() {
   const auto got = receive(in_.data() + inSize_, in_.size() - inSize_);
   if (got < 0) {
      if (errno != EAGAIN && errno != EINTR)
         end(errno == ECONNRESET ? ""
             : errno == ECANCELED
                 ? "the process has no descriptors left for pipes; raise its limit (ulimit -n)"
                 : Vok::String("reading: ") + std::strerror(errno));
      return;
   }
   if (got == 0) {
      end(inSize_ > 0 ? "the connection ended inside a frame" : "");
      return;
   }
   inSize_ += static_cast<std::size_t>(got);
   const auto alive = alive_;
   try {
      const std::size_t used = framesTake();
      if (!*alive)
         return;
      inSize_ -= used;
      std::memmove(in_.data(), in_.data() + used, inSize_);
   } catch (const Vok::Error& error) {
      const Vok::String reason = error.what();
      if (*alive)
         user_.onBad(reason);
   }
}

/// Hands over the whole frames that are there. Returns how many bytes they are; 0 once the user has closed
/// the connection.
std::size_t Connection::framesTake() {
   const auto alive = alive_;
   std::size_t at = 0;
   while (inSize_ - at >= Wire::lengthSize) {
      const U32 length = Vok::NboAttrLog::Reader(in_.data() + at, Wire::lengthSize).u32();
      if (length == 0 || length > Wire::maxLength)
         throw Vok::LogError("a frame of " + std::to_string(length) + " bytes; 1 to " +
                             std::to_string(Wire::maxLength) + " are allowed");
      if (inSize_ - at - Wire::lengthSize < length) {
         if (in_.size() < Wire::lengthSize + length)
            in_.resize(Wire::lengthSize + length);
         break;
      }
      const Bytes frame(in_.data() + at + Wire::lengthSize, length);
      at += Wire::lengthSize + length;
      user_.onFrame(static_cast<Wire::Kind>(frame[0]), frame.subspan(1));
      if (!*alive)
         return 0;
   }
   return at;
}

} // namespace Hubdb
