#pragma once

#include "Pooltab/ChangeLog.h"
#include "Pooltab/Folder.h"
#include "Pooltab/Preamble.h"
#include "Pooltab/RowsReader.h"

#include <optional>
#include <string>
#include <vector>

/// The control file of a pool: its tables by name, the ring of changes, and who wrote it last.

namespace Pooltab {

struct PoolOptions {
   U32 keyBytesMax = 48;         ///< packed bytes of the largest key that the change log carries
   unsigned logEntriesLog2 = 16; ///< the log remembers 2^this changes
};

struct TableDescription {
   std::string name;
   U64 fingerprint;
};

class ControlWriter {
  public:
   /// Takes over the control file, or makes it. `takeover` tells whether an earlier writer was there and
   /// died.
   ControlWriter(Folder& folder, const PoolOptions& options);
   ~ControlWriter();

   U64 epoch() const { return header().preamble.epoch; }
   ChangeLogWriter& log() { return log_; }
   /// The table's place in the directory, entered if it is new there. Raises Vok::Error when the directory is
   /// full or the key too long for the log.
   U8 tableNumber(const std::string& name, const RowShape& shape);

  private:
   ControlHeader& header() const { return mapping_.at<ControlHeader>(); }
   TableEntry& entry(unsigned number) const {
      return mapping_.at<TableEntry>(tableDirectoryOffset + number * sizeof(TableEntry));
   }
   bool takeOver(Folder& folder, const PoolOptions& options, U64& epoch);
   void make(Folder& folder, const PoolOptions& options, U64 epoch);

   std::string what_;
   Descriptor file_;
   Mapping mapping_;
   ChangeLogWriter log_;
};

class ControlReader {
  public:
   ControlReader() = default;
   /// Raises MountError with the status to report.
   explicit ControlReader(const Folder& folder);

   explicit operator bool() const { return static_cast<bool>(mapping_); }
   bool isRetired() const { return loadAcquire(header().preamble.retired) != 0; }
   U64 epoch() const { return loadRelaxed(header().preamble.epoch); }
   U64 head() const { return loadAcquire(header().head); }
   U64 writerPid() const { return loadRelaxed(header().writerPid); }
   std::vector<TableDescription> tables() const;
   /// A cursor behind the newest change.
   ChangeCursor cursor() const;

  private:
   const ControlHeader& header() const { return mapping_.at<ControlHeader>(); }

   Mapping mapping_;
   U32 entryBytes_ = 0;
   unsigned entriesLog2_ = 0;
};

} // namespace Pooltab
