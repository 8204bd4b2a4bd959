#pragma once
// Hubdb::Incoming: applies the records of another process's tree to a tree of this one.

#include "Hubdb/DirtyMarks.h"
#include "Hubdb/EntityNumbers.h"
#include "Hubdb/RecordIndex.h"
#include "Hubdb/References.h"

#include <string>
#include <unordered_map>

namespace Hubdb {

/// Changes come through the generated mutators, one record at a time, so that observers are told as of any
/// change. Records are hostile: each is checked whole before it changes anything, and raises Vok::LogError,
/// or Vok::RangeError for a value outside its bounds, with the record's place in the batch in its text. What
/// stood before it in the batch is applied by then.
class Incoming {
  public:
   /// `root` is as it was made, without state. `plans` and `references` must outlive it, and `plans` may be
   /// used by nobody whom an observer of the tree could call.
   Incoming(Vok::Ptr<Vok::Entity> root, Plans& plans, References& references);

   /// What is applied until snapshotEnd() is the whole state. Entities stay which it mentions with the same
   /// parameters, equal values are not told anew, and at the end everything else goes: scalars take
   /// their default.
   void snapshotBegin();
   void apply(Bytes batch);
   void snapshotEnd();
   bool inSnapshot() const { return inSnapshot_; }

   /// The numbers of the tree, for its next owner; nothing can be applied afterwards.
   EntityNumbers release() { return std::move(numbers_); }

   /// Points to what has come to be since its address arrived.
   void resolve();
   /// Takes what points to an entity away, until something stands at its address again.
   void targetGoes(const Vok::Entity& target, Bytes address);
   /// Whether anything in this tree points elsewhere, and whether some of it cannot yet.
   bool refers() const { return !referring_.empty(); }
   bool missesTargets() const { return !missing_.empty(); }
   /// Tells of the whole tree that it goes.
   void leave();

   const Vok::Ptr<Vok::Entity>& root() const { return root_; }
   std::size_t entities() const { return numbers_.size(); }

  private:
   using Slot = EntityNumbers::Slot;
   /// What fetch() has begun and fetchEntry() goes on with; no access: nothing.
   struct Ahead {
      const Vok::AttributeAccess* access = nullptr;
      Vok::U32 hint = 0;
   };

   Ahead fetch(const Record& record);
   void fetchEntry(const Record& record, const Ahead& ahead);
   void applyOne(const Record& record);
   void applyMember(const Record& record);
   void applyGone(const Record& record);
   void applySet(const Record& record);
   void applyPut(const Record& record);
   void applyErase(const Record& record);

   /// The entity of a record, and the attribute of it that the record names. Raise Vok::LogError.
   Slot& slotOf(EntityNumber number);
   EntityPlan::Attribute& attributeOf(const Slot& slot, Vok::AttrId attr);
   /// Raises Vok::LogError for a key where none belongs. Null for attributes without keys.
   const void* unpackKey(EntityPlan::Attribute& attribute, Bytes key);

   /// An entity of before the snapshot has this in the snapshot.
   void mention(const Slot& slot, EntityNumber number, Vok::AttrId attr, Bytes key);
   /// The run of records about one entity is over.
   void runEnds();
   bool runMentionsAll(const Slot& slot);
   /// The entities with numbers below kept ones, by address; numberedAs() is none for any other.
   void numberedIs(EntityNumber number);
   void numberedDel(EntityNumber number);
   EntityNumber numberedAs(const Vok::Entity& entity) const;
   bool allNumbered(EntityNumber parent, const EntityPlan::Attribute& attribute) const;
   void removeUnmentioned(EntityNumber number);
   void removeUnmentionedBelow(EntityNumber number, const EntityPlan::Attribute& attribute);
   void removeUnmentionedEntries(EntityNumber number, EntityPlan::Attribute& attribute);

   void refer(EntityNumber number, EntityPlan::Attribute& attribute, Bytes key, Bytes address);
   bool pointTo(EntityNumber number, EntityPlan::Attribute& attribute, Bytes key, Bytes address);
   void forgetMissing(EntityNumber number, Vok::AttrId attr, Bytes key);
   void forgetUnmentionedMissing();
   void letGoUnderKeys(EntityNumber number, const EntityPlan::Attribute& attribute, const Vok::Entity& target,
                       Bytes address);
   void letGo(EntityNumber number, const EntityPlan::Attribute& attribute, const void* key,
              const Vok::Entity& target, Bytes address);
   void eraseBelow(Vok::Entity& parent, const Vok::Attribute& attribute, const void* key);

   Vok::Ptr<Vok::Entity> root_;
   Plans& plans_;
   References& references_;
   EntityNumbers numbers_;
   bool inSnapshot_ = false;
   bool fresh_ = true; ///< nothing has been applied yet
   /// Mentioned by the snapshot, of entities that were there before it: what stands below them, and values
   /// and entries. Those of the entity at hand are in `run_`. They are dropped when its records have
   /// mentioned all that it has, which is nearly always so, and kept in `mentioned_` if not.
   RecordIndex numbered_;
   DirtyMarks mentioned_;
   DirtyMarks run_;
   EntityNumber runOf_ = EntityNumbers::none;
   std::vector<std::size_t> runCounts_; ///< by attribute
   /// Addresses at which nothing stands yet, by number, attribute and key of what is to point there.
   std::unordered_map<std::string, std::string> missing_;
   std::vector<EntityNumber> referring_; ///< entities with pointers or references; some may be gone
   Vok::NboAttrLog::Writer keyLog_;      ///< scratch
};

} // namespace Hubdb
