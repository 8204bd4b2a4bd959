#pragma once

#include "Pooltab/PoolReader.h"
#include "Pooltab/PoolWriter.h"
#include "Vok/Entity.h"

#include <functional>

/// The control attribute of an entity's table: where the table is mounted and how it fares. Collection adds
/// the rows.

namespace Pooltab {

class CollectionControl {
  public:
   CollectionControl(const CollectionControl&) = delete;
   virtual ~CollectionControl() = default;

   /// Attaches the collection to a table of a pool, which must live until unmount(). Its own rows are those
   /// of the table then; whoever watches is told of the whole collection and of the mount status. For
   /// writers: raises what PoolWriter::store raises. For readers never: mountStatus() tells.
   virtual void mount(PoolWriter& pool, const std::string& table) = 0;
   virtual void mount(PoolReader& pool, const std::string& table) = 0;
   /// Back to an empty collection.
   virtual void unmount() = 0;

   /// For observers that keep what they know by key. Where a reader's collection would tell that all of it
   /// may have changed, because changes were lost or another writer or file took over, it then tells key by
   /// key: of each row that was written since it was last told of, and of each key that is gone. The price is
   /// a walk at a gap, a hash operation a change, and in private memory each key with 20 to 30 bytes. A table
   /// that a walk finds corrupted (corruptionDetected tells) is told of as a whole again.
   virtual void exactResyncIs(bool exact) = 0;

   /// Packed bytes of a key.
   virtual U32 keyBytes() const = 0;
   virtual MountStatus mountStatus() const = 0;
   /// Why the status is not `mounted`; empty when it is.
   virtual std::string mountText() const = 0;
   /// Zeroes while unmounted.
   virtual TableStatistics statistics() const = 0;
   /// Rows that the table holds before its index grows; it grows by itself.
   U64 capacity() const { return statistics().capacity; }

   /// What readers of rows call when they caught a Vok::CorruptionDetectedError and treat the row as missing.
   /// Traces the message unless another handler is set.
   void corruptionDetected(const std::string& message) const;
   void corruptionHandlerIs(std::function<void(const std::string&)> handler) {
      corruption_ = std::move(handler);
   }
   /// How often corruptionDetected was called.
   U64 corruptions() const { return corruptions_; }

   /// The entity whose attribute this is, to be told of changes. Called once, by the entity's constructor.
   void ownerIs(const Vok::Entity& owner, Vok::AttrId attr) {
      owner_ = &owner;
      attr_ = attr;
   }

  protected:
   CollectionControl() = default;

   void notifyKey(const void* key) const {
      if (owner_)
         owner_->vokNotify(attr_, key);
   }
   void notifyCollection() const {
      if (owner_)
         owner_->vokNotifyCollection(attr_);
   }
   void notifyMountStatus() const {
      if (owner_)
         owner_->vokNotifyMountStatus(attr_);
   }
   const Vok::Entity* owner() const { return owner_; }
   /// Raised by mutators of a collection that is not mounted for writing.
   [[noreturn]] void notWritable() const;

  private:
   const Vok::Entity* owner_ = nullptr;
   Vok::AttrId attr_ = 0;
   std::function<void(const std::string&)> corruption_;
   mutable U64 corruptions_ = 0;
};

} // namespace Pooltab
