#pragma once

#include "Vok/Types.h"

namespace Vok {

/// The moment `seconds` after `start`, both in a clock's nanoseconds: rounded up to a whole one and at most
/// the last one that fits; `start` itself when `seconds` is negative, zero or not a number.
U64 nanosecondsAfter(U64 start, double seconds);

/// Tells the time that has passed; says nothing about the date. Whoever measures or waits takes a `const
/// Clock&`, so that a test can hand in a `ManualClock` and be done in no time.
class Clock {
  public:
   virtual ~Clock() = default;

   /// Nanoseconds since an origin of the clock's own choosing. Never goes back.
   virtual U64 nanoseconds() const = 0;

   /// True when time passes while the process sleeps, so that waiting for a moment makes sense.
   virtual bool runsByItself() const = 0;

   /// The same moment as `nanoseconds()`, in seconds.
   double seconds() const { return static_cast<double>(nanoseconds()) * 1e-9; }

  protected:
   Clock() = default;
   Clock(const Clock&) = default;
   Clock& operator=(const Clock&) = default;
};

/// The machine's monotonic clock. Any thread may read it.
class SystemClock final : public Clock {
  public:
   U64 nanoseconds() const override;
   bool runsByItself() const override { return true; }
};

/// A clock that stands still until it is told to move. Starts at zero. One thread at a time.
class ManualClock final : public Clock {
  public:
   U64 nanoseconds() const override { return nanoseconds_; }
   bool runsByItself() const override { return false; }

   /// Moves the clock on. A step that is not positive is none: no clock goes back.
   void advance(double seconds) { nanoseconds_ = nanosecondsAfter(nanoseconds_, seconds); }

  private:
   U64 nanoseconds_ = 0;
};

} // namespace Vok
