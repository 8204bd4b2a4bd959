// What the server tells its clients, and when.

#include "Hubdb/Path.h"
#include "Hubdb/Roots.h"

#include "Vok/Dir.h"
#include "Vok/Trace.h"

#include <algorithm>

namespace Hubdb {

using Phase = ServerMount::Phase;

static constinit Vok::TraceFacility trace("HubdbRoots");

void ServerMount::say(Wire::Kind kind) {
   connection.send(kind, [this](auto& body) { body.u32(id); });
}

bool ServerMount::hasRoom() const {
   return connection.isOpen() && connection.queued() < Wire::portion;
}

void Roots::forward(Root& root, Bytes applied) {
   for (ServerMount* reader : root.readers) {
      if (reader->phase == Phase::behind || reader == root.owner)
         continue;
      if (reader->connection.queued() > queueLimit_) {
         tellWhole(*reader);
         continue;
      }
      if (reader->phase == Phase::live) {
         reader->connection.sendRecords(reader->id, applied);
      } else if (!reader->forward.empty()) {
         reader->connection.sendRecords(reader->id, reader->forward);
         reader->forward.clear();
      }
   }
}

/// From the beginning, once its queue is empty.
void Roots::tellWhole(ServerMount& mount) {
   mount.cursor.reset();
   mount.forward.clear();
   if (mount.phase != Phase::behind)
      if (auto line = trace.at(2))
         line << "mount " << mount.id << " of '" << mount.path << "' is told the whole state";
   mount.phase = Phase::behind;
   if (std::ranges::find(busy_, &mount) == busy_.end())
      busy_.push_back(&mount);
}

// -------------------------------------------------------------------------------------------------------------
// the end of a turn

void Roots::commit() {
   if (!journal_)
      return;
   journal_->commit();
   if (journal_->isLong())
      journalRewrite();
}

void Roots::tellMore() {
   for (ServerMount* owner : unsure_)
      if (!owner->root->replacing) {
         owner->connection.send(Wire::Kind::acknowledged, [&](auto& body) {
            body.u32(owner->id);
            body.u64(owner->accepted);
         });
         owner->acknowledged = owner->accepted;
      }
   std::erase_if(unsure_, [](const ServerMount* owner) { return owner->acknowledged == owner->accepted; });
   const auto busy = busy_;
   for (ServerMount* mount : busy)
      if (mount->hasRoom())
         pump(*mount);
}

bool Roots::hasMore() const {
   return std::ranges::any_of(busy_, [](const ServerMount* mount) { return mount->hasRoom(); });
}

/// Tells the next piece of the whole state.
void Roots::pump(ServerMount& mount) {
   if (mount.filter.isDirectory()) {
      listing(mount);
      mount.phase = Phase::live;
      std::erase(busy_, &mount);
      return;
   }
   if (mount.phase == Phase::behind) {
      mount.say(Wire::Kind::snapshotBegin);
      mount.cursor.emplace(*mount.root->state);
      mount.phase = Phase::snapshot;
   }
   piece_.clear();
   const bool more = mount.cursor->read(piece_, Wire::portion);
   if (!piece_.empty())
      mount.connection.sendRecords(mount.id, piece_);
   if (more)
      return;
   mount.say(Wire::Kind::snapshotEnd);
   mount.cursor.reset();
   mount.phase = Phase::live;
   std::erase(busy_, &mount);
   if (mount.root->owner == &mount)
      std::erase(mount.root->readers, &mount);
}

// -------------------------------------------------------------------------------------------------------------
// directories

namespace {

void sendEntry(ServerMount& mount, std::string_view name, bool present, std::string_view typeName) {
   mount.connection.send(Wire::Kind::entry, [&](auto& body) {
      body.u32(mount.id);
      body.u8(present);
      body.string(name);
      body.string(typeName);
   });
}

} // namespace

void Roots::listing(ServerMount& mount) {
   mount.say(Wire::Kind::snapshotBegin);
   const Vok::String prefix = mount.path + "/";
   for (auto at = roots_.lower_bound(prefix); at != roots_.end() && at->first.starts_with(prefix);) {
      const std::string_view below = std::string_view(at->first).substr(prefix.size());
      const std::size_t slash = below.find('/');
      const std::string_view name = below.substr(0, slash);
      if (slash == std::string_view::npos) {
         sendEntry(mount, name, true, at->second->type->name());
         ++at;
      } else {
         sendEntry(mount, name, true, Vok::Dir::vokType().name());
         at = roots_.lower_bound(prefix + Vok::String(name) + char('/' + 1));
      }
   }
   mount.say(Wire::Kind::snapshotEnd);
}

void Roots::entryChanged(const Vok::String& path, bool present, std::string_view typeName) {
   const auto [from, to] = directories_.equal_range(pathFolder(path));
   for (auto at = from; at != to; ++at) {
      ServerMount& mount = *at->second;
      if (mount.phase == Phase::behind)
         continue;
      if (mount.connection.queued() > queueLimit_)
         tellWhole(mount);
      else
         sendEntry(mount, pathName(path), present, typeName);
   }
}

} // namespace Hubdb
