#pragma once

#include "Pooltab/Status.h"

#include "Pooltab/RowPacking.h"
#include "Pooltab/Status.h"

#include <functional>
#include <string>
#include <vector>

/// Walks a whole table and checks everything that a writer promises: rows against their checksums and their
/// running sum, the index against the rows in both directions, free blocks against their size and content.

namespace Pooltab {

struct TableReport {
   MountStatus status = MountStatus::unmounted;
   U64 rows = 0;
   U64 rowBytes = 0;    ///< of the blocks that hold rows
   U64 freeBytes = 0;   ///< of free blocks, which later rows will use
   U64 tornRows = 0;    ///< rows that do not fit their checksum, half-written ones included
   U64 unindexed = 0;   ///< rows that no lookup finds
   U64 dangling = 0;    ///< index entries that name no row
   U64 duplicates = 0;  ///< index entries that name a row a second time
   U64 dirtyBlocks = 0; ///< free blocks with old data in them
   bool sumDiffers = false;
   bool countDiffers = false;
   /// A change was under way, or came while the table was being checked: the findings may be its traces.
   bool busy = false;
   /// One line a finding, the first few of each kind.
   std::vector<std::string> findings;

   bool isClean() const { return status == MountStatus::mounted && findings.empty(); }
};

/// Checks a table as one of its readers. A table that changes meanwhile is checked anew a few times.
/// `tag` computes the tag of a packed key with a seed.
TableReport verifyTable(const Folder& folder, const std::string& table, const RowShape& shape,
                        const std::function<U32(const Word* key, U64 seed)>& tag);

template <class Row>
TableReport verifyTable(const Folder& folder, const std::string& table) {
   return verifyTable(folder, table, shapeOf<Row>(), tagOf<typename Row::Key>);
}

} // namespace Pooltab
