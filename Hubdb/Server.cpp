#include "Hubdb/Server.h"

#include "Hubdb/Peer.h"
#include "Hubdb/SocketPath.h"

#include "Vok/Trace.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <system_error>

namespace Hubdb {

static constinit Vok::TraceFacility trace("HubdbServer");

Server::Server(Vok::Activity& activity, Catalogue catalogue, ServerSetting setting)
    : activity_(activity), catalogue_(std::move(catalogue)), setting_(std::move(setting)),
      roots_(std::make_unique<Roots>(catalogue_, setting_.queueLimit)) {
   if (!setting_.stateFile.empty())
      roots_->journalIs(setting_.stateFile, setting_.sync);
   turnEnd_ = activity_.atTurnEnd([this] { turnEnd(); });
}

Server::~Server() {
   turnEnd_.del();
   watch_.del();
   if (!socketPath_.empty())
      unlink(socketPath_.c_str());
}

std::size_t Server::roots() const {
   return roots_->size();
}
std::size_t Server::memory() const {
   return roots_->memory();
}

void Server::listen(const Vok::String& socketPath) {
   socket_ = listeningSocket(socketPath);
   socketPath_ = socketPath;
   watch_ = activity_.watch(socket_.fd(), Vok::Activity::readable, [this](Vok::U32) { accept(); });
}

void Server::accept() {
   Vok::Descriptor socket(accept4(socket_.fd(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
   if (socket) {
      try {
         clientIs(std::move(socket));
      } catch (const std::system_error& error) {
         if (auto line = trace.at(0))
            line << "a client is turned away: " << std::string(error.what());
      }
   } else if (errno == EMFILE || errno == ENFILE) {
      // It stays readable; others close theirs.
      if (auto line = trace.at(0))
         line << "a client waits: " << std::string(std::strerror(errno));
      watch_.eventsIs(0);
   }
}

void Server::clientIs(Vok::Descriptor socket) {
   peers_.push_back(std::make_unique<Peer>(activity_, std::move(socket), *roots_, setting_.access,
                                           [this](Peer& peer) { ended(peer); }));
   if (auto line = trace.at(3))
      line << "a client comes: " << peers_.back()->name();
}

void Server::ended(Peer& peer) {
   if (!peer.reason().empty()) {
      if (auto line = trace.at(1))
         line << peer.name() << " is ended: " << peer.reason();
   } else if (auto line = trace.at(3))
      line << peer.name() << " goes";
   peer.leave();
   const auto found = std::ranges::find(peers_, &peer, &std::unique_ptr<Peer>::get);
   gone_.splice(gone_.end(), peers_, found);
   if (socket_ && watch_)
      watch_.eventsIs(Vok::Activity::readable);
}

/// Readers first: to wake an owner for its acknowledgement would keep them waiting.
void Server::turnEnd() {
   gone_.clear();
   roots_->commit();
   flush();
   roots_->tellMore();
   flush();
   if (roots_->hasMore())
      activity_.wantTurnEnd();
}

void Server::flush() {
   for (const auto& peer : peers_) {
      Connection& connection = peer->connection();
      if (connection.queued() > 0)
         connection.flush();
      connection.readingIs(connection.queued() <= setting_.queueLimit);
   }
}

} // namespace Hubdb
