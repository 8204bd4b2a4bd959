#pragma once

#include "Pooltab/File.h"
#include "Pooltab/Layout.h"

#include <algorithm>

/// The ring of changes of a pool: one for all its tables, so that the order across tables is the order of
/// writing. The writer overwrites the oldest entries and knows no reader; a reader keeps its own place and
/// finds out by itself when it was overtaken.

namespace Pooltab {

struct Change {
   U64 sequence; ///< the pool's change number, counted from 1
   U32 slot;     ///< where the row stood; a hint
   U8 table;     ///< its place in the pool's directory
   Operation operation;
   U16 keyBytes;
   const Word* key; ///< packed
};

/// Bytes of a ring entry that has room for keys of that size.
inline constexpr U32 ringEntryBytesFor(U32 keyBytes) {
   return (ringEntryHeadBytes + keyBytes + 15) / 16 * 16;
}

class ChangeLogWriter {
  public:
   ChangeLogWriter() = default;
   /// Goes on behind what the header says was announced.
   ChangeLogWriter(ControlHeader& header, std::byte* ring);

   U32 keyBytesMax() const { return entryWords_ * 8 - ringEntryHeadBytes; }
   /// The number that the next change gets.
   U64 next() const { return head_ + 1; }
   U64 announced() const { return announced_; }

   /// Notes a change; nobody sees it before announce(). `key` is whole words.
   void append(U8 table, Operation operation, U32 slot, const Word* key, U16 keyBytes);
   /// Shows readers everything that was noted.
   void announce();
   /// Leaves every reader behind, so that each is told that everything may have changed. For a writer that
   /// takes over from one that died: it cannot know what that one had no time to note.
   void overtakeReaders();

  private:
   Word* entry(U64 position) const { return ring_ + (position & mask_) * entryWords_; }

   ControlHeader* header_ = nullptr;
   Word* ring_ = nullptr;
   U64 mask_ = 0;
   U32 entryWords_ = 0;
   U64 head_ = 0;
   U64 announced_ = 0;
};

/// A reader's place in the ring.
class ChangeCursor {
  public:
   enum class Next {
      change,
      nothing,
      lapped ///< changes were lost; the cursor now stands behind the newest
   };

   ChangeCursor() = default;
   /// Starts behind the newest change. `entryBytes` and `entriesLog2` are checked copies of the header's.
   ChangeCursor(const ControlHeader& header, const std::byte* ring, U32 entryBytes, unsigned entriesLog2);

   /// `change.key` is good until the next call.
   Next next(Change& change);
   /// Tells of up to `count` changes to come what their rows can be fetched ahead by: visit(table, slot).
   /// These are hints, unchecked; next() checks.
   template <class Visit>
   void ahead(U64 count, Visit&& visit) const {
      const U64 end = position_ + std::min(count, seenHead_ - position_);
      for (U64 at = position_; at != end; ++at) {
         __builtin_prefetch(place(at + count));
         const Word what = loadRelaxed(place(at)[1]);
         visit(ringTable(what), ringSlot(what));
      }
   }
   /// The number of the last change that was delivered or skipped.
   U64 position() const { return position_; }
   /// Goes on behind that change. If the ring has lost what follows, or never had it, next() says lapped.
   void positionIs(U64 position) {
      position_ = position;
      seenHead_ = head();
   }
   U64 head() const { return loadAcquire(header_->head); }

  private:
   static constexpr unsigned entryWordsMax = 64;
   const Word* place(U64 position) const { return ring_ + (position & mask_) * entryWords_; }
   Next lapped(U64 head);

   const ControlHeader* header_ = nullptr;
   const Word* ring_ = nullptr;
   U64 mask_ = 0;
   U32 entryWords_ = 0;
   U64 position_ = 0;
   U64 seenHead_ = 0; ///< saves looking at the head's line while there is more behind us
   Word entry_[entryWordsMax];

  public:
   /// The largest key that a ring can carry.
   static constexpr U32 keyBytesLimit = entryWordsMax * 8 - ringEntryHeadBytes;
};

} // namespace Pooltab
