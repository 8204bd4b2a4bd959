#include "Pooltab/RowsReader.h"

#include "Pooltab/Preamble.h"
#include "Pooltab/Status.h"

namespace Pooltab {

namespace {

/// A row overwritten without pause can be looked at this often before the reader gives up on it.
constexpr int attemptsMax = 20000;
/// A slot that stays odd without a journal belongs to a writer that died, or sleeps, while it filled or
/// emptied the block: no index entry names it.
constexpr int oddAttemptsMax = 200;

} // namespace

RowsReader::RowsReader(const Folder& folder, const std::string& table, const RowShape& shape)
    : what_(folder.where() + "/" + table + ".rows"), shape_(shape) {
   file_ = folder.open(table + ".rows", Access::read);
   if (!file_)
      throw MountError(MountStatus::unmounted, what_ + ": is not there yet");
   mapping_ = mapChecked(file_, FileKind::rows, Access::read, rowsFileBytesMax, what_);
   const Preamble preamble = header().preamble;
   checkFingerprint(preamble, shape.fingerprint, what_);
   if (header().keyBytes != shape.keyBytes || preamble.rowBytesMax != shape.rowBytesMax ||
       header().variable != shape.variable)
      throw MountError(MountStatus::corrupted, what_ + ": its row sizes do not fit its fingerprint");
   seed_ = preamble.seed;
   reachesNow(0);
}

bool RowsReader::reachesNow(U64 end) const {
   known_ = mapping_.bytesOf(file_);
   return end <= known_;
}

bool RowsReader::fetchJournal(U32 slot, Word guard, RowCopy& row) const {
   const Journal& journal = mapping_.at<Journal>(journalOffset);
   // Partner: RowsWriter::overwrite, which sets the mark to 0 first and to the version last.
   const Word mark = loadAcquire(journal.mark);
   const Word finalGuard = loadAcquire(journal.guard);
   if (mark == 0 || loadAcquire(journal.slot) != slot ||
       guardSequence(finalGuard) != static_cast<U32>(guardSequence(guard) + 1))
      return false;
   row.slot = slot;
   row.stamp = loadAcquire(journal.stamp);
   row.bytes = stampBytes(row.stamp);
   if (!shape_.allows(row.bytes))
      return false;
   copyOut(row.payload, journal.payload, wordsFor(row.bytes));
   return loadAcquire(journal.mark) == mark && guardChecksum(finalGuard) == checksumOf(row);
}

Fetch RowsReader::fetchBesideWriter(U32 slot, RowCopy& row) const {
   int odd = 0;
   for (int attempt = 0; attempt < attemptsMax; ++attempt) {
      const Word guard = loadAcquire(head(slot).guard);
      if (guardIsOdd(guard)) {
         if (fetchJournal(slot, guard, row))
            return Fetch::row;
         if (++odd == oddAttemptsMax)
            return Fetch::none;
      } else if (const Look seen = look(slot, row); seen != Look::writing) {
         return static_cast<Fetch>(seen);
      }
   }
   return Fetch::corrupt;
}

U32 RowsReader::variableBlockBytesAt(U32 slot) const {
   const Word stamp = loadAcquire(head(slot).stamp);
   const U32 bytes = stampVersion(stamp) ? variableBlockBytes(stampBytes(stamp)) : stampBytes(stamp);
   if (bytes == 0 || bytes > blockBytesMax || bytes % blockUnitBytes != 0)
      corrupted(slot, "the size of the block cannot be");
   return bytes;
}

bool RowsReader::isBlank(U64 from, U64 to) const {
   if (!reaches(to, 0))
      return false;
   for (U64 at = slotOffset(from) + rowHeadBytes; at < slotOffset(to); at += sizeof(Word))
      if (loadRelaxed(mapping_.at<Word>(at)) != 0)
         return false;
   return true;
}

void RowsReader::prefetch(U32 slot) const {
   constexpr U64 lineBytes = 64;
   const U64 offset = slotOffset(slot);
   const U32 bytes = shape_.variable ? 2 * lineBytes : std::min<U32>(shape_.blockBytes(0), 3 * lineBytes);
   if (offset + bytes > known_)
      return;
   for (U64 line = offset / lineBytes; line * lineBytes < offset + bytes; ++line)
      __builtin_prefetch(mapping_.data() + line * lineBytes);
}

void RowsReader::corrupted(U64 slot, const char* what) const {
   throw Vok::CorruptionDetectedError(what_ + ": slot " + std::to_string(slot) + ": " + what);
}

} // namespace Pooltab
