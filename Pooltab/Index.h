#pragma once

#include "Pooltab/File.h"
#include "Pooltab/Folder.h"
#include "Pooltab/Layout.h"

#include <memory>
#include <string>

/// The index of a table: open addressing over 8-byte entries {tag, slot}, apart from the rows.
///
/// The tag is a hash of the key, and alone decides where the entry's probe starts (its home); so the index
/// grows and closes gaps without reading a row. Keys that differ in the low three bits of their `near` field
/// have tags that differ in the low three bits only: their homes are the eight places of one cache line.
///
/// A probe goes on at the same place of the next line, so that the index is eight indexes of a place a line
/// each. Were it to go on at the next place, eight neighbours that find their line taken would stand in the
/// way of the next eight: keys in a row made runs of twenty entries at a load of a half, which each miss and
/// each deletion went through, where it now looks at two or three.
///
/// Deletion closes the gap by moving later entries back, one at a time: the moved entry is stored at the gap
/// first, and its old place is overwritten after. Whatever prefix of that a reader meets, every key is there
/// once or twice. What a reader's probe can miss is an entry that moves from before its eyes to behind its
/// back; each such move raises a counter of its region before the old place is overwritten. A miss counts
/// only if those counters stood still.

namespace Pooltab {

/// A probe over the entries; what readers and the writer share. Holds its own checked copy of the geometry.
class IndexView {
  public:
   IndexView() = default;
   IndexView(IndexHeader& header, Word* entries, unsigned bits)
       : header_(&header), entries_(entries), mask_((Word{1} << bits) - 1), bits_(bits) {}

   explicit operator bool() const { return entries_; }
   U64 capacity() const { return mask_ + 1; }
   Word entry(U64 position) const { return loadAcquire(entries_[position]); }
   U64 next(U64 position) const { return (position + placesALine) & mask_; }
   U64 home(U32 tag) const { return Word{tag >> (35 - bits_)} << 3 | (tag & 7); }

   void prefetch(U32 tag) const { fetchLine(&entries_[home(tag)]); }
   /// The same for who will take the entry away, and goes on to the first empty place behind it, or will put
   /// it in, and may find its place taken.
   void prefetchToWrite(U32 tag) const {
      U64 position = home(tag);
      for (unsigned line = 0; line < 3; ++line, position = next(position))
         fetchLine(&entries_[position]);
   }

   /// Calls visit(slot, position) for each entry with this tag until it returns true. Returns true if it did.
   /// `end` is where the probe ended: at the visited entry, or at the empty one; at one that is neither when
   /// all that a probe for this tag may look at are taken.
   template <class Visit>
   bool probe(U32 tag, U64& end, Visit&& visit) const {
      U64 position = end = home(tag);
      for (U64 steps = probeMax(); steps > 0; --steps, position = next(position)) {
         // Partner: IndexWriter's stores of entries. Whoever sees the entry sees the row that it names.
         const Word found = loadAcquire(entries_[position]);
         end = position;
         if (found == 0)
            return false;
         if (entryTag(found) == tag && visit(entrySlot(found), position))
            return true;
      }
      return false;
   }

   /// The sum of the move counters over the `length` entries from the tag's home. Two equal sums mean that no
   /// entry left that stretch in between. Partner: IndexWriter::erase.
   U64 shifts(U32 tag, U64 length) const;

   /// How many entries there are from the tag's home to where a probe ended.
   U64 probeLength(U32 tag, U64 end) const { return distance(home(tag), end) + 1; }

   U64 distance(U64 from, U64 to) const { return (to - from) & mask_; }
   /// How many entries a probe looks at before it is back where it started.
   U64 probeMax() const { return capacity() / placesALine; }

  protected:
   static constexpr U64 placesALine = 8;

   IndexHeader* header_ = nullptr;
   Word* entries_ = nullptr;
   U64 mask_ = 0;
   unsigned bits_ = 0;
};

/// The name of the index file of a table in one generation.
std::string indexFileName(const std::string& table, U64 generation);

/// An index file mapped for reading. Raises MountError for a file that is not the index of the table with
/// this seed.
class IndexReader : public IndexView {
  public:
   IndexReader() = default;
   IndexReader(const Folder& folder, const std::string& table, U64 generation, U64 seed);
   U64 generation() const { return generation_; }
   U64 bytes() const { return mapping_.bytes(); }

  private:
   Mapping mapping_;
   U64 generation_ = 0;
};

/// The writer's index. One thread of one process uses it.
class IndexWriter : public IndexView {
  public:
   IndexWriter() = default;
   /// A new index file with 2^bits empty entries.
   IndexWriter(Folder& folder, const std::string& table, const Preamble& rows, U64 generation, unsigned bits);
   /// The index that an earlier writer left. Raises Vok::CorruptionDetectedError when there is none.
   static IndexWriter adopt(const Folder& folder, const std::string& table, U64 generation, U64 seed);

   U64 generation() const { return header_->generation; }
   U64 bytes() const { return mapping_.bytes(); }
   /// Entries that fit before the index should grow: two thirds of the places.
   U64 limit() const { return capacity() * 2 / 3; }
   unsigned bits() const { return bits_; }

   /// True when no more should go in, or nothing can go in where the probe for a tag ended.
   bool isFull(U64 entries, U64 position) const { return entries >= limit() || entry(position) != 0; }

   /// Publishes a row. `position` is the empty place where the probe for the tag ended.
   void insert(U64 position, U32 tag, U32 slot) { storeRelease(entries_[position], indexEntry(tag, slot)); }
   /// Points the entry at another slot.
   void replace(U64 position, U32 tag, U32 slot) { insert(position, tag, slot); }
   /// Takes the entry away and closes the gap.
   void erase(U64 position);
   /// Puts every entry of an index of half the size into this empty one that no reader knows yet. There is
   /// room for all, since entries with the same low bits of their tags share the same places of their lines.
   /// Returns false when that does not hold, which is no writer's work.
   bool fill(const IndexView& from);

  private:
   Mapping mapping_;
   Descriptor file_;
};

} // namespace Pooltab
