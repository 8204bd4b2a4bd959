#pragma once
// Hubdb::DirtyMarks: what changed and has not been sent, one mark for each entity, attribute and key.

#include "Hubdb/Record.h"

#include <vector>

namespace Hubdb {

/// A queue in order of first marking, with an index. No allocation once it has grown to what a turn changes.
class DirtyMarks {
  public:
   struct Mark {
      EntityNumber entity;
      Vok::AttrId attr;
      Bytes key; ///< good until the next mark()
   };

   bool empty() const { return taken_ == entries_.size(); }
   std::size_t size() const { return entries_.size() - taken_; }

   /// Returns false, with nothing done, when the mark stands already.
   bool mark(EntityNumber entity, Vok::AttrId attr, Bytes key);
   bool has(EntityNumber entity, Vok::AttrId attr, Bytes key) const;
   /// Takes the oldest mark off; there must be one. What it stood for can be marked anew.
   Mark take();
   /// Forgets all marks, and gives back the memory of a large number of them.
   void clear();

  private:
   struct Entry {
      EntityNumber entity;
      Vok::U32 keyAt;
      Vok::U32 hash;
      Vok::U32 keySize;
      Vok::AttrId attr;
      bool operator==(const Entry&) const = default;
   };
   static constexpr Vok::U32 none = ~Vok::U32(0);

   static Vok::U32 hashOf(EntityNumber entity, Vok::AttrId attr, Bytes key);
   Bytes keyOf(const Entry& entry) const { return Bytes(keys_).subspan(entry.keyAt, entry.keySize); }
   /// The place in the index of the mark, or the empty place where it belongs.
   std::size_t placeOf(EntityNumber entity, Vok::AttrId attr, Bytes key, Vok::U32 hash) const;
   void rebuild();

   std::vector<Entry> entries_;  ///< in order of marking; those before taken_ have been taken
   std::vector<Vok::U8> keys_;   ///< their keys one after the other
   std::vector<Vok::U32> index_; ///< entry numbers at their hash's place; a power of two
   std::size_t taken_ = 0;
};

} // namespace Hubdb
