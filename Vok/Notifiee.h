#pragma once
// Who is told of changes. A Notifiee watches one entity; a reactor of a state machine is a Notifiee
// whose handler is a function of the machine.

#include "Vok/Ptr.h"
#include "Vok/Types.h"

namespace Vok {

class Entity;

/// The number of an attribute within its entity type.
using AttrId = U16;

/// Attaches itself to an entity for as long as it lives and keeps the entity alive. Notifications come
/// on the activity thread, after the change is stored, in the order in which notifiees attached. From
/// inside one, anything may be attached, detached, changed or destroyed, the notifiee itself included.
class Notifiee {
  public:
   Notifiee(const Notifiee&) = delete;
   Notifiee& operator=(const Notifiee&) = delete;
   virtual ~Notifiee();

   const Entity* vokWatched() const { return watched_.get(); }

   /// An attribute changed; for a collection, the entry under `*key`, which has the collection's key
   /// type and lives until the call returns. `key` is null for anything but a collection.
   virtual void vokOnChange(AttrId attr, const void* key) = 0;
   /// Anything in the collection may have changed.
   virtual void vokOnCollection(AttrId attr) { (void)attr; }
   /// The mount status of a shared table changed.
   virtual void vokOnMountStatus(AttrId attr) { (void)attr; }

  protected:
   /// `watched` may be null: then nothing is ever told.
   explicit Notifiee(Ptr<const Entity> watched);

  private:
   friend class Entity;

   Ptr<const Entity> watched_;
   // The entity's notifiees, in order of attachment; the first one's `previous` is the last.
   Notifiee* next_ = nullptr;
   Notifiee* previous_ = nullptr;
};

} // namespace Vok
