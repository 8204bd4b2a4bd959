#include "Hubdb/MountGroup.h"

#include "Hubdb/Mounts.h"
#include "Hubdb/Path.h"

#include "Vok/Assert.h"

namespace Hubdb {

MountGroup::MountGroup(const Vok::Ptr<EntityManager>& manager) : manager_(manager) {}

MountGroup::~MountGroup() = default;

const Vok::EntityType& MountGroup::vokType() {
   static const Vok::EntityType type("Hubdb::MountGroup", Vok::Kind::entity,
                                     "Mounts that are waited for together.", nullptr, {}, {});
   return type;
}

void MountGroup::doMount(const Vok::String& path, std::string_view typeName, MountFilter filter) {
   vokAssert(manager_);
   const Vok::EntityType* type = manager_->catalogue().find(typeName);
   if (!type || !type->isMadeFromName())
      throw Vok::RangeError(
          "cannot mount '" + path + "': the type '" + Vok::String(typeName) +
          (type ? "' is not made from a name" : "' is not in the catalogue of this process"));
   wanted_.push_back({checkedPath(path), type, filter});
}

void MountGroup::close(Callback complete) {
   vokAssert(manager_);
   const Vok::Ptr<MountGroup> keepAlive(this);
   const Vok::Ptr<EntityManager> manager = std::exchange(manager_, nullptr);
   owner_ = manager->mounts_->self();
   complete_ = std::move(complete);
   waiting_ = wanted_.size();
   if (waiting_ == 0)
      finish(MountStatus::success);
   for (const Wanted& wanted : wanted_)
      manager->mounts_->open(wanted.path, *wanted.type, wanted.filter, keepAlive);
}

void MountGroup::mounted(MountStatus status) {
   --waiting_;
   if (status != MountStatus::success || waiting_ == 0)
      finish(status);
}

void MountGroup::finish(MountStatus status) {
   const std::shared_ptr<EntityManager*> owner = owner_.lock();
   if (!complete_ || !owner)
      return;
   (*owner)->activity().post([owner = owner_, complete = std::exchange(complete_, nullptr), status] {
      if (const auto manager = owner.lock()) {
         const Vok::Ptr<EntityManager> keepAlive(*manager);
         complete(status, *keepAlive);
      }
   });
}

} // namespace Hubdb
