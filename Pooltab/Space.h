#pragma once

#include "Pooltab/RowsWriter.h"

#include <array>
#include <vector>

/// Which blocks of a rows file are free. Private to the writer: it is rebuilt when a writer takes over.
///
/// The block freed last is used first, while it is in the cache. Blocks are split and never joined: a place
/// where a block once began stays one, which is what lets readers walk from block to block while the writer
/// works.

namespace Pooltab {

class Space {
  public:
   /// Knows no free block and starts at the tail that the file tells.
   explicit Space(RowsWriter& rows);

   /// A free block of exactly this size. When it lies at or beyond the published tail the caller publishes
   /// tail() once the row stands. Raises Vok::Error when the memory is full; nothing has changed then.
   U32 allocate(U32 blockBytes);
   /// Takes back a block that has been cleared.
   void free(U32 slot, U32 blockBytes) {
      free_[classOf(blockBytes)].push_back(slot);
      sizes_ |= bitOf(blockBytes);
   }

   U64 tail() const { return tail_; }
   /// Bytes of all free blocks.
   U64 freeBytes() const;

  private:
   static constexpr unsigned classes = blockBytesMax / granuleBytes;
   static_assert(classes <= 64);
   static unsigned classOf(U32 blockBytes) { return blockBytes / granuleBytes - 1; }
   static U64 bitOf(U32 blockBytes) { return U64{1} << classOf(blockBytes); }
   U32 take(U32 blockBytes);
   U32 split(U32 largerBytes, U32 blockBytes);

   RowsWriter* rows_;
   U64 tail_;
   std::array<std::vector<U32>, classes> free_; ///< by size, the smallest first
   U64 sizes_ = 0;                              ///< a bit for each size of which there is a free block
};

} // namespace Pooltab
