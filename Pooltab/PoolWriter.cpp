#include "Pooltab/PoolWriter.h"

#include "Pooltab/Holder.h"
#include "Pooltab/Status.h"

#include <algorithm>

namespace Pooltab {

PoolWriter::PoolWriter(std::shared_ptr<Folder> folder, const PoolOptions& options)
    : folder_(std::move(folder)), lock_(folder_->lock()),
      control_(std::make_unique<ControlWriter>(*folder_, options)),
      burst_(std::max<U64>(512, (U64{1} << options.logEntriesLog2) / 16)) {
   // Readers of an earlier writer look again.
   folder_->ring();
   rung_ = control_->log().announced();
}

PoolWriter::~PoolWriter() {
   try {
      flush();
   } catch (const Vok::Error&) {
      // The changes stand and are announced when the control file is closed; only the wake-up is lost.
   }
}

TableStore& PoolWriter::store(const std::string& name, const RowShape& shape) {
   if (shape.rowBytesMax > payloadBytesMax || shape.keyBytes == 0 || shape.keyBytes > shape.rowBytesMax)
      throw Vok::Error(folder_->where() + ": table '" + name + "': a row takes " +
                       std::to_string(shape.rowBytesMax) + " bytes with a key of " +
                       std::to_string(shape.keyBytes) + "; the most is " + std::to_string(payloadBytesMax));
   if (const auto open = tables_.find(name); open != tables_.end()) {
      if (open->second->shape().fingerprint != shape.fingerprint)
         throw Vok::Error(folder_->where() + ": table '" + name +
                          "' is open already, with rows declared otherwise");
      return *open->second;
   }
   const U8 number = control_->tableNumber(name, shape);
   auto table = std::make_unique<TableStore>(folder_, name, shape, number, control_->log(), epoch());
   folder_->ring(); // for readers that wait for this table
   return *(tables_[name] = std::move(table));
}

void PoolWriter::flush() {
   ChangeLogWriter& log = control_->log();
   log.announce();
   if (log.announced() == rung_)
      return;
   rung_ = log.announced();
   folder_->ring();
}

TableStatistics PoolWriter::statistics(const TableStore& table) const {
   TableStatistics statistics;
   statistics.name = table.name();
   statistics.rows = table.size();
   statistics.bytes = table.bytes();
   statistics.capacity = table.capacity();
   statistics.changes = table.changeCounter();
   statistics.logPosition = logPosition();
   statistics.epoch = epoch();
   statistics.writerPid = thisProcess().pid;
   statistics.writerAlive = true;
   return statistics;
}

} // namespace Pooltab
