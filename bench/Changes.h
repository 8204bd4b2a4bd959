#pragma once

#include "bench/Arrivals.h"
#include "bench/Rows.h"

/// Changes of one number under a key, from the process that owns them through a server to a process that
/// reads them.

namespace Bench {

inline constexpr U64 changesTotal = 200'000;
/// Changes that the owner hands over at a time.
inline constexpr U64 changesBurst = 1000;

/// Nanoseconds a change, from the first change to the last one in the reader's hands. All keys have numbers
/// before; none is lost or left out.
double ourChanges(const std::vector<U32>& keys);
double redisChanges(const std::vector<U32>& keys);

/// Microseconds that each of `wakeChanges` changes takes while everybody is asleep.
std::vector<double> ourWake();
std::vector<double> redisWake();

} // namespace Bench
