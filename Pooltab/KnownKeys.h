#pragma once

#include "Pooltab/TableReader.h"
#include "Vok/HashMap.h"

#include <memory>
#include <vector>

/// What a reader was told of a table: each key and the number of the change that wrote its row. Compared with
/// the table after a gap in the change log, it says which rows were written and which were deleted meanwhile;
/// the table alone cannot tell the latter.

namespace Pooltab {

template <class Row>
class KnownKeys {
  public:
   using Key = typename Row::Key;

   void note(const Key& key, const Change& change) {
      if (change.operation == Operation::del)
         versions_->del(key);
      else
         versions_->is(key, change.sequence);
   }

   /// The keys whose rows differ from what is known: first those that were written, in slot order, then those
   /// that are gone. All of it is known afterwards. What changes during the call may be among them or not:
   /// the change log goes on to tell of it. Raises Vok::CorruptionDetectedError, and knows the same as before
   /// then.
   std::vector<Key> differences(const TableReader<Row>& table) {
      std::vector<Key> differing;
      auto now = std::make_unique<Versions>();
      Row row;
      U64 version;
      for (U64 slot = 0; table.walk(slot, row, version);) {
         const U64* known = versions_->find(row.rowKey());
         const bool isNew = now->is(row.rowKey(), version); // not for a row that moved before the walk
         if (isNew && (!known || *known != version))
            differing.push_back(row.rowKey());
      }
      for (const auto& [key, known] : *versions_) {
         if (now->has(key))
            continue;
         if (const U64 moved = table.version(key)) // behind the walk's back
            now->is(key, moved);
         else
            differing.push_back(key);
      }
      versions_ = std::move(now);
      return differing;
   }

  private:
   using Versions = Vok::HashMap<Key, U64>;
   std::unique_ptr<Versions> versions_ = std::make_unique<Versions>();
};

} // namespace Pooltab
