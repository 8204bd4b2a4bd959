#include "Pooltab/PoolReader.h"

#include <utility>

namespace Pooltab {

PoolReader::PoolReader(std::shared_ptr<Folder> folder) : folder_(std::move(folder)) {
   refreshControl();
}

int PoolReader::descriptor() {
   if (!listener_)
      listener_ = folder_->listen();
   return listener_->descriptor();
}

void PoolReader::emptyBell() {
   if (listener_->drain())
      return;
   control_ = ControlReader();
   for (const auto& [name, view] : views_)
      view->replaced();
}

TableView& PoolReader::view(const std::string& name, const RowShape& shape) {
   if (const auto known = views_.find(name); known != views_.end())
      return *known->second;
   // The cursor stands before the rows are looked at: what changes from here on is told.
   refreshControl();
   TableView& view = *(views_[name] = std::make_unique<TableView>(folder_, name, shape));
   numberTables();
   return view;
}

void PoolReader::numberTables() {
   byNumber_.clear();
   if (!control_)
      return;
   for (const TableDescription& table : control_.tables()) {
      const auto found = views_.find(table.name);
      byNumber_.push_back(found == views_.end() ? nullptr : found->second.get());
   }
}

void PoolReader::tellAll() {
   for (const auto& [name, view] : views_)
      if (view->listener() && view->isMounted())
         view->listener()->onCollection(*view);
}

void PoolReader::refreshControl() {
   if (control_ && !control_.isRetired())
      return;
   try {
      ControlReader control(*folder_);
      control_ = std::move(control);
      cursor_ = control_.cursor();
      numberTables();
   } catch (const Vok::Error&) {
      return; // the tables' own mount status tells why
   }
   tellAll(); // tables that were mounted before may have changed unseen
}

void PoolReader::refresh() {
   refreshControl();
   for (const auto& [name, view] : views_) {
      if (!view->refresh())
         continue;
      numberTables();
      if (view->listener())
         view->listener()->onMountStatus(*view);
      if (view->listener()) // it may have gone when it was told
         view->listener()->onCollection(*view);
   }
}

TableView* PoolReader::viewOf(U8 number) {
   if (number >= byNumber_.size())
      numberTables();
   return number < byNumber_.size() ? byNumber_[number] : nullptr;
}

/// The rows of the next changes come from memory side by side, while those before them are told of.
void PoolReader::prefetchRows() const {
   cursor_.ahead(group, [&](U8 number, U32 slot) {
      const TableView* table = number < byNumber_.size() ? byNumber_[number] : nullptr;
      if (table && table->listener() && table->isWorthPrefetching())
         table->prefetchRow(slot);
   });
}

/// Returns false when there is nothing more.
bool PoolReader::deliverNext(std::size_t& told) {
   Change change;
   const ChangeCursor::Next next = cursor_.next(change);
   if (next == ChangeCursor::Next::nothing)
      return false;
   if (next == ChangeCursor::Next::lapped) {
      ++told;
      tellAll();
      return true;
   }
   TableView* table = viewOf(change.table);
   if (!table || !table->listener() || change.keyBytes != table->shape().keyBytes)
      return true;
   ++told;
   table->tell(change);
   return true;
}

std::size_t PoolReader::deliver(std::size_t max) {
   std::size_t told = deliverLogged(max);
   if (std::exchange(isDrainDue_, false)) {
      emptyBell();
      // A ring that came before the bell was emptied wakes nobody any more. What it was for, changes or a new
      // file, was there before it and is seen by this second look; a later ring wakes.
      told += deliverLogged(max - told);
   }
   return told;
}

std::size_t PoolReader::deliverLogged(std::size_t max) {
   refresh();
   std::size_t told = 0;
   for (unsigned number = 0; control_ && told < max; ++number) {
      if (number % group == 0)
         prefetchRows();
      if (!deliverNext(told))
         break;
   }
   return told;
}

std::vector<TableDescription> PoolReader::tables() {
   refreshControl();
   return control_ ? control_.tables() : std::vector<TableDescription>();
}

TableStatistics PoolReader::statistics(const TableView& table) const {
   TableStatistics statistics;
   table.statistics(statistics);
   statistics.logPosition = logPosition();
   statistics.writerPid = control_ ? control_.writerPid() : 0;
   statistics.writerAlive = folder_->isLocked();
   return statistics;
}

} // namespace Pooltab
