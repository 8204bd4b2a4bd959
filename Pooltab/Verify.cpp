#include "Pooltab/Verify.h"

#include "Pooltab/Status.h"

namespace Pooltab {

namespace {

class Verifier {
  public:
   Verifier(const Folder& folder, const std::string& table, const RowShape& shape,
            const std::function<U32(const Word*, U64)>& tag)
       : shape_(shape), tag_(tag), rows_(folder, table, shape),
         index_(folder, table, loadAcquire(rows_.header().indexGeneration), rows_.seed()) {}

   TableReport check() {
      report_.status = MountStatus::mounted;
      const RowsHeader& header = rows_.header();
      const U64 changes = loadAcquire(header.changes);
      checkRows();
      checkIndex();
      report_.countDiffers = loadRelaxed(header.rows) != report_.rows;
      report_.sumDiffers = loadRelaxed(header.sum) != sum_;
      if (report_.countDiffers)
         report_.findings.push_back("the header counts " + std::to_string(loadRelaxed(header.rows)) +
                                    " rows, there are " + std::to_string(report_.rows));
      if (report_.sumDiffers)
         report_.findings.push_back("the running sum of the checksums does not fit the rows");
      report_.busy = loadAcquire(header.changes) != changes || loadAcquire(header.step) != 0;
      return std::move(report_);
   }

  private:
   static constexpr U64 findingsMax = 10; ///< of each kind

   void find(U64& count, U64 slot, const char* what) {
      if (++count <= findingsMax)
         report_.findings.push_back("slot " + std::to_string(slot) + ": " + what);
   }

   void checkRows() {
      RowCopy row;
      try {
         named_.assign(rows_.tail(), false);
         for (U64 slot = 0; slot < named_.size();) {
            const U64 at = slot;
            switch (rows_.step(slot, row)) {
            case Fetch::row:
               checkRow(at, slot, row);
               break;
            case Fetch::none:
               report_.freeBytes += (slot - at) * granuleBytes;
               if (!rows_.isBlank(at, slot))
                  find(report_.dirtyBlocks, at, "a free block holds old data");
               break;
            case Fetch::corrupt:
               find(report_.tornRows, at, "the row does not fit its checksum");
               break;
            }
         }
      } catch (const Vok::CorruptionDetectedError& error) {
         report_.findings.push_back(error.what());
      }
   }

   void checkRow(U64 at, U64 next, const RowCopy& row) {
      ++report_.rows;
      report_.rowBytes += (next - at) * granuleBytes;
      sum_ += rows_.checksumOf(row);
      named_[at] = true;
      U64 end;
      if (!index_.probe(tag_(row.payload, rows_.seed()), end, [&](U32 slot, U64) { return slot == at; }))
         find(report_.unindexed, at, "the index does not lead to the row");
   }

   void checkIndex() {
      for (U64 position = 0; position < index_.capacity(); ++position) {
         const Word entry = index_.entry(position);
         if (entry == 0)
            continue;
         const U64 slot = entrySlot(entry);
         if (slot < named_.size() && named_[slot])
            named_[slot] = false;
         else if (RowCopy row; slot < named_.size() && rows_.fetch(static_cast<U32>(slot), row) == Fetch::row)
            find(report_.duplicates, slot, "the index names the row twice");
         else
            find(report_.dangling, slot, "the index names a row that is not there");
      }
   }

   RowShape shape_;
   const std::function<U32(const Word*, U64)>& tag_;
   RowsReader rows_;
   IndexReader index_;
   TableReport report_;
   std::vector<bool> named_; ///< rows that no index entry has named yet
   U64 sum_ = 0;
};

} // namespace

TableReport verifyTable(const Folder& folder, const std::string& table, const RowShape& shape,
                        const std::function<U32(const Word* key, U64 seed)>& tag) {
   TableReport report;
   try {
      for (int attempt = 0; attempt < 5; ++attempt) {
         report = Verifier(folder, table, shape, tag).check();
         if (report.isClean() || !report.busy)
            break;
      }
   } catch (const MountError& error) {
      report.status = error.status();
      report.findings.push_back(error.what());
   }
   return report;
}

} // namespace Pooltab
