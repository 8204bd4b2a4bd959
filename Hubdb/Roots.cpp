#include "Hubdb/Roots.h"

#include "Hubdb/Path.h"

#include "Vok/Dir.h"
#include "Vok/Errors.h"

#include <algorithm>

namespace Hubdb {

using Vok::U8;
using Phase = ServerMount::Phase;

void sendStatus(Connection& connection, MountId mount, MountStatus status, std::string_view text) {
   connection.send(Wire::Kind::status, [&](auto& body) {
      body.u32(mount);
      body.u8(static_cast<U8>(status));
      body.string(text.substr(0, Wire::maxTextSize));
   });
}

Roots::~Roots() = default;

std::size_t Roots::memory() const {
   std::size_t bytes = 0;
   for (const auto& [path, root] : roots_)
      bytes += root->state->memory() + (root->replacing ? root->replacing->memory() : 0);
   return bytes;
}

// -------------------------------------------------------------------------------------------------------------
// roots

Root& Roots::create(Vok::String path, const Vok::EntityType& type) {
   auto made = std::make_unique<Root>();
   made->number = ++lastNumber_;
   made->path = path;
   made->type = &type;
   made->state = std::make_unique<RecordStore>(check_, type);
   Root& root = *made;
   numbers_[root.number] = &root;
   // Directories above that are new with it are entries themselves.
   Vok::String above = path;
   std::vector<Vok::String> newFolders;
   for (above = pathFolder(above); !above.empty() && !holds(above); above = pathFolder(above))
      newFolders.push_back(above);
   roots_.emplace(std::move(path), std::move(made));
   for (const Vok::String& folder : newFolders)
      entryChanged(folder, true, Vok::Dir::vokType().name());
   entryChanged(root.path, true, type.name());
   return root;
}

/// Nobody may be attached any more.
void Roots::remove(Root& root) {
   const Vok::String path = root.path;
   numbers_.erase(root.number);
   roots_.erase(path);
   entryChanged(path, false, {});
   for (Vok::String above(pathFolder(path)); !above.empty() && !holds(above); above = pathFolder(above))
      entryChanged(above, false, {});
}

/// Whether anything stands below.
bool Roots::holds(std::string_view folder) const {
   const Vok::String prefix = Vok::String(folder) + "/";
   const auto first = roots_.lower_bound(prefix);
   return first != roots_.end() && first->first.starts_with(prefix);
}

Root& Roots::ownedBy(ServerMount& mount) const {
   if (!mount.root || mount.root->owner != &mount)
      throw Vok::Error("mount " + std::to_string(mount.id) + " of '" + mount.path +
                       "' owns nothing; what is mounted read-only is its owner's to write");
   return *mount.root;
}

// -------------------------------------------------------------------------------------------------------------
// mounts

MountStatus Roots::mount(ServerMount& mount, const MountRequest& request, Vok::String& text) {
   if (mount.filter.isDirectory()) {
      directories_.emplace(mount.path, &mount);
      sendStatus(mount.connection, mount.id, MountStatus::success, {});
      mount.phase = Phase::behind;
      busy_.push_back(&mount);
      return MountStatus::success;
   }
   mount.type = catalogue_.find(request.typeName);
   if (!mount.type || !mount.type->isMadeFromName()) {
      text = "the server knows no entity type '" + request.typeName + "'; run one that was built with it";
      return MountStatus::wrongType;
   }
   if (const Vok::U64 own = fingerprint(*mount.type); own != request.fingerprint) {
      char numbers[64];
      std::snprintf(numbers, sizeof numbers, "%016llx, the server %016llx",
                    static_cast<unsigned long long>(request.fingerprint),
                    static_cast<unsigned long long>(own));
      text = "the declaration of '" + request.typeName + "' differs: this program has " + numbers +
             "; build both from the same declarations";
      return MountStatus::wrongDeclaration;
   }
   return mount.filter == MountFilter::own() ? mountOwner(mount, request, text) : mountReader(mount, text);
}

MountStatus Roots::mountReader(ServerMount& mount, Vok::String& text) {
   const auto found = roots_.find(mount.path);
   if (found == roots_.end()) {
      waiting_.emplace(mount.path, &mount);
      return MountStatus::success;
   }
   if (found->second->type != mount.type) {
      text = "'" + mount.path + "' is a " + Vok::String(found->second->type->name());
      return MountStatus::wrongType;
   }
   attach(mount, *found->second);
   return MountStatus::success;
}

MountStatus Roots::mountOwner(ServerMount& mount, const MountRequest& request, Vok::String& text) {
   const auto found = roots_.find(mount.path);
   Root* root = found == roots_.end() ? nullptr : found->second.get();
   if (root && root->type != mount.type) {
      text = "'" + mount.path + "' is a " + Vok::String(root->type->name());
      return MountStatus::wrongType;
   }
   if (root && root->owner && root->owner->connection.isHungUp())
      unmount(*root->owner); // its end has not been read yet
   if (root && root->owner) {
      text = "'" + mount.path + "' has an owner, which lives";
      return MountStatus::owned;
   }
   if (!root) {
      if (holds(mount.path)) {
         text = "'" + mount.path + "' is a directory";
         return MountStatus::wrongType;
      }
      for (Vok::String above(pathFolder(mount.path)); !above.empty(); above = pathFolder(above))
         if (roots_.contains(above)) {
            text = "'" + above + "' is an entity; nothing can stand below it";
            return MountStatus::wrongType;
         }
      root = &create(mount.path, *mount.type);
      root->awaited = request.resume;
      journalCreate(*root);
   }
   root->owner = &mount;
   mount.root = root;
   if (!request.resume) {
      attach(mount, *root);
   } else {
      mount.phase = Phase::live;
      sendStatus(mount.connection, mount.id, MountStatus::success, {});
   }
   for (auto [at, end] = waiting_.equal_range(root->path); at != end;) {
      ServerMount& reader = *at->second;
      at = waiting_.erase(at);
      if (reader.type == root->type)
         attach(reader, *root);
      else
         sendStatus(reader.connection, reader.id, MountStatus::wrongType,
                    "'" + root->path + "' is a " + Vok::String(root->type->name()));
   }
   return MountStatus::success;
}

void Roots::attach(ServerMount& mount, Root& root) {
   mount.root = &root;
   root.readers.push_back(&mount);
   mount.phase = Phase::behind;
   if (!root.awaited)
      busy_.push_back(&mount);
   sendStatus(mount.connection, mount.id, MountStatus::success, {});
}

void Roots::unmount(ServerMount& mount) {
   const auto forget = [&](auto& byPath) {
      const auto [from, to] = byPath.equal_range(mount.path);
      const auto found = std::find_if(from, to, [&](const auto& entry) { return entry.second == &mount; });
      if (found != to)
         byPath.erase(found);
   };
   forget(mount.filter.isDirectory() ? directories_ : waiting_);
   std::erase(busy_, &mount);
   std::erase(unsure_, &mount);
   mount.cursor.reset();
   if (Root* root = mount.root) {
      std::erase(root->readers, &mount);
      if (root->owner == &mount) {
         root->owner = nullptr;
         replacingDrop(*root);
         if (root->awaited)
            tellAll(*root);
      }
      mount.root = nullptr;
   }
}

void Roots::del(ServerMount& owner) {
   Root& root = ownedBy(owner);
   journal(JournalKind::del, root);
   unmount(owner);
   const auto readers = root.readers;
   for (ServerMount* reader : readers) {
      unmount(*reader);
      reader->say(Wire::Kind::gone);
      reader->phase = Phase::waiting;
      waiting_.emplace(reader->path, reader);
   }
   remove(root);
}

// -------------------------------------------------------------------------------------------------------------
// records

void Roots::records(ServerMount& owner, Bytes records) {
   Root& root = ownedBy(owner);
   if (owner.phase != Phase::live)
      throw Vok::Error("records for '" + root.path + "' before its owner has its state");
   RecordStore& store = root.replacing ? *root.replacing : *root.state;
   std::vector<ServerMount*> beingTold;
   for (ServerMount* reader : root.readers)
      if (reader->phase == Phase::snapshot && !root.replacing)
         beingTold.push_back(reader);
   std::function<void(const Record&)> tell;
   if (!beingTold.empty())
      tell = [&](const Record& record) {
         for (ServerMount* told : beingTold)
            if (told->cursor->concerns(record))
               told->forward.insert(told->forward.end(), record.whole.begin(), record.whole.end());
      };
   std::size_t applied = 0;
   const auto accept = [&] {
      if (applied == 0)
         return;
      journal(JournalKind::records, root, records.first(applied));
      if (!root.replacing)
         forward(root, records.first(applied));
   };
   try {
      store.apply(records, applied, tell);
   } catch (const Vok::Error& error) {
      for (ServerMount* told : beingTold) // the record refused may be among them
         tellWhole(*told);
      accept();
      throw Vok::LogError("record at byte " + std::to_string(applied) + " for '" + root.path +
                          "': " + error.what());
   }
   accept();
   accepted(owner);
}

void Roots::snapshotBegin(ServerMount& owner) {
   Root& root = ownedBy(owner);
   if (owner.phase != Phase::live)
      throw Vok::Error("a snapshot of '" + root.path + "' before its owner has its state");
   journal(JournalKind::snapshotBegin, root);
   root.replacing = std::make_unique<RecordStore>(check_, *root.type);
   accepted(owner);
}

void Roots::snapshotEnd(ServerMount& owner) {
   Root& root = ownedBy(owner);
   if (!root.replacing)
      throw Vok::Error("the end of a snapshot of '" + root.path + "' that did not begin");
   journal(JournalKind::snapshotEnd, root);
   replace(root);
   accepted(owner);
}

void Roots::accepted(ServerMount& owner) {
   ++owner.accepted;
   if (std::ranges::find(unsure_, &owner) == unsure_.end())
      unsure_.push_back(&owner);
}

void Roots::replace(Root& root) {
   tellAll(root);
   root.state = std::move(root.replacing);
}

void Roots::tellAll(Root& root) {
   root.awaited = false;
   for (ServerMount* reader : root.readers)
      tellWhole(*reader);
}

void Roots::replacingDrop(Root& root) {
   if (root.replacing)
      journal(JournalKind::snapshotDropped, root);
   root.replacing = nullptr;
}

} // namespace Hubdb
