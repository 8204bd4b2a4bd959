#pragma once

#include "Pooltab/Index.h"
#include "Pooltab/RowsWriter.h"
#include "Pooltab/Space.h"

#include <vector>

/// What a new writer does with a table that an earlier one left, be it by dying in the middle of a change: it
/// finishes or undoes the step that was under way, closes a half-closed gap of the index and finds the free
/// blocks. It reads the index, and of the rows only the heads where sizes vary; every row that a reader could
/// see stays.

namespace Pooltab {

class Adoption {
  public:
   Adoption(RowsWriter& rows, IndexWriter& index) : rows_(rows), index_(index) {}

   /// Raises Vok::CorruptionDetectedError when index and rows do not belong together.
   Space finish();

  private:
   void scanIndex();
   void closeGap(U64 first, U64 second);
   void finishStep();
   void replayJournal(U32 slot);
   void clearLeftover(U32 slot);
   U32 blockBytesAt(U64 slot) const;
   void collectFree(Space& space);
   void zeroBeyondTail();

   bool isNamed(U64 slot) const { return slot < named_.size() * 64 && named_[slot / 64] >> slot % 64 & 1; }
   [[noreturn]] void corrupted(const std::string& what) const;

   RowsWriter& rows_;
   IndexWriter& index_;
   U64 tail_ = 0;
   U64 found_ = 0;          ///< entries in the index
   std::vector<U64> named_; ///< a bit a granule: an entry names the row that starts there
};

} // namespace Pooltab
