#pragma once
// Hubdb::Outgoing: watches a tree that this process owns, and writes what changed in it as records.

#include "Hubdb/DirtyMarks.h"
#include "Hubdb/EntityNumbers.h"
#include "Hubdb/References.h"

#include <functional>
#include <memory>

namespace Hubdb {

/// Every change leaves a mark; flush() writes for each mark what stands there then, in order of first
/// marking, so that a value that was set many times travels once. What comes to be between two flushes
/// travels whole.
class Outgoing {
  public:
   /// Called at the first mark after everything was written.
   using FirstMark = std::function<void()>;

   /// Watches `root` and all below it. `plans` and `references` must outlive it.
   Outgoing(Vok::Ptr<Vok::Entity> root, Plans& plans, const References& references, FirstMark firstMark);
   /// The same of a tree that has its numbers already, as Incoming filled it.
   Outgoing(Vok::Ptr<Vok::Entity> root, EntityNumbers numbers, Plans& plans, const References& references,
            FirstMark firstMark);
   ~Outgoing();
   Outgoing(const Outgoing&) = delete;
   Outgoing& operator=(const Outgoing&) = delete;

   /// Appends records for the marks until there are none left, or `writer` holds `limit` bytes or more.
   /// Returns whether everything is written.
   bool flush(RecordWriter& writer, std::size_t limit);

   /// Begins the whole state anew; snapshot() then appends it piece by piece and returns whether it is
   /// complete. What changes meanwhile is marked and follows with flush(), which waits until then.
   void snapshotStart() { walk_ = rootNumber; }
   bool snapshotting() const { return walk_ != EntityNumbers::none; }
   bool snapshot(RecordWriter& writer, std::size_t limit);

   /// Entities below the root, itself included.
   std::size_t entities() const { return numbers_.size(); }

  private:
   class Watcher;

   void watch(EntityNumber number);
   void onChange(EntityNumber number, Vok::U16 plan, Vok::AttrId attr, const void* key);
   void writeMark(const DirtyMarks::Mark& mark, RecordWriter& writer);
   void writeMember(EntityNumber parent, EntityPlan::Attribute& attribute, Bytes key, RecordWriter& writer);
   void writeReference(EntityNumber number, const EntityPlan::Attribute& attribute, Bytes key,
                       const Vok::Entity* target, RecordWriter& writer);
   /// Everything of one entity but what stands below it.
   void writeOwn(EntityNumber number, RecordWriter& writer);
   void writeEntries(EntityNumber number, const EntityPlan::Attribute& attribute, RecordWriter& writer);
   /// Numbers and watches an entity and all below it; writes them if there is a writer.
   void take(Vok::Entity& entity, EntityNumber parent, EntityPlan::Attribute& attribute,
             RecordWriter* writer);
   void takeBelow(EntityNumber number, RecordWriter* writer);
   void writeMemberRecord(EntityNumber number, RecordWriter& writer);
   void drop(EntityNumber number, RecordWriter& writer);
   Bytes packKey(const Vok::Type* type, const void* key);

   /// The index: the number of what stands in an attribute under a key.
   EntityNumber numberUnder(EntityNumber parent, Vok::AttrId attr, Bytes key);
   void indexIs(EntityNumber number);
   void indexDel(EntityNumber number);
   std::size_t home(EntityNumber number) const;

   Vok::Ptr<Vok::Entity> root_;
   Plans& plans_;
   const References& references_;
   const FirstMark firstMark_;
   EntityNumbers numbers_;
   std::vector<EntityNumber> free_;                 ///< the last is given first
   std::vector<EntityNumber> freed_;                ///< by the flush under way, and free when it is complete
   std::vector<std::unique_ptr<Watcher>> watchers_; ///< by number
   std::vector<EntityNumber> index_;                ///< open addressing, a power of two; none is empty
   DirtyMarks marks_;
   EntityNumber walk_ = EntityNumbers::none; ///< the entity that snapshot() writes next
   Vok::NboAttrLog::Writer keyLog_;          ///< scratch
   Vok::NboAttrLog::Writer otherLog_;        ///< scratch
};

} // namespace Hubdb
