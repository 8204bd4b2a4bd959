// What the link tells the entity manager.

#include "Hubdb/Mounts.h"
#include "Hubdb/Path.h"

#include "Vok/Trace.h"

namespace Hubdb {

namespace {

constinit Vok::TraceFacility trace("HubdbMounts");

} // namespace

void EntityManager::Mounts::linkIs(std::unique_ptr<Link> link) {
   link_ = std::move(link);
}

/// Owners first: what they bring is there when readers ask.
void EntityManager::Mounts::onConnected() {
   connected_ = true;
   for (const bool owners : {true, false})
      for (const auto& [id, mount] : mounts_)
         if ((mount->filter == MountFilter::own()) == owners)
            ask(*mount);
}

void EntityManager::Mounts::onDisconnected() {
   connected_ = false;
   for (const auto& [id, mount] : mounts_)
      mount->accepted = false;
   changed_.clear(); // owners send everything when they are mounted again
}

void EntityManager::Mounts::onWritable() {
   handOverAll();
}

/// Raises Vok::LogError when there is no such mount, or it is of the other sort. Null for a mount that has
/// been given up while this was on its way.
EntityManager::Mounts::Mount* EntityManager::Mounts::mountOf(MountId id, bool ofDirectory) {
   Mount* mount = find(id);
   if (id > lastId_ || (mount && mount->filter.isDirectory() != ofDirectory))
      throw Vok::LogError("mount " + std::to_string(id) + " is not one of a" +
                          (ofDirectory ? " directory" : "n entity"));
   return mount;
}

void EntityManager::Mounts::onMountStatus(MountId id, MountStatus status, const Vok::String& text) {
   const auto keepAlive = this->keepAlive();
   Mount* mount = find(id);
   if (!mount)
      return;
   mount->refused = status != MountStatus::success;
   if (mount->refused)
      return fail(*mount, status, text);
   mount->accepted = true;
   if (!mount->outgoing)
      return;
   mount->outgoing->snapshotStart();
   link_->snapshotBegin(id);
   sendLater(id);
}

void EntityManager::Mounts::onSnapshotBegin(MountId id) {
   const auto keepAlive = this->keepAlive();
   Mount* mount = find(id);
   if (mount && mount->filter.isDirectory())
      return listingBegins(*mount);
   mount = mountOf(id, false);
   if (!mount || mount->outgoing)
      return;
   if (!mount->incoming) {
      if (!mount->entity)
         mount->entity = mount->type->make(pathName(mount->path));
      mount->incoming = std::make_unique<Incoming>(mount->entity, incomingPlans_, *this);
   }
   mount->incoming->snapshotBegin();
}

void EntityManager::Mounts::onRecords(MountId id, const Vok::U8* bytes, std::size_t size) {
   const auto keepAlive = this->keepAlive();
   Mount* mount = mountOf(id, false);
   if (!mount)
      return;
   if (!mount->incoming)
      throw Vok::LogError("records of mount " + std::to_string(id) + " before its snapshot");
   mount->incoming->apply({bytes, size});
   arrived_ = true;
   mount = find(id); // gone when who was told wants to own it
   if (mount && mount->incoming->refers())
      referring_.insert(id);
}

void EntityManager::Mounts::onSnapshotEnd(MountId id) {
   const auto keepAlive = this->keepAlive();
   Mount* mount = find(id);
   if (mount && mount->filter.isDirectory())
      return listingEnds(*mount);
   mount = mountOf(id, false);
   if (!mount || mount->outgoing)
      return;
   if (!mount->incoming || !mount->incoming->inSnapshot())
      throw Vok::LogError("mount " + std::to_string(id) + " ends a snapshot that did not begin");
   mount->incoming->snapshotEnd();
   mount = find(id); // gone when who was told wants to own it
   if (mount && mount->incoming->refers())
      referring_.insert(id);
   if (mount && !mount->complete)
      becomesWhole(id);
}

/// Its first snapshot is there. Its directory tells of it last; whoever is told may do anything.
void EntityManager::Mounts::becomesWhole(MountId id) {
   Mount* mount = find(id);
   if (mount->filter == MountFilter::own()) {
      mount->outgoing = std::make_unique<Outgoing>(mount->entity, mount->incoming->release(), outgoingPlans_,
                                                   *this, [this, id] { sendLater(id); });
      mount->incoming = nullptr;
      referring_.erase(id);
   }
   const bool placed = tree_.root(mount->path) == mount->entity || tree_.rootIs(mount->path, mount->entity);
   mount = find(id);
   if (mount && !placed)
      return fail(*mount, MountStatus::wrongType, "something of another kind stands there or above");
   if (mount)
      complete(*mount);
   if (mount)
      entryIsWhole(*mount);
}

void EntityManager::Mounts::onGone(MountId id) {
   const auto keepAlive = this->keepAlive();
   Mount* mount = mountOf(id, false);
   if (!mount || !mount->incoming)
      return;
   mount->incoming->leave();
   referring_.erase(id);
   mount->incoming = nullptr;
   mount->entity = nullptr;
   mount->complete = false;
   tree_.rootDel(mount->path);
}

// ---- directories ----

void EntityManager::Mounts::onEntry(MountId id, const Vok::String& name, bool present,
                                    const Vok::String& typeName) {
   const auto keepAlive = this->keepAlive();
   Mount* mount = mountOf(id, true);
   if (!mount)
      return;
   if (!mount->entity || name.empty() || name.find('/') != Vok::String::npos)
      throw Vok::LogError("an entry of mount " + std::to_string(id) + " with the name '" + name + "'");
   if (present)
      entryComes(*mount, name, typeName);
   else
      entryGoes(*mount, name);
}

void EntityManager::Mounts::entryComes(Mount& mount, const std::string& name, const Vok::String& typeName) {
   mount.unlisted.erase(name);
   const Vok::EntityType* type = manager_.catalogue().find(typeName);
   if (!mount.listed.emplace(name, type).second)
      return;
   const Vok::String path = mount.path + "/" + name;
   if (type == &Vok::Dir::vokType())
      tree_.dirIs(path);
   if (mount.wants(type))
      return readEntry(mount, name);
   tree_.entryIs(path);
}

/// Its directory tells of it when its entity is whole.
void EntityManager::Mounts::readEntry(Mount& directory, const std::string& name) {
   const Vok::String path = directory.path + "/" + name;
   Mount* entry = find(path, MountFilter::read());
   if (entry && entry->complete)
      return tree_.entryIs(path);
   directory.unwhole.insert(name);
   if (!entry) {
      entry = &add(path, *directory.listed.at(name), MountFilter::read());
      ask(*entry);
   }
   entry->entriesOf = directory.id;
}

/// A directory of entries is mounted again for entries of another type: those that were listed by their names
/// are read now, and the rest as they come.
void EntityManager::Mounts::alsoWants(Mount& directory, const Vok::EntityType& type) {
   if (directory.type == &type || !directory.otherTypes.insert(&type).second)
      return;
   for (const auto& [name, listed] : directory.listed)
      if (directory.wants(listed))
         readEntry(directory, name);
   directory.complete = directory.complete && directory.unwhole.empty();
}

void EntityManager::Mounts::entryIsWhole(const Mount& entry) {
   Mount* directory = entry.entriesOf ? find(entry.entriesOf) : nullptr;
   const std::string name(pathName(entry.path));
   if (!directory || !directory->listed.contains(name))
      return;
   const MountId id = directory->id;
   directory->unwhole.erase(name);
   tree_.entryIs(entry.path);
   if (Mount* still = find(id))
      completeIfWhole(*still);
}

void EntityManager::Mounts::entryGoes(Mount& mount, const std::string& name) {
   mount.unlisted.erase(name);
   mount.unwhole.erase(name);
   if (mount.listed.erase(name) == 0)
      return;
   const MountId id = mount.id;
   const std::string path = mount.path + "/" + name;
   tree_.entryDel(path);
   // An entity that only this directory wanted is wanted no more, unless who is told that it goes wants it.
   const auto unwanted = [&] {
      Mount* entry = find(path, MountFilter::read());
      const bool isWanted =
          !entry || entry->entriesOf != id || !entry->groups.empty() || entry->filter != MountFilter::read();
      return isWanted ? nullptr : entry;
   };
   if (Mount* entry = unwanted(); entry && entry->incoming)
      entry->incoming->leave();
   if (Mount* entry = unwanted()) {
      if (connected_)
         link_->unmount(entry->id);
      remove(entry->id);
      tree_.rootDel(path);
   }
   if (Mount* still = find(id))
      completeIfWhole(*still);
}

void EntityManager::Mounts::listingBegins(Mount& mount) {
   mount.listing = true;
   for (const auto& [name, type] : mount.listed)
      mount.unlisted.insert(name);
   if (mount.entity)
      return;
   const MountId id = mount.id;
   const auto dir = tree_.dirIs(mount.path);
   if (!find(id))
      return;
   mount.entity = dir;
   tree_.listedIs(mount.path);
   if (dir)
      return;
   link_->unmount(id);
   fail(mount, MountStatus::wrongType, "an entity stands there or above");
}

void EntityManager::Mounts::listingEnds(Mount& mount) {
   const MountId id = mount.id;
   for (const std::string& name : std::set<std::string>(mount.unlisted))
      entryGoes(mount, name);
   mount.listing = false;
   if (Mount* still = find(id))
      completeIfWhole(*still);
}

void EntityManager::Mounts::completeIfWhole(Mount& directory) {
   if (!directory.complete && !directory.listing && directory.unwhole.empty() && directory.entity)
      complete(directory);
}

} // namespace Hubdb
