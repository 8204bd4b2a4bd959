#pragma once

#include "Pooltab/RowsReader.h"

/// The rows file in the hands of its writer: single steps, each safe against readers and against sudden
/// death. Which steps make a change is TableStore's matter.

namespace Pooltab {

/// A packed row on its way into a table: words, zero behind the last byte.
struct PackedRow {
   U32 bytes;
   const Word* words;
};

class RowsWriter {
  public:
   RowsWriter() = default;
   /// A new rows file that nobody sees until the folder publishes it.
   RowsWriter(Folder& folder, const std::string& table, const RowShape& shape, U64 seed);
   /// The file that an earlier writer left; empty when there is none. Raises MountError when it is of no use.
   static RowsWriter adopt(const Folder& folder, const std::string& table, const RowShape& shape);

   explicit operator bool() const { return static_cast<bool>(mapping_); }
   RowsHeader& header() { return mapping_.at<RowsHeader>(); }
   const RowsHeader& header() const { return mapping_.at<RowsHeader>(); }
   Journal& journal() { return mapping_.at<Journal>(journalOffset); }
   const RowHead& head(U32 slot) const { return mapping_.at<RowHead>(slotOffset(slot)); }
   const Word* payload(U32 slot) const { return &mapping_.at<Word>(slotOffset(slot) + rowHeadBytes); }
   const RowShape& shape() const { return shape_; }
   const std::string& what() const { return what_; }
   U64 seed() const { return header().preamble.seed; }
   U64 bytes() const { return bytes_; }

   U32 checksum(U32 slot, Word stamp, const PackedRow& row) const;
   /// Bytes of the block at a slot, row or free.
   U32 blockBytesAt(U32 slot) const;

   /// Makes sure that the file holds that many granules. Raises Vok::Error when the memory is full.
   void reach(U64 granules);

   /// Fills a free block. No index entry names it yet.
   void place(U32 slot, Word stamp, const PackedRow& row, U32 checksum);
   /// Writes the journal for overwrite(). After this the change will happen, be it through the next writer.
   void journalIs(U32 slot, Word stamp, const PackedRow& row, U32 checksum);
   /// Overwrites a row in place with what the journal says.
   void overwrite(U32 slot, Word stamp, const PackedRow& row, U32 checksum);
   /// Empties a block that no index entry names any more; all its bytes but the head become zero.
   void clear(U32 slot, U32 blockBytes);
   /// Marks a block, inside a free one or beyond the tail, as free.
   void markFree(U32 slot, U32 blockBytes);
   /// Zeroes bytes of the file that belong to no block.
   void zero(U64 from, U64 to) { zeroIn(&mapping_.at<Word>(from), static_cast<unsigned>((to - from) / 8)); }

   /// Announces the step to the next writer, and takes the announcement back once the step's numbers stand.
   void stepIs(Step step, U32 slot, U32 oldSlot, U64 rowsAfter, U64 sumAfter);
   void stepDone(U64 rows, U64 sum);

  private:
   RowHead& headAt(U32 slot) { return mapping_.at<RowHead>(slotOffset(slot)); }
   Word* payloadAt(U32 slot) { return &mapping_.at<Word>(slotOffset(slot) + rowHeadBytes); }

   std::string what_;
   RowShape shape_;
   Descriptor file_;
   Mapping mapping_;
   U64 bytes_ = 0;
};

} // namespace Pooltab
