#pragma once

#include "Pooltab/Control.h"
#include "Pooltab/TableView.h"

#include <map>
#include <memory>

/// A pool in the eyes of one of its readers. Reads only: no writer knows of it, and none is slowed by it.
///
/// Threads: one at a time. Lifetime: the tables live as long as the pool.

namespace Pooltab {

class PoolReader {
  public:
   explicit PoolReader(std::shared_ptr<Folder> folder);
   PoolReader(const PoolReader&) = delete;

   /// The table of that name, mounted if it can be. Never raises: mountStatus() says what is missing, and
   /// deliver() mounts it when it comes.
   TableView& view(const std::string& name, const RowShape& shape);

   /// Readable when there may be something to deliver. Drain it, then deliver until nothing comes. Listening
   /// begins with the first call: deliver once after it.
   int descriptor();
   /// Has the next deliver() make the descriptor unreadable, once it has told of what woke the caller.
   void drain() { isDrainDue_ = listener_ != nullptr; }

   /// Mounts what has come, then tells the tables' listeners of up to `max` changes, in the order of writing.
   /// Returns how many it told of; less than `max` means that the reader has caught up. Changes of tables
   /// without a listener are passed over.
   std::size_t deliver(std::size_t max);

   /// The number of the last change delivered, and of the last announced.
   U64 position() const { return cursor_.position(); }
   /// Goes on behind that change: for readers that know how far they came in an earlier life. Where the log
   /// has lost what follows, deliver() tells of whole collections.
   void positionIs(U64 position) {
      if (control_)
         cursor_.positionIs(position);
   }
   /// False while the pool's control file, and with it the change log, is missing or makes no sense.
   bool hasLog() const { return static_cast<bool>(control_); }
   U64 logPosition() const { return control_ ? control_.head() : 0; }
   const std::shared_ptr<Folder>& folder() const { return folder_; }
   /// Names and fingerprints of the tables that the pool has.
   std::vector<TableDescription> tables();
   TableStatistics statistics(const TableView& table) const;

  private:
   static constexpr unsigned group = 16; ///< changes whose rows are fetched ahead at a time

   void refresh();
   void refreshControl();
   void tellAll();
   void numberTables();
   TableView* viewOf(U8 number);
   void prefetchRows() const;
   bool deliverNext(std::size_t& told);
   std::size_t deliverLogged(std::size_t max);
   void emptyBell();

   std::shared_ptr<Folder> folder_;
   std::unique_ptr<Listener> listener_;
   bool isDrainDue_ = false;
   ControlReader control_;
   ChangeCursor cursor_;
   std::map<std::string, std::unique_ptr<TableView>, std::less<>> views_;
   std::vector<TableView*> byNumber_; ///< null for tables that nobody asked for
};

} // namespace Pooltab
