#include "Pooltab/Space.h"

namespace Pooltab {

Space::Space(RowsWriter& rows) : rows_(&rows), tail_(loadRelaxed(rows.header().tail)) {}

U32 Space::allocate(U32 blockBytes) {
   std::vector<U32>& exact = freeOf(blockBytes);
   U32 slot;
   if (!exact.empty()) {
      slot = exact.back();
      exact.pop_back();
      return slot;
   }
   if (rows_->shape().variable && split(blockBytes, slot))
      return slot;
   const U64 end = tail_ + blockBytes / granuleBytes;
   rows_->reach(end);
   slot = static_cast<U32>(tail_);
   tail_ = end;
   return slot;
}

bool Space::split(U32 blockBytes, U32& slot) {
   for (U32 bytes = blockBytes + blockUnitBytes; bytes <= blockBytesMax; bytes += blockUnitBytes) {
      std::vector<U32>& larger = freeOf(bytes);
      if (larger.empty())
         continue;
      slot = larger.back();
      larger.pop_back();
      // The rest is marked while it still lies inside the free block; the row's stamp makes the cut.
      const U32 rest = slot + blockBytes / granuleBytes;
      rows_->markFree(rest, bytes - blockBytes);
      free(rest, bytes - blockBytes);
      return true;
   }
   return false;
}

U64 Space::freeBytes() const {
   U64 bytes = 0;
   for (unsigned size = 0; size < classes; ++size)
      bytes += free_[size].size() * size * granuleBytes;
   return bytes;
}

} // namespace Pooltab
