#pragma once
// Bolk::TimerWheel: any number of timers, each started and cancelled in constant time.

#include "Vok/Activity.h"
#include "Vok/Clock.h"
#include "Vok/Entity.h"

#include <array>
#include <functional>

namespace Bolk {

/// Runs timers when their time has come by a clock: never early, and at most a tick late. Those of an
/// earlier tick run first, those of one tick in the order in which they were started.
///
/// Given an activity, the wheel turns by itself, as one timer of it. Given a clock alone, it turns when
/// `advance()` is called. Whichever it is must outlive the wheel.
///
/// Timers stand in eight levels of 64 slots. A slot of the lowest level is one tick wide, one of each
/// higher level as wide as the whole level below it; as time reaches a slot of a higher level, its timers
/// move down. A timer thus moves at most seven times however long it runs, and empty slots cost nothing.
class TimerWheel : public Vok::Entity {
   /// A place in the circle of a slot's timers; the slot itself, too.
   struct Link {
      Link() = default;
      Link(const Link&) = delete;
      Link& operator=(const Link&) = delete;
      bool alone() const { return next == this; }
      void insertBefore(Link& place);
      void remove();
      Link* previous = this;
      Link* next = this;
   };

  public:
   static constexpr Vok::U64 nanosecondsPerTick = 1'000'000;

   explicit TimerWheel(const Vok::Clock& clock);
   explicit TimerWheel(Vok::Activity& activity);

   /// A function that runs when the time has come. Destroying the timer cancels it. Keeps the wheel alive.
   class Timer : private Link {
     public:
      Timer(Vok::Ptr<TimerWheel> wheel, std::function<void()> expire);
      ~Timer() { cancel(); }

      /// Runs the function once, `seconds` from now; not from within this call, however short that is.
      /// A timer that runs already starts again.
      void start(double seconds);
      /// The same, at a moment of the wheel's clock, in nanoseconds.
      void startAt(Vok::U64 moment);
      void cancel() { remove(); }
      bool running() const { return !alone(); }

     private:
      friend class TimerWheel;
      const Vok::Ptr<TimerWheel> wheel_;
      const std::function<void()> expire_;
      Vok::U64 due_ = 0; // in ticks
   };

   const Vok::Clock& clock() const { return clock_; }

   /// Runs the timers that are due. They may start, cancel and destroy timers, themselves included; what
   /// they start waits for the next tick at least. What one of them throws leaves this call; the rest runs
   /// with the next one. Not to be called by a timer.
   void advance();

   const Vok::EntityType& vokEntityType() const override { return vokType(); }
   static const Vok::EntityType& vokType();

  private:
   static constexpr Vok::U32 levels = 8, slotBits = 6, slots = 1u << slotBits;

   struct Level {
      std::array<Link, slots> slot;
      Vok::U64 used = 0; // slots that may hold timers: a cancelled timer leaves its bit behind
   };

   /// Lives while timers run; whatever one of them throws, the activity calls back for the rest.
   struct Advancing {
      explicit Advancing(TimerWheel& wheel) : wheel(wheel) { wheel.advancing_ = true; }
      ~Advancing();
      TimerWheel& wheel;
   };

   void insert(Timer& timer);
   bool nextSlot(Vok::U32& level, Vok::U32& slot, Vok::U64& start);
   void open(Vok::U32 level, Vok::U32 slot);
   void runReady();
   void wakeUpAt(Vok::U64 tick);

   const Vok::Clock& clock_;
   Vok::Activity* const activity_; // null: turned by hand
   Vok::U64 now_;                  // the tick up to which, inclusive, timers have run
   bool advancing_ = false;
   std::array<Level, levels> levels_;
   Link ready_;          // due, in the order in which they run
   Vok::U64 wakeUp_ = 0; // the tick for which wakeUpHandle_ is set
   Vok::Activity::Handle wakeUpHandle_;
};

} // namespace Bolk
