#include "Pooltab/Control.h"

#include "Pooltab/Holder.h"
#include "Pooltab/Status.h"

#include <algorithm>
#include <cstring>

namespace Pooltab {

namespace {

const char* const controlName = "control";

U64 controlBytes(U32 entryBytes, unsigned entriesLog2) {
   return controlHeaderBytes + (U64{entryBytes} << entriesLog2);
}

/// The ring's geometry as the header tells it, if it can be.
bool isRing(U32 entryBytes, unsigned entriesLog2, U64 fileSize) {
   return entryBytes >= ringEntryBytesFor(1) && entryBytes % 16 == 0 &&
          entryBytes <= ringEntryBytesFor(ChangeCursor::keyBytesLimit) && entriesLog2 >= 4 &&
          entriesLog2 <= 28 && controlBytes(entryBytes, entriesLog2) <= fileSize;
}

} // namespace

ControlWriter::ControlWriter(Folder& folder, const PoolOptions& options)
    : what_(folder.where() + "/" + controlName) {
   if (options.keyBytesMax == 0 || options.keyBytesMax > ChangeCursor::keyBytesLimit ||
       options.logEntriesLog2 < 4 || options.logEntriesLog2 > 28)
      throw Vok::Error(what_ + ": the change log takes keys of 1 to " +
                       std::to_string(ChangeCursor::keyBytesLimit) + " bytes and 2^4 to 2^28 entries");
   U64 epoch = 0;
   if (!takeOver(folder, options, epoch))
      make(folder, options, epoch);
   const Process self = thisProcess();
   storeRelease(header().preamble.epoch, epoch + 1);
   storeRelease(header().writerPid, self.pid);
   storeRelease(header().writerStartTime, self.startTime);
   log_ = ChangeLogWriter(header(), mapping_.data() + controlHeaderBytes);
   if (loadRelaxed(header().closedCleanly) == 0)
      log_.overtakeReaders();
   storeRelease(header().closedCleanly, 0);
}

ControlWriter::~ControlWriter() {
   if (!mapping_)
      return;
   log_.announce();
   storeRelease(header().closedCleanly, 1);
}

bool ControlWriter::takeOver(Folder& folder, const PoolOptions& options, U64& epoch) {
   file_ = folder.open(controlName, Access::write);
   if (!file_)
      return false;
   try {
      mapping_ = mapChecked(file_, FileKind::control, Access::write, 0, what_);
   } catch (const MountError& error) {
      if (error.status() != MountStatus::corrupted && error.status() != MountStatus::versionMismatch)
         throw;
      return false; // nothing in it outlives its writer: a new one does as well
   }
   epoch = header().preamble.epoch;
   return isRing(header().ringEntryBytes, header().ringEntriesLog2, fileBytes(file_)) &&
          header().ringEntryBytes >= ringEntryBytesFor(options.keyBytesMax) &&
          header().ringEntriesLog2 == options.logEntriesLog2;
}

void ControlWriter::make(Folder& folder, const PoolOptions& options, U64 epoch) {
   const U32 entryBytes = ringEntryBytesFor(options.keyBytesMax);
   const U64 needed = controlBytes(entryBytes, options.logEntriesLog2);
   const U64 bytes = grownBytes(0, needed);
   const U64 head = mapping_ ? loadRelaxed(header().head) : 0;
   file_ = folder.create(controlName);
   mapping_ = Mapping(file_, bytes, Access::write, what_);
   growFile(file_, mapping_, 0, bytes, what_);
   header().preamble = makePreamble(FileKind::control, controlHeaderBytes, 0);
   header().preamble.epoch = epoch;
   header().ringEntryBytes = entryBytes;
   header().ringEntriesLog2 = options.logEntriesLog2;
   header().head = head; // versions of rows go on from there
   retireFile(folder, controlName);
   folder.publish(controlName);
}

U8 ControlWriter::tableNumber(const std::string& name, const RowShape& shape) {
   checkName(name, "table");
   if (shape.keyBytes > log_.keyBytesMax())
      throw Vok::Error(what_ + ": the key of table '" + name + "' takes " + std::to_string(shape.keyBytes) +
                       " bytes, the change log carries " + std::to_string(log_.keyBytesMax()) +
                       " (raise PoolOptions::keyBytesMax)");
   const auto count = static_cast<unsigned>(std::min<Word>(loadRelaxed(header().tableCount), tablesMax));
   unsigned number = 0;
   while (number < count &&
          name != std::string(entry(number).name, strnlen(entry(number).name, tableNameBytes)))
      ++number;
   if (number == tablesMax)
      throw Vok::Error(what_ + ": has " + std::to_string(tablesMax) + " tables, no room for '" + name + "'");
   TableEntry& written = entry(number);
   if (number == count) { // the name of a table that readers know stays untouched
      written = TableEntry{};
      std::memcpy(written.name, name.data(), name.size());
   }
   written.fingerprint = shape.fingerprint;
   written.keyBytes = shape.keyBytes;
   written.rowBytesMax = shape.rowBytesMax;
   written.variable = shape.variable;
   if (number == count) // Partner: ControlReader::tables.
      storeRelease(header().tableCount, count + 1);
   return static_cast<U8>(number);
}

ControlReader::ControlReader(const Folder& folder) {
   const std::string what = folder.where() + "/" + controlName;
   const Descriptor file = folder.open(controlName, Access::read);
   if (!file)
      throw MountError(MountStatus::unmounted, what + ": is not there yet");
   mapping_ = mapChecked(file, FileKind::control, Access::read, 0, what);
   entryBytes_ = header().ringEntryBytes;
   entriesLog2_ = header().ringEntriesLog2;
   if (!isRing(entryBytes_, entriesLog2_, mapping_.bytesOf(file)))
      throw MountError(MountStatus::corrupted, what + ": its change log cannot be of that size");
}

std::vector<TableDescription> ControlReader::tables() const {
   std::vector<TableDescription> found;
   const Word count = std::min<Word>(loadAcquire(header().tableCount), tablesMax);
   for (unsigned number = 0; number < count; ++number) {
      const TableEntry entry = mapping_.at<TableEntry>(tableDirectoryOffset + number * sizeof(TableEntry));
      found.push_back({std::string(entry.name, strnlen(entry.name, tableNameBytes)), entry.fingerprint});
   }
   return found;
}

ChangeCursor ControlReader::cursor() const {
   return {header(), mapping_.data() + controlHeaderBytes, entryBytes_, entriesLog2_};
}

} // namespace Pooltab
