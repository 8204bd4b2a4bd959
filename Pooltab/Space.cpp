#include "Pooltab/Space.h"

#include <bit>

namespace Pooltab {

Space::Space(RowsWriter& rows) : rows_(&rows), tail_(loadRelaxed(rows.header().tail)) {}

U32 Space::allocate(U32 blockBytes) {
   if (sizes_ & bitOf(blockBytes))
      return take(blockBytes);
   if (rows_->shape().variable)
      if (const U64 larger = sizes_ & ~(bitOf(blockBytes) - 1))
         return split((static_cast<U32>(std::countr_zero(larger)) + 1) * granuleBytes, blockBytes);
   const U64 end = tail_ + blockBytes / granuleBytes;
   rows_->reach(end);
   const auto slot = static_cast<U32>(tail_);
   tail_ = end;
   return slot;
}

U32 Space::take(U32 blockBytes) {
   std::vector<U32>& blocks = free_[classOf(blockBytes)];
   const U32 slot = blocks.back();
   blocks.pop_back();
   if (blocks.empty())
      sizes_ &= ~bitOf(blockBytes);
   return slot;
}

U32 Space::split(U32 largerBytes, U32 blockBytes) {
   const U32 slot = take(largerBytes);
   // The rest is marked while it still lies inside the free block; the row's stamp makes the cut.
   const U32 rest = slot + blockBytes / granuleBytes;
   rows_->markFree(rest, largerBytes - blockBytes);
   free(rest, largerBytes - blockBytes);
   return slot;
}

U64 Space::freeBytes() const {
   U64 bytes = 0;
   for (unsigned size = 0; size < classes; ++size)
      bytes += free_[size].size() * (size + 1) * granuleBytes;
   return bytes;
}

} // namespace Pooltab
