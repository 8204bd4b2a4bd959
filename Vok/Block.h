#pragma once
// Memory for large collections.

#include <cstddef>

namespace Vok {

/// Uninitialised memory, aligned for anything. Blocks of 4 MiB and more are aligned for huge pages and asked
/// to stand on them, which halves the cost of random access. Raises std::bad_alloc.
void* allocateBlock(std::size_t bytes);
void freeBlock(void* block);

} // namespace Vok
