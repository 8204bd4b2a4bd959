#pragma once

#include "Pooltab/Words.h"

#include <iterator>

/// A range-for over a table, in slot order. Each step is a walk() of the table: it stays valid whatever
/// changes meanwhile.

namespace Pooltab {

template <class Table>
class TableWalk;

template <template <class> class Table, class Row>
class TableWalk<Table<Row>> {
  public:
   using value_type = Row;
   using difference_type = std::ptrdiff_t;

   explicit TableWalk(const Table<Row>& table) : table_(&table) { ++*this; }
   const Row& operator*() const { return row_; }
   const Row* operator->() const { return &row_; }
   TableWalk& operator++() {
      more_ = table_->walk(slot_, row_);
      return *this;
   }
   void operator++(int) { ++*this; }
   bool operator==(std::default_sentinel_t) const { return !more_; }

  private:
   const Table<Row>* table_;
   U64 slot_ = 0;
   bool more_ = false;
   Row row_;
};

} // namespace Pooltab
