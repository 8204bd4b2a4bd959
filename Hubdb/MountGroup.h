#pragma once
// Hubdb::MountGroup: mounts that are waited for together.

#include "Hubdb/MountFilter.h"
#include "Hubdb/MountStatus.h"

#include "Vok/Entity.h"

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace Hubdb {

class EntityManager;

/// Taken from EntityManager::mountGroup(); name what is wanted with doMount(), then close() the group. Once
/// closed it needs no pointer from outside. The mounts outlive the group, until the manager goes or they
/// fail; the same path mounted twice is one mount, and a directory mounted for entries of two types brings
/// both.
class MountGroup : public Vok::Entity {
  public:
   using Callback = std::function<void(MountStatus, EntityManager&)>;

   explicit MountGroup(const Vok::Ptr<EntityManager>& manager);
   ~MountGroup() override;

   /// Wants what stands at `path`, of the type of that name; for a directory that is "Vok::Dir", or the type
   /// of the entries that are wanted. Raises Vok::RangeError for a path that is none and a type that is not
   /// in the catalogue or cannot be made from a name; asserts that the group is not closed.
   void doMount(const Vok::String& path, std::string_view typeName, MountFilter filter);

   /// Starts the mounts. `complete` is called once, in a later turn of the activity and never from within
   /// close(): with mountSuccess() when everything is there, with the first other status as soon as one mount
   /// has failed. What waits for an owner or for the server waits as long as it takes. Not called when the
   /// manager goes before.
   void close(Callback complete);

   const Vok::EntityType& vokEntityType() const override { return vokType(); }
   static const Vok::EntityType& vokType();

  private:
   friend class EntityManager;
   struct Wanted {
      Vok::String path;
      const Vok::EntityType* type;
      MountFilter filter;
   };

   /// One mount of the group ended, well or not.
   void mounted(MountStatus status);
   void finish(MountStatus status);
   /// Lets go of the callback.
   void cancel() { const Callback dropped = std::exchange(complete_, nullptr); }

   Vok::Ptr<EntityManager> manager_;     ///< until the group is closed
   std::weak_ptr<EntityManager*> owner_; ///< from then on: the manager, if there still is one
   std::vector<Wanted> wanted_;
   std::size_t waiting_ = 0;
   Callback complete_; ///< from close() until it is posted
};

} // namespace Hubdb
