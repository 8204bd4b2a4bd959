#pragma once

#include "Pooltab/File.h"
#include "Pooltab/Folder.h"
#include "Pooltab/Layout.h"

/// The rows of a table as a reader sees them: nothing is trusted before it is checked.

namespace Pooltab {

/// What a writer and a reader must agree on: taken from the row's declaration, never from the file.
struct RowShape {
   U64 fingerprint = 0;
   U32 keyBytes = 0;
   U32 rowBytesMax = 0; ///< of packed row, key included
   bool variable = false;

   U32 blockBytes(U32 payloadBytes) const {
      return variable ? variableBlockBytes(payloadBytes) : fixedBlockBytes(rowBytesMax);
   }
   /// Whether a row can have that many payload bytes.
   bool allows(U32 payloadBytes) const {
      return variable ? payloadBytes >= keyBytes && payloadBytes <= rowBytesMax : payloadBytes == rowBytesMax;
   }
};

/// A reader's private copy of a row, whole and checked.
struct RowCopy {
   U32 slot;
   U32 bytes; ///< of payload
   Word stamp;
   Word payload[payloadWordsMax];

   U64 version() const { return stampVersion(stamp); }
   const U8* data() const { return reinterpret_cast<const U8*>(payload); }
};

enum class Fetch {
   row,
   none,   ///< the block is free, or on its way there
   corrupt ///< not what a writer leaves behind
};

class RowsReader {
  public:
   RowsReader() = default;
   /// Raises MountError with the status to report.
   RowsReader(const Folder& folder, const std::string& table, const RowShape& shape);

   explicit operator bool() const { return static_cast<bool>(mapping_); }
   const RowsHeader& header() const { return mapping_.at<RowsHeader>(); }
   U64 seed() const { return seed_; }
   /// True once another file has taken this one's place.
   bool isRetired() const { return loadAcquire(header().preamble.retired) != 0; }
   U64 bytes() const { return fileBytes(file_); }

   /// Copies the row in a slot. Bounded in time whatever the writer does; a row that is being overwritten, or
   /// whose writer died over it, is read from the journal.
   Fetch fetch(U32 slot, RowCopy& row) const;

   /// Copies the first row at or after `slot`, in slot order, and sets `slot` to where the walk goes on.
   /// Returns false at the end. Raises Vok::CorruptionDetectedError for a damaged row, `slot` then standing
   /// behind it, and where the chain of blocks makes no sense.
   bool walk(U64& slot, RowCopy& row) const;

   /// What the block at `slot` holds; sets `slot` to the next block. Raises Vok::CorruptionDetectedError
   /// where the chain of blocks makes no sense.
   Fetch step(U64& slot, RowCopy& row) const;
   /// Where the blocks end. Raises Vok::CorruptionDetectedError when that lies beyond the file.
   U64 tail() const;
   /// Whether a free block from one slot to the other holds nothing.
   bool isBlank(U64 from, U64 to) const;
   U32 checksumOf(const RowCopy& row) const;

   void prefetch(U32 slot) const;

   /// "pool/table.rows: slot N: what".
   [[noreturn]] void corrupted(U64 slot, const char* what) const;

  private:
   /// Whether the file has these bytes; asks the system when they lie beyond what is known.
   bool reaches(U64 slot, U32 bytes) const;
   const RowHead& head(U32 slot) const { return mapping_.at<RowHead>(slotOffset(slot)); }
   bool fetchJournal(U32 slot, Word guard, RowCopy& row) const;
   U32 blockBytesAt(U32 slot) const;

   std::string what_;
   RowShape shape_;
   Descriptor file_;
   Mapping mapping_;
   U64 seed_ = 0;
   mutable U64 known_ = 0; ///< bytes that the file is known to have; it never shrinks
};

} // namespace Pooltab
