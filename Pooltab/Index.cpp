#include "Pooltab/Index.h"

#include "Pooltab/Preamble.h"
#include "Pooltab/Status.h"

namespace Pooltab {

namespace {

/// The geometry of a mapped index file, read once and checked against the file's true size.
unsigned checkedBits(const IndexHeader& header, U64 bytes, U64 generation, const std::string& what) {
   const Word bits = loadAcquire(header.bits);
   if (bits < indexBitsMin || bits > indexBitsMax || loadAcquire(header.generation) != generation ||
       bytes < indexHeaderBytes + (sizeof(Word) << bits))
      throw MountError(MountStatus::corrupted, what + ": its size does not fit its header");
   return static_cast<unsigned>(bits);
}

/// While an index is filled from a smaller one, the lines come for entries so many places ahead in that.
constexpr U64 fillAhead = 128;

Word* entriesOf(const Mapping& mapping) {
   return &mapping.at<Word>(indexHeaderBytes);
}

} // namespace

std::string indexFileName(const std::string& table, U64 generation) {
   return table + ".index." + std::to_string(generation);
}

U64 IndexView::shifts(U32 tag, U64 length) const {
   const U64 first = home(tag) >> shiftRegionBits;
   const U64 regions = std::min<U64>(
       (((home(tag) & ((1u << shiftRegionBits) - 1)) + length - 1) >> shiftRegionBits) + 1, shiftRegions);
   const U64 regionMask = mask_ >> shiftRegionBits;
   U64 sum = 0;
   for (U64 i = 0; i < regions; ++i)
      sum += loadAcquire(header_->shifts[((first + i) & regionMask) % shiftRegions]);
   return sum;
}

IndexReader::IndexReader(const Folder& folder, const std::string& table, U64 generation, U64 seed)
    : generation_(generation) {
   const std::string name = indexFileName(table, generation);
   const std::string what = folder.where() + "/" + name;
   const Descriptor file = folder.open(name, Access::read);
   if (!file)
      throw MountError(MountStatus::unmounted, what + ": is not there");
   mapping_ = mapChecked(file, FileKind::index, Access::read, 0, what);
   auto& header = mapping_.at<IndexHeader>();
   if (header.preamble.seed != seed)
      throw MountError(MountStatus::corrupted, what + ": belongs to another table");
   static_cast<IndexView&>(*this) =
       IndexView(header, entriesOf(mapping_), checkedBits(header, mapping_.bytesOf(file), generation, what));
}

IndexWriter::IndexWriter(Folder& folder, const std::string& table, const Preamble& rows, U64 generation,
                         unsigned bits) {
   const std::string name = indexFileName(table, generation);
   const std::string what = folder.where() + "/" + name;
   const U64 bytes = indexHeaderBytes + (sizeof(Word) << bits);
   file_ = folder.create(name);
   mapping_ = Mapping(file_, bytes, Access::write, what);
   growFile(file_, mapping_, 0, bytes, what);
   auto& header = mapping_.at<IndexHeader>();
   header.preamble = rows;
   header.preamble.kind = static_cast<U32>(FileKind::index);
   header.preamble.headerBytes = indexHeaderBytes;
   header.generation = generation;
   header.bits = bits;
   static_cast<IndexView&>(*this) = IndexView(header, entriesOf(mapping_), bits);
}

IndexWriter IndexWriter::adopt(const Folder& folder, const std::string& table, U64 generation, U64 seed) {
   const std::string name = indexFileName(table, generation);
   const std::string what = folder.where() + "/" + name;
   IndexWriter index;
   index.file_ = folder.open(name, Access::write);
   if (!index.file_)
      throw Vok::CorruptionDetectedError(
          what + ": is not there, though the rows name it (remove the pool's directory)");
   index.mapping_ = mapChecked(index.file_, FileKind::index, Access::write, 0, what);
   auto& header = index.mapping_.at<IndexHeader>();
   if (header.preamble.seed != seed)
      throw Vok::CorruptionDetectedError(what + ": belongs to another table (remove the pool's directory)");
   static_cast<IndexView&>(index) =
       IndexView(header, entriesOf(index.mapping_),
                 checkedBits(header, index.mapping_.bytesOf(index.file_), generation, what));
   return index;
}

void IndexWriter::erase(U64 gap) {
   // Copies, since the compiler must take every store into shared memory for one into this object as well.
   const IndexView index = *this;
   Word* const entries = entries_;
   Word* const shifts = header_->shifts;
   U64 position = gap;
   for (U64 steps = index.probeMax(); --steps > 0;) {
      position = index.next(position);
      const Word moving = loadRelaxed(entries[position]);
      if (moving == 0)
         break;
      // The entry may move back to the gap only if its probe starts there or before.
      const U64 start = index.home(entryTag(moving));
      if (index.distance(start, position) < index.distance(gap, position))
         continue;
      storeRelease(entries[gap], moving);
      // Before the old place changes. Partner: IndexView::shifts in a reader that misses.
      Word& moved = shifts[(position >> shiftRegionBits) % shiftRegions];
      storeRelease(moved, loadRelaxed(moved) + 1);
      gap = position;
   }
   storeRelease(entries[gap], 0);
}

bool IndexWriter::fill(const IndexView& from) {
   // Copies, for the reason that erase() has.
   const IndexView index = *this;
   Word* const entries = entries_;
   for (U64 at = 0; at < from.capacity(); ++at) {
      if (at % placesALine == 0) { // twice the places: the entries of a line go into one of two
         const U64 ahead = 2 * (at + fillAhead) & (index.capacity() - 1);
         __builtin_prefetch(&entries[ahead], 1);
         __builtin_prefetch(&entries[index.next(ahead)], 1);
      }
      const Word moving = from.entry(at);
      U64 position = index.home(entryTag(moving));
      Word there = loadRelaxed(entries[position]);
      // Whether a place is taken is not to be guessed by the processor: an empty one changes nothing where it
      // goes. Most others find the place free where their probe starts.
      if (moving != 0 && there != 0) {
         index.probe(entryTag(moving), position, [](U32, U64) { return false; });
         if (there = index.entry(position); there != 0)
            return false;
      }
      storeRelaxed(entries[position], there | moving);
   }
   return true;
}

} // namespace Pooltab
