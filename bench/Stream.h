#pragma once

#include "bench/Measure.h"
#include "bench/Rows.h"

#include <vector>

/// The stream of changes: routes change one after another as fast as they can, and a reader gets each change
/// with the row as it then stands. A stream returns nanoseconds a change, from the first write to the last
/// row read.

namespace Bench {

inline constexpr U64 streamChanges = 200'000;
/// Changes that a writer hands over at a time.
inline constexpr U64 streamBurst = 1000;

double ourStream(const std::vector<U32>& labels);
double observerStream(const std::vector<U32>& labels);
double lmdbStream(const std::vector<U32>& labels);
double redisStream(const std::vector<U32>& labels);

/// The routes that change, as packed rows: change number n is of rows[n % rows.size()], with another
/// metric each time.
class StreamRows {
  public:
   explicit StreamRows(const std::vector<U32>& labels) {
      const RowMaker make(labels.size());
      for (const U32 label : labels)
         rows_.push_back(make(label, rows_.size(), 0).route);
   }
   const RouteBlob& operator[](U64 change) {
      RouteBlob& row = rows_[change % rows_.size()];
      row.back() = static_cast<U8>(1 + (row.back() + change) % 255);
      return row;
   }
   const std::vector<RouteBlob>& all() const { return rows_; }

  private:
   std::vector<RouteBlob> rows_;
};

} // namespace Bench
