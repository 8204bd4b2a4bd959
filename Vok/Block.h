#pragma once
// Memory for large collections.

#include <cstddef>
#include <memory>

namespace Vok {

/// Uninitialised memory, aligned for anything. Blocks of 4 MiB and more are aligned for huge pages and asked
/// to stand on them, which halves the cost of random access. Raises std::bad_alloc.
void* allocateBlock(std::size_t bytes);
void freeBlock(void* block);

struct FreeBlock {
   void operator()(void* block) const { freeBlock(block); }
};

/// A block that goes with its owner; whoever made objects in it destroys them before.
using OwnedBlock = std::unique_ptr<void, FreeBlock>;

} // namespace Vok
