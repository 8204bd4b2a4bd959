#pragma once

#include "bench/Measure.h"
#include "bench/SharedPage.h"

#include <unistd.h>

/// One change after another to a process asleep, and how long each took to arrive there.

namespace Bench {

inline constexpr int wakeChanges = 1000;
/// Changes before those, which do not count. A process that has just been busy, as with filling tables,
/// counts as a load on its processor for a while; the system then wakes the reader on the other one, out of
/// its halt, which takes several times as long, and is as much so for a bare doorbell.
inline constexpr int settlingChanges = 200;

/// What both processes share.
struct WakeWatch {
   std::atomic<int> heard = -1; ///< the last change that the reader has seen; -1 until it is there
   std::atomic<double> sent = 0;
};

/// Notes how long each change took to arrive.
struct Arrivals {
   explicit Arrivals(WakeWatch& watch) : watch(&watch) {}
   /// From now on changes are awaited.
   void start() { watch->heard = 0; }
   void arrived() {
      const double now = nowNs();
      if (watch->heard >= settlingChanges)
         microseconds.push_back((now - watch->sent) / 1000);
      watch->heard = watch->heard + 1;
   }
   bool isComplete() const { return microseconds.size() == wakeChanges; }

   WakeWatch* watch;
   std::vector<double> microseconds = {};
};

/// Makes one change after another, each when the reader has had time to fall asleep again. What prepare()
/// gives for a number, change() is handed on the clock.
template <class Prepare, class Change>
void pace(WakeWatch& watch, Prepare&& prepare, Change&& change) {
   constexpr useconds_t asleep = 400;
   for (int number = 0; number < settlingChanges + wakeChanges; ++number) {
      while (watch.heard < number)
         usleep(50);
      usleep(asleep);
      const auto prepared = prepare(number);
      watch.sent = nowNs();
      change(prepared);
   }
}

} // namespace Bench
