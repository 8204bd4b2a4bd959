#include "Hubdb/EntityManager.h"

#include "Hubdb/Mounts.h"
#include "Hubdb/Path.h"

namespace Hubdb {

EntityManager::EntityManager(Vok::Activity& activity, Catalogue catalogue)
    : activity_(activity), catalogue_(std::move(catalogue)), mounts_(std::make_unique<Mounts>(*this)) {}

EntityManager::~EntityManager() = default;

const Vok::EntityType& EntityManager::vokType() {
   static const Vok::EntityType type("Hubdb::EntityManager", Vok::Kind::entity,
                                     "One process's view of the central database.", nullptr, {}, {});
   return type;
}

Vok::Ptr<MountGroup> EntityManager::mountGroup() {
   return Vok::make<MountGroup>(Vok::Ptr<EntityManager>(this));
}

Vok::Ptr<Vok::Entity> EntityManager::getEntity(std::string_view path) const {
   const Vok::String checked = checkedPath(path);
   if (auto root = mounts_->tree().root(checked))
      return root;
   return mounts_->tree().dir(checked);
}

Vok::Ptr<Vok::Entity> EntityManager::ownNow(std::string_view path, const Vok::EntityType& type) {
   const Vok::Ptr<EntityManager> keepAlive(this);
   return mounts_->ownNow(checkedPath(path), type);
}

void EntityManager::del(std::string_view path) {
   mounts_->del(checkedPath(path));
}

void EntityManager::flush() {
   mounts_->flush();
}

bool EntityManager::hasUnsent() const {
   return mounts_->hasUnsent();
}

void EntityManager::waitingDelAll() {
   const Vok::Ptr<EntityManager> keepAlive(this);
   mounts_->waitingDelAll();
}

void EntityManager::linkIs(std::unique_ptr<Link> link) {
   mounts_->linkIs(std::move(link));
}

LinkClient& EntityManager::linkClient() {
   return *mounts_;
}

} // namespace Hubdb
