#include "Pooltab/RowsWriter.h"

#include "Pooltab/Checksum.h"
#include "Pooltab/Preamble.h"
#include "Pooltab/Status.h"

namespace Pooltab {

RowsWriter::RowsWriter(Folder& folder, const std::string& table, const RowShape& shape, U64 seed)
    : what_(folder.where() + "/" + table + ".rows"), shape_(shape) {
   file_ = folder.create(table + ".rows");
   mapping_ = Mapping(file_, rowsFileBytesMax, Access::write, what_);
   bytes_ = grownBytes(0, rowsHeaderBytes);
   growFile(file_, mapping_, 0, bytes_, what_);
   RowsHeader& header = this->header();
   header.preamble = makePreamble(FileKind::rows, rowsHeaderBytes, seed);
   header.preamble.fingerprint = shape.fingerprint;
   header.preamble.strideBytes = shape.variable ? 0 : fixedBlockBytes(shape.rowBytesMax);
   header.preamble.rowBytesMax = shape.rowBytesMax;
   header.keyBytes = shape.keyBytes;
   header.variable = shape.variable;
}

RowsWriter RowsWriter::adopt(const Folder& folder, const std::string& table, const RowShape& shape) {
   RowsWriter rows;
   rows.what_ = folder.where() + "/" + table + ".rows";
   rows.shape_ = shape;
   rows.file_ = folder.open(table + ".rows", Access::write);
   if (!rows.file_)
      return rows;
   rows.mapping_ = mapChecked(rows.file_, FileKind::rows, Access::write, rowsFileBytesMax, rows.what_);
   const U64 tail = std::min(loadRelaxed(rows.header().tail), rowsFileBytesMax / granuleBytes);
   rows.bytes_ = backedBytes(rows.file_, std::min(slotOffset(tail), fileBytes(rows.file_)));
   return rows;
}

U32 RowsWriter::checksum(U32 slot, Word stamp, const PackedRow& row) const {
   return rowChecksum(seed(), slot, stamp, row.words, wordsFor(row.bytes));
}

U32 RowsWriter::blockBytesAt(U32 slot) const {
   if (!shape_.variable)
      return fixedBlockBytes(shape_.rowBytesMax);
   const Word stamp = loadRelaxed(head(slot).stamp);
   const U32 bytes = stampVersion(stamp) ? variableBlockBytes(stampBytes(stamp)) : stampBytes(stamp);
   if (bytes == 0 || bytes > blockBytesMax || bytes % blockUnitBytes != 0)
      throw Vok::CorruptionDetectedError(what_ + ": slot " + std::to_string(slot) +
                                         ": the size of the block cannot be (remove the pool's directory)");
   return bytes;
}

void RowsWriter::reach(U64 granules) {
   const U64 needed = slotOffset(granules);
   if (needed <= bytes_)
      return;
   if (needed > rowsFileBytesMax)
      throw Vok::Error(what_ + ": has reached " + std::to_string(rowsFileBytesMax) +
                       " bytes, the most a table holds");
   const U64 to = grownBytes(bytes_, needed);
   growFile(file_, mapping_, bytes_, to, what_);
   bytes_ = to;
}

void RowsWriter::place(U32 slot, Word stamp, const PackedRow& row, U32 checksum) {
   RowHead& head = headAt(slot);
   const U32 odd = guardSequence(loadRelaxed(head.guard)) | 1;
   storeRelease(head.guard, guardOf(odd, 0));
   copyIn(payloadAt(slot), row.words, wordsFor(row.bytes));
   storeRelease(head.stamp, stamp);
   storeRelease(head.guard, guardOf(odd + 1, checksum));
}

void RowsWriter::journalIs(U32 slot, Word stamp, const PackedRow& row, U32 checksum) {
   Journal& journal = this->journal();
   const U32 odd = guardSequence(loadRelaxed(head(slot).guard)) | 1;
   // Partner: RowsReader::fetchJournal. A reader that took a word of the new content sees the mark gone.
   storeRelease(journal.mark, 0);
   storeRelease(journal.slot, slot);
   storeRelease(journal.guard, guardOf(odd + 1, checksum));
   storeRelease(journal.stamp, stamp);
   copyIn(journal.payload, row.words, wordsFor(row.bytes));
   storeRelease(journal.mark, stamp);
}

void RowsWriter::overwrite(U32 slot, Word stamp, const PackedRow& row, U32 checksum) {
   RowHead& head = headAt(slot);
   const Word before = loadRelaxed(head.stamp);
   const U32 odd = guardSequence(loadRelaxed(head.guard)) | 1;
   const unsigned words = wordsFor(row.bytes);
   storeRelease(head.guard, guardOf(odd, 0));
   copyIn(payloadAt(slot), row.words, words);
   const unsigned wordsBefore = wordsFor(std::min(stampBytes(before), shape_.rowBytesMax));
   if (wordsBefore > words)
      zeroIn(payloadAt(slot) + words, wordsBefore - words);
   storeRelease(head.stamp, stamp);
   storeRelease(head.guard, guardOf(odd + 1, checksum));
}

void RowsWriter::clear(U32 slot, U32 blockBytes) {
   RowHead& head = headAt(slot);
   const U32 odd = guardSequence(loadRelaxed(head.guard)) | 1;
   storeRelease(head.guard, guardOf(odd, 0));
   storeRelease(head.stamp, stampOf(0, blockBytes));
   zeroIn(payloadAt(slot), (blockBytes - rowHeadBytes) / 8);
   storeRelease(head.guard, guardOf(odd + 1, 0));
}

void RowsWriter::markFree(U32 slot, U32 blockBytes) {
   RowHead& head = headAt(slot);
   storeRelease(head.stamp, stampOf(0, blockBytes));
}

void RowsWriter::stepIs(Step step, U32 slot, U32 oldSlot, U64 rowsAfter, U64 sumAfter) {
   RowsHeader& header = this->header();
   storeRelease(header.slot, slot);
   storeRelease(header.oldSlot, oldSlot);
   storeRelease(header.rowsAfter, rowsAfter);
   storeRelease(header.sumAfter, sumAfter);
   storeRelease(header.step, static_cast<Word>(step));
}

void RowsWriter::stepDone(U64 rows, U64 sum) {
   RowsHeader& header = this->header();
   storeRelease(header.rows, rows);
   storeRelease(header.sum, sum);
   storeRelease(header.step, static_cast<Word>(Step::none));
}

} // namespace Pooltab
