#pragma once

#include "Pooltab/Checksum.h"
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

   // Readers that know at compile time how many words each row of the table has say so; 0 where rows vary.

   /// Copies the row in a slot. Bounded in time whatever the writer does; a row that is being overwritten, or
   /// whose writer died over it, is read from the journal.
   template <unsigned fixedWords = 0>
   Fetch fetch(U32 slot, RowCopy& row) const {
      if (!reaches(slot, fixedWords ? fixedBlockBytes(8 * fixedWords) : smallestBlockBytes()))
         return Fetch::corrupt;
      const Look seen = look<fixedWords>(slot, row);
      return seen == Look::writing ? fetchBesideWriter(slot, row) : static_cast<Fetch>(seen);
   }

   /// Copies the first row at or after `slot`, in slot order, and sets `slot` to where the walk goes on.
   /// Returns false at the end. Raises Vok::CorruptionDetectedError for a damaged row, `slot` then standing
   /// behind it, and where the chain of blocks makes no sense.
   template <unsigned fixedWords = 0>
   bool walk(U64& slot, RowCopy& row) const;

   /// What the block at `slot` holds; sets `slot` to the next block. Raises Vok::CorruptionDetectedError
   /// where the chain of blocks makes no sense.
   template <unsigned fixedWords = 0>
   Fetch step(U64& slot, RowCopy& row) const;
   /// Where the blocks end. Raises Vok::CorruptionDetectedError when that lies beyond the file.
   U64 tail() const {
      // Partner: TableStore, which raises the tail once the block before it stands.
      const U64 tail = loadAcquire(header().tail);
      if (tail > rowsFileBytesMax / granuleBytes || !reaches(tail, 0))
         corrupted(tail, "the table ends beyond its file");
      return tail;
   }
   /// Whether a free block from one slot to the other holds nothing.
   bool isBlank(U64 from, U64 to) const;
   U32 checksumOf(const RowCopy& row) const {
      return rowChecksum(seed_, row.slot, row.stamp, row.payload, wordsFor(row.bytes));
   }

   void prefetch(U32 slot) const;

   /// "pool/table.rows: slot N: what".
   [[noreturn]] void corrupted(U64 slot, const char* what) const;

  private:
   /// What one look at a block shows: what fetch() says, or that the writer was at it meanwhile.
   enum class Look { row = static_cast<int>(Fetch::row), none, corrupt, writing };
   template <unsigned fixedWords = 0>
   [[gnu::always_inline]] Look look(U32 slot, RowCopy& row) const;
   Fetch fetchBesideWriter(U32 slot, RowCopy& row) const;

   /// Whether the file has these bytes; asks the system when they lie beyond what is known.
   bool reaches(U64 slot, U32 bytes) const {
      const U64 end = slotOffset(slot) + bytes;
      return end <= known_ || reachesNow(end);
   }
   bool reachesNow(U64 end) const;
   const RowHead& head(U32 slot) const { return mapping_.at<RowHead>(slotOffset(slot)); }
   bool fetchJournal(U32 slot, Word guard, RowCopy& row) const;
   U32 blockBytesAt(U32 slot) const {
      return shape_.variable ? variableBlockBytesAt(slot) : fixedBlockBytes(shape_.rowBytesMax);
   }
   U32 variableBlockBytesAt(U32 slot) const;
   U32 smallestBlockBytes() const { return shape_.blockBytes(shape_.variable ? 0 : shape_.rowBytesMax); }

   std::string what_;
   RowShape shape_;
   Descriptor file_;
   Mapping mapping_;
   U64 seed_ = 0;
   mutable U64 known_ = 0; ///< bytes that file and mapping are known to have; neither shrinks
};

// On the path of every row that is read.

template <unsigned fixedWords>
inline RowsReader::Look RowsReader::look(U32 slot, RowCopy& row) const {
   const RowHead& shared = head(slot);
   // Partner: the writer's stores of the guard, odd before the row changes and even after.
   const Word guard = loadAcquire(shared.guard);
   if (guardIsOdd(guard))
      return Look::writing;
   const Word stamp = loadAcquire(shared.stamp);
   if (stampVersion(stamp) == 0)
      return Look::none;
   const U32 bytes = stampBytes(stamp);
   const unsigned words = fixedWords ? fixedWords : wordsFor(bytes);
   row.slot = slot;
   row.bytes = bytes;
   row.stamp = stamp;
   // A block of fixed size is known to lie within the file.
   const bool fits =
       fixedWords ? bytes == shape_.rowBytesMax : shape_.allows(bytes) && reaches(slot, rowHeadBytes + bytes);
   if (fits) {
      const Word* const payload = &mapping_.at<Word>(slotOffset(slot) + rowHeadBytes);
      if constexpr (fixedWords)
         copyOut<fixedWords>(row.payload, payload);
      else
         copyOut(row.payload, payload, words);
   }
   if (loadAcquire(shared.guard) != guard)
      return Look::writing;
   return fits && guardChecksum(guard) == rowChecksum(seed_, slot, stamp, row.payload, words) ? Look::row
                                                                                              : Look::corrupt;
}

template <unsigned fixedWords>
Fetch RowsReader::step(U64& slot, RowCopy& row) const {
   const auto at = static_cast<U32>(slot);
   const Fetch fetched = fetch<fixedWords>(at, row);
   const U32 bytes = fixedWords              ? fixedBlockBytes(8 * fixedWords)
                     : fetched == Fetch::row ? shape_.blockBytes(row.bytes)
                                             : blockBytesAt(at);
   slot += bytes / granuleBytes;
   return fetched;
}

template <unsigned fixedWords>
bool RowsReader::walk(U64& slot, RowCopy& row) const {
   constexpr U64 aheadBytes = 1024; // what the processor fetches by itself ends with the page
   const U64 end = tail();
   while (slot < end) {
      const U64 at = slot;
      __builtin_prefetch(mapping_.data() + slotOffset(at) + aheadBytes);
      __builtin_prefetch(mapping_.data() + slotOffset(at) + aheadBytes + 64);
      const Fetch fetched = step<fixedWords>(slot, row);
      if (fetched == Fetch::row)
         return true;
      if (fetched == Fetch::corrupt)
         corrupted(at, "the row does not fit its checksum");
   }
   return false;
}

} // namespace Pooltab
