#pragma once

#include "Pooltab/Collection.h"
#include "Vok/Errors.h"

/// Reads of a table for those who go on without what they cannot read, as state machines do. What no writer
/// left is told to the table's control, where it is counted and traced, and counts as missing.
///
///    LfibRoute route;
///    if (Pooltab::checkedFind(lfib->lfibRouteTable(), key, route)) ...
///
/// The table must live until the call returns.

namespace Pooltab {

/// Calls read() and returns what it says; false when it meets corruption.
template <class Read>
bool checkedRead(const CollectionControl& control, Read read) {
   try {
      return read();
   } catch (const Vok::CorruptionDetectedError& error) {
      control.corruptionDetected(error.what());
      return false;
   }
}

/// True when the key has a row, which is in `row` then.
template <class Row>
bool checkedFind(const Collection<Row>& table, const typename Row::Key& key, Row& row) {
   return checkedRead(table, [&] { return table.find(key, row); });
}

template <class Row>
bool checkedHas(const Collection<Row>& table, const typename Row::Key& key) {
   return checkedRead(table, [&] { return table.has(key); });
}

/// Calls visit( row ) for each row in slot order, and ends at the first that cannot be read. The table may
/// change meanwhile, and what visit raises goes to the caller.
template <class Row, class Visit>
void checkedWalk(const Collection<Row>& table, Visit visit) {
   Row row;
   for (U64 slot = 0; checkedRead(table, [&] { return table.walk(slot, row); });)
      visit(std::as_const(row));
}

/// As checkedWalk(), but goes on behind a row that cannot be read.
template <class Row, class Visit>
void checkedWalkAll(const Collection<Row>& table, Visit visit) {
   Row row;
   U64 slot = 0;
   for (U64 from = 0;; from = slot) {
      if (checkedRead(table, [&] { return table.walk(slot, row); }))
         visit(std::as_const(row));
      else if (slot == from)
         return; // the end; a row that cannot be read has been stepped over
   }
}

} // namespace Pooltab
