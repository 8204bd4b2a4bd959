#include "Vok/Clock.h"

#include <cmath>
#include <ctime>
#include <limits>

namespace Vok {

U64 nanosecondsAfter(U64 start, double seconds) {
   if (!(seconds > 0))
      return start;
   constexpr auto last = std::numeric_limits<U64>::max();
   const double wait = std::ceil(seconds * 1e9);
   return wait >= static_cast<double>(last - start) ? last : start + static_cast<U64>(wait);
}

U64 SystemClock::nanoseconds() const {
   timespec now{};
   clock_gettime(CLOCK_MONOTONIC, &now);
   return static_cast<U64>(now.tv_sec) * 1'000'000'000u + static_cast<U64>(now.tv_nsec);
}

} // namespace Vok
