#include "Vok/Block.h"

#include <cstdlib>
#include <new>
#include <sys/mman.h>

namespace Vok {

void* allocateBlock(std::size_t bytes) {
   constexpr std::size_t hugePage = 2u << 20;
   const bool large = bytes >= 2 * hugePage;
   const std::size_t alignment = large ? hugePage : alignof(std::max_align_t);
   void* block = std::aligned_alloc(alignment, (bytes + alignment - 1) / alignment * alignment);
   if (!block)
      throw std::bad_alloc();
   if (large)
      madvise(block, bytes, MADV_HUGEPAGE); // a wish: without huge pages it is only slower
   return block;
}

void freeBlock(void* block) {
   std::free(block);
}

} // namespace Vok
