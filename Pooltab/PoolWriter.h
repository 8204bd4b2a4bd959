#pragma once

#include "Pooltab/Control.h"
#include "Pooltab/Status.h"
#include "Pooltab/TableStore.h"

#include <map>
#include <memory>

/// A pool in the hands of its one writer.
///
/// Threads: one at a time. Lifetime: the tables live as long as the pool; the right to write ends with it.

namespace Pooltab {

class PoolWriter {
  public:
   /// Raises Vok::Error naming the process that writes the pool already, or saying why it cannot be made.
   explicit PoolWriter(std::shared_ptr<Folder> folder, const PoolOptions& options = {});
   ~PoolWriter();
   PoolWriter(const PoolWriter&) = delete;

   /// The table of that name: with the rows it had, or empty when it is new or its rows are declared
   /// otherwise. Raises Vok::CorruptionDetectedError when what is there was not left by a writer.
   TableStore& store(const std::string& name, const RowShape& shape);

   /// Announces the changes made so far and wakes the readers. Called at the end of an activity turn; costs a
   /// system call if something changed. Long bursts are announced on the way: see note().
   void flush();
   /// To be called after every change, or every few: announces it, and rings when a sixteenth of the log, at
   /// least 512 changes, was not flushed.
   void note() {
      ChangeLogWriter& log = control_->log();
      log.announce();
      if (log.announced() - rung_ >= burst_)
         flush();
   }

   const std::shared_ptr<Folder>& folder() const { return folder_; }
   U64 epoch() const { return control_->epoch(); }
   /// The number of the last change.
   U64 logPosition() const { return control_->log().next() - 1; }
   TableStatistics statistics(const TableStore& table) const;

  private:
   std::shared_ptr<Folder> folder_;
   std::unique_ptr<WriterLock> lock_;
   std::unique_ptr<ControlWriter> control_;
   std::map<std::string, std::unique_ptr<TableStore>, std::less<>> tables_;
   U64 burst_; ///< waking sleepers costs as much as a hundred changes
   U64 rung_ = 0;
};

} // namespace Pooltab
