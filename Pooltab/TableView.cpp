#include "Pooltab/TableView.h"

namespace Pooltab {

namespace {

/// How often a miss is looked at anew because the index changed meanwhile. Each turn needs another unlucky
/// change of the same stretch of the index, so that a living writer does not get there.
constexpr int attemptsMax = 1000;
/// Of the index: what a probe hardly ever goes beyond, from its home on.
constexpr U64 usualStretch = 64;

} // namespace

TableView::TableView(std::shared_ptr<const Folder> folder, const std::string& name, const RowShape& shape)
    : folder_(std::move(folder)), name_(name), shape_(shape) {
   refresh();
}

void TableView::statusIs(MountStatus status, const std::string& text) {
   status_ = status;
   statusText_ = text;
}

bool TableView::refresh() {
   const bool isReplaced = std::exchange(isReplaced_, false);
   if (isMounted() && !rows_.isRetired() && !isReplaced)
      return false;
   const MountStatus before = status_;
   try {
      rows_ = RowsReader(*folder_, name_, shape_);
      mountIndex();
      statusIs(MountStatus::mounted, "");
      return true;
   } catch (const MountError& error) {
      statusIs(error.status(), error.what());
   } catch (const Vok::Error& error) {
      statusIs(MountStatus::corrupted, error.what());
   }
   rows_ = RowsReader();
   index_ = IndexReader();
   return status_ != before;
}

void TableView::mountIndex() const {
   // The writer may replace the index between our reading its generation and our opening its file.
   for (int attempt = 0;; ++attempt) {
      const U64 generation = loadAcquire(rows_.header().indexGeneration);
      try {
         index_ = IndexReader(*folder_, name_, generation, rows_.seed());
         return;
      } catch (const MountError& error) {
         if (attempt >= 100 || (attempt > 0 && loadAcquire(rows_.header().indexGeneration) == generation &&
                                error.status() != MountStatus::unmounted))
            throw MountError(error.status() == MountStatus::unmounted ? MountStatus::corrupted
                                                                      : error.status(),
                             error.what());
      }
   }
}

bool TableView::indexIsCurrent() const {
   return loadAcquire(rows_.header().indexGeneration) == index_.generation();
}

void TableView::tell(const Change& change) {
   struct Telling {
      TableView& table;
      ~Telling() { table.told_ = nullptr; }
   } const telling{*this};
   told_ = &change;
   listener_->onChange(*this, change);
}

bool TableView::findBesideWriter(const PackedKey& key, RowCopy& row) const {
   if (!isMounted())
      return false;
   U64 length = usualStretch;
   for (int attempt = 0; attempt < attemptsMax; ++attempt) {
      if (!indexIsCurrent())
         try {
            mountIndex();
         } catch (const MountError& error) {
            throw Vok::CorruptionDetectedError(error.what());
         }
      const U64 stretch = length;
      const U64 shifts = index_.shifts(key.tag, stretch);
      const Look seen = look(key, row, length);
      if (seen == Look::row)
         return true;
      // The order matters: what moved before the counters were read again has raised them.
      if (seen == Look::absent && length <= stretch && index_.shifts(key.tag, stretch) == shifts &&
          indexIsCurrent())
         return false;
   }
   throw Vok::CorruptionDetectedError(folder_->where() + "/" + name_ +
                                      ": the index names a row that is not there, or does not come to rest");
}

TableView::Look TableView::look(const PackedKey& key, RowCopy& row, U64& length) const {
   bool moved = false;
   U64 end;
   const bool found = index_.probe(key.tag, end, [&](U32 slot, U64 position) {
      const Fetch fetched = rows_.fetch(slot, row);
      if (fetched == Fetch::row && sameBytes(row.payload, key.words, shape_.keyBytes))
         return true;
      // Another key may have this tag, or the entry was changed while we followed it: then its row may stand
      // elsewhere by now. A free block under a standing entry is no writer's work.
      const bool standing = entrySlot(index_.entry(position)) == slot && indexIsCurrent();
      if (fetched == Fetch::corrupt && standing)
         rows_.corrupted(slot, "the row does not fit its checksum, or lies beyond the file");
      moved = moved || !standing || fetched != Fetch::row;
      return false;
   });
   length = std::max(length, index_.probeLength(key.tag, end));
   return found ? Look::row : moved ? Look::again : Look::absent;
}

void TableView::statistics(TableStatistics& statistics) const {
   statistics.name = name_;
   statistics.rows = size();
   statistics.changes = changeCounter();
   if (!isMounted())
      return;
   statistics.bytes = rows_.bytes() + index_.bytes();
   statistics.capacity = index_.capacity() * 2 / 3;
   statistics.epoch = loadRelaxed(rows_.header().preamble.epoch);
}

const char* mountStatusName(MountStatus status) {
   switch (status) {
   case MountStatus::unmounted:
      return "unmounted";
   case MountStatus::mounted:
      return "mounted";
   case MountStatus::versionMismatch:
      return "versionMismatch";
   case MountStatus::fingerprintMismatch:
      return "fingerprintMismatch";
   case MountStatus::permissionDenied:
      return "permissionDenied";
   case MountStatus::corrupted:
      return "corrupted";
   }
   return "unknown";
}

} // namespace Pooltab
