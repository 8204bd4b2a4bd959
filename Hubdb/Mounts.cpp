#include "Hubdb/Mounts.h"

#include "Hubdb/Path.h"

#include "Vok/Trace.h"

#include <algorithm>

namespace Hubdb {

namespace {

constinit Vok::TraceFacility trace("HubdbMounts");

/// Records are handed over in pieces of about so many bytes.
constexpr std::size_t pieceSize = 128 * 1024;

const Vok::EntityType& dirType() {
   return Vok::Dir::vokType();
}

} // namespace

EntityManager::Mounts::Mounts(EntityManager& manager)
    : manager_(manager), self_(std::make_shared<EntityManager*>(&manager)),
      turnEnd_(manager.activity().atTurnEnd([this] { turnEnds(); })) {}

EntityManager::Mounts::~Mounts() = default;

// ---- the table of mounts ----

EntityManager::Mounts::Key EntityManager::Mounts::keyOf(std::string_view path, MountFilter filter) {
   return {std::string(path), filter.isDirectory() ? filter.kind() : MountFilter::Kind::read};
}

EntityManager::Mounts::Mount* EntityManager::Mounts::find(MountId id) {
   const auto found = mounts_.find(id);
   return found == mounts_.end() ? nullptr : found->second.get();
}

EntityManager::Mounts::Mount* EntityManager::Mounts::find(std::string_view path, MountFilter filter) {
   const auto found = ids_.find(keyOf(path, filter));
   return found == ids_.end() ? nullptr : find(found->second);
}

EntityManager::Mounts::Mount& EntityManager::Mounts::add(const Vok::String& path, const Vok::EntityType& type,
                                                         MountFilter filter) {
   const MountId id = ++lastId_;
   ids_[keyOf(path, filter)] = id;
   auto& mount = mounts_[id] = std::make_unique<Mount>(id, path, type, filter);
   return *mount;
}

void EntityManager::Mounts::remove(MountId id) {
   const auto found = mounts_.find(id);
   ids_.erase(keyOf(found->second->path, found->second->filter));
   changed_.erase(id);
   referring_.erase(id);
   mounts_.erase(found);
}

/// The mount goes on as another one, with the entity that it has.
void EntityManager::Mounts::become(Mount& mount, MountFilter filter) {
   auto node = mounts_.extract(mount.id);
   referring_.erase(mount.id);
   if (connected_ && !mount.refused)
      link_->unmount(mount.id);
   mount.reading = filter == MountFilter::own();
   mount.filter = filter;
   mount.complete = mount.accepted = false;
   mount.id = node.key() = ++lastId_;
   ids_[keyOf(mount.path, filter)] = mount.id;
   mounts_.insert(std::move(node));
   ask(mount);
}

void EntityManager::Mounts::ask(Mount& mount) {
   if (!connected_)
      return;
   mount.refused = false;
   MountRequest request;
   request.mount = mount.id;
   request.path = mount.path;
   request.typeName = mount.filter.isDirectory() ? dirType().name() : mount.type->name();
   request.fingerprint = mount.filter.isDirectory() ? 0 : fingerprint(*mount.type);
   request.filter = mount.filter;
   request.resume = mount.outgoing != nullptr;
   link_->mount(request);
}

// ---- mounting ----

void EntityManager::Mounts::open(const Vok::String& path, const Vok::EntityType& type, MountFilter filter,
                                 const Vok::Ptr<MountGroup>& group) {
   Mount* mount = find(path, filter);
   if (mount && !filter.isDirectory() && mount->type != &type) {
      if (filter != MountFilter::own() || mount->complete || mount->filter == filter)
         return group->mounted(MountStatus::wrongType);
      fail(*mount, MountStatus::wrongType, "an owner makes it a " + Vok::String(type.name()));
      mount = nullptr;
   }
   const bool isNew = mount == nullptr;
   if (isNew)
      mount = &add(path, type, filter);
   else if (filter == MountFilter::entries())
      alsoWants(*mount, type);
   if (mount->complete && (filter == MountFilter::read() || mount->filter == filter))
      return group->mounted(MountStatus::success);
   mount->groups.push_back(group);
   if (isEmbedded()) {
      if (filter == MountFilter::own())
         mount->filter = filter;
      openHere(*mount);
   } else if (filter == MountFilter::own() && mount->filter == MountFilter::read()) {
      become(*mount, filter);
   } else if (isNew) {
      ask(*mount);
   }
}

/// A mount of this process's own database.
void EntityManager::Mounts::openHere(Mount& mount) {
   if (mount.filter.isDirectory()) {
      mount.entity = tree_.dirIs(mount.path);
   } else {
      mount.entity = tree_.root(mount.path);
      if (!mount.entity && mount.filter == MountFilter::own()) {
         const MountId id = mount.id;
         const auto made = mount.type->make(pathName(mount.path));
         mount.entity = made;
         const bool placed = tree_.rootIs(mount.path, made); // whoever is told may delete it
         if (!find(id))
            return;
         if (!placed)
            mount.entity = nullptr;
      } else if (!mount.entity && !tree_.dir(mount.path)) {
         return; // waits until somebody creates it
      }
   }
   if (!mount.entity)
      return fail(mount, MountStatus::wrongType, "something of another kind stands there or above");
   complete(mount);
}

Vok::Ptr<Vok::Entity> EntityManager::Mounts::ownNow(const Vok::String& path, const Vok::EntityType& type) {
   const auto refuse = [&](const Vok::String& why) { throw Vok::Error("cannot own '" + path + "': " + why); };
   if (!isEmbedded())
      refuse("with a server it takes a mount group");
   if (!type.isMadeFromName())
      refuse("'" + Vok::String(type.name()) + "' is not made from a name");
   const auto standing = tree_.root(path);
   if (standing && &standing->vokEntityType() != &type)
      refuse("there stands a '" + Vok::String(standing->vokEntityType().name()) + "'");
   if (standing)
      return standing;
   const auto made = type.make(pathName(path));
   if (!tree_.rootIs(path, made))
      refuse("something of another kind stands there or above");
   Mount* waiting = find(path, MountFilter::own());
   Mount& mount = waiting ? *waiting : add(path, type, MountFilter::own());
   mount.filter = MountFilter::own();
   if (mount.type == &type)
      openHere(mount);
   else
      fail(mount, MountStatus::wrongType, "there stands a '" + Vok::String(type.name()) + "'");
   return made;
}

void EntityManager::Mounts::del(const Vok::String& path) {
   Mount* mount = find(path, MountFilter::own());
   if (!mount || !mount->complete || mount->filter != MountFilter::own())
      throw Vok::Error("cannot delete '" + path + "': this process does not own it");
   if (connected_)
      link_->del(mount->id);
   remove(mount->id);
   tree_.rootDel(path);
}

void EntityManager::Mounts::waitingDelAll() {
   std::vector<Vok::Ptr<MountGroup>> waiting; // let go of last: whoever goes with them may mount and delete
   for (const auto& [id, mount] : mounts_)
      for (auto& group : std::exchange(mount->groups, {}))
         waiting.push_back(std::move(group));
   for (const auto& group : waiting)
      group->cancel();
}

void EntityManager::Mounts::complete(Mount& mount) {
   mount.complete = true;
   mount.reading = false;
   arrived_ = true;
   tell(mount, MountStatus::success);
}

void EntityManager::Mounts::tell(Mount& mount, MountStatus status) {
   for (const auto& group : std::exchange(mount.groups, {}))
      group->mounted(status);
}

void EntityManager::Mounts::fail(Mount& mount, MountStatus status, const Vok::String& text) {
   if (auto line = trace.at(1))
      line << "mount of " << mount.path << " as " << mount.type->name() << " failed: " << stringValue(status)
           << ", " << text;
   tell(mount, status);
   if (mount.reading)
      return become(mount, MountFilter::read());
   if (mount.complete)
      return; // refused after a reconnection: it stays as it is, and is asked for at the next one
   const MountId id = mount.id;
   entryIsWhole(mount); // no more of it than its name will be there
   if (find(id))
      remove(id);
}

// ---- sending ----

void EntityManager::Mounts::sendLater(MountId id) {
   if (changed_.empty())
      manager_.activity().wantTurnEnd(); // whoever changes it and when
   changed_.insert(id);
}

bool EntityManager::Mounts::hasUnsent() const {
   return std::ranges::any_of(mounts_, [this](const auto& entry) {
      const Mount& mount = *entry.second;
      return mount.outgoing && (!mount.accepted || changed_.contains(mount.id));
   });
}

void EntityManager::Mounts::turnEnds() {
   const auto keepAlive = this->keepAlive();
   resolveReferences();
   handOverAll();
}

void EntityManager::Mounts::flush() {
   handOverAll();
   if (link_)
      link_->flush();
}

/// What the link takes; it is on its way when the turn has ended.
void EntityManager::Mounts::handOverAll() {
   while (connected_ && !changed_.empty() && link_->writable()) {
      const MountId id = *changed_.begin();
      changed_.erase(changed_.begin());
      if (Mount* mount = find(id); mount && mount->accepted)
         send(*mount);
   }
}

/// As much as the link takes; the rest stays.
void EntityManager::Mounts::send(Mount& mount) {
   Outgoing& outgoing = *mount.outgoing;
   bool all = false;
   while (!all && link_->writable()) {
      if (outgoing.snapshotting()) {
         const bool whole = outgoing.snapshot(writer_, pieceSize);
         handOver(mount);
         if (whole)
            link_->snapshotEnd(mount.id);
      } else {
         all = outgoing.flush(writer_, pieceSize);
         handOver(mount);
      }
   }
   if (!all)
      changed_.insert(mount.id);
}

void EntityManager::Mounts::handOver(Mount& mount) {
   if (writer_.size() > 0)
      link_->records(mount.id, writer_.bytes().data(), writer_.size());
   writer_.clear();
}

// ---- references ----

void EntityManager::Mounts::resolveReferences() {
   if (!std::exchange(arrived_, false))
      return;
   for (const MountId id : std::set<MountId>(referring_))
      if (Mount* mount = find(id); mount && mount->incoming && mount->incoming->missesTargets())
         mount->incoming->resolve();
}

void EntityManager::Mounts::goes(const Vok::Entity& entity) {
   if (referring_.empty())
      return;
   Vok::NboAttrLog::Writer address;
   write(&entity, address);
   for (const MountId id : std::set<MountId>(referring_))
      if (Mount* mount = find(id); mount && mount->incoming)
         mount->incoming->targetGoes(entity, address.buffer());
}

} // namespace Hubdb
