#include "Bolk/TimerWheel.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace Bolk {
namespace {

constexpr Vok::U64 tick = TimerWheel::nanosecondsPerTick;

/// Many timers beside a plain list of what should happen: starts, cancels, restarts and steps of every size.
TEST(TimerWheelTest, timersRunInOrderWheneverTimeMoves) {
   Vok::ManualClock clock;
   const auto wheel = Vok::make<TimerWheel>(clock);
   std::mt19937_64 random(7);
   std::vector<std::unique_ptr<TimerWheel::Timer>> timers;
   std::map<std::pair<Vok::U64, Vok::U64>, std::size_t> expected; // tick due and order of start, to timer
   std::vector<std::size_t> ran;
   const auto forget = [&](std::size_t timer) {
      std::erase_if(expected, [&](const auto& entry) { return entry.second == timer; });
   };
   for (std::size_t i = 0; i < 50; ++i)
      timers.push_back(std::make_unique<TimerWheel::Timer>(wheel, [&ran, i] { ran.push_back(i); }));
   for (Vok::U64 step = 0; step < 20000; ++step) {
      const std::size_t timer = random() % timers.size();
      const Vok::U64 wait = random() % (Vok::U64(1) << random() % 44);
      switch (random() % 4) {
      case 0:
         timers[timer]->cancel();
         forget(timer);
         break;
      case 1: {
         clock.advance(static_cast<double>(wait) * 1e-9);
         wheel->advance();
         std::vector<std::size_t> due;
         while (!expected.empty() && expected.begin()->first.first <= clock.nanoseconds() / tick) {
            due.push_back(expected.begin()->second);
            expected.erase(expected.begin());
         }
         ASSERT_EQ(ran, due) << "step " << step;
         ran.clear();
         break;
      }
      default: {
         const Vok::U64 moment = clock.nanoseconds() + wait;
         timers[timer]->startAt(moment);
         forget(timer);
         expected[{std::max((moment + tick - 1) / tick, clock.nanoseconds() / tick + 1), step}] = timer;
      }
      }
      for (std::size_t i = 0; i < timers.size(); ++i)
         ASSERT_EQ(timers[i]->running(),
                   std::ranges::any_of(expected, [&](const auto& entry) { return entry.second == i; }));
   }
}

TEST(TimerWheelTest, timersMayChangeTimersAndThrow) {
   Vok::ManualClock clock;
   const auto wheel = Vok::make<TimerWheel>(clock);
   std::string ran;
   std::unique_ptr<TimerWheel::Timer> first, second, third;
   second = std::make_unique<TimerWheel::Timer>(wheel, [&] { ran += '2'; });
   third = std::make_unique<TimerWheel::Timer>(wheel, [&] {
      ran += '3';
      third->start(0); // which is not before the next tick
      if (ran.size() < 4)
         throw std::runtime_error("third");
   });
   first = std::make_unique<TimerWheel::Timer>(wheel, [&] {
      ran += '1';
      second = nullptr; // due in this very tick
      first = nullptr;
   });
   const auto last = std::make_unique<TimerWheel::Timer>(wheel, [&] { ran += '4'; });
   for (TimerWheel::Timer* timer : {first.get(), second.get(), third.get(), last.get()})
      timer->start(0.2);
   clock.advance(0.1999);
   wheel->advance();
   EXPECT_EQ(ran, "");
   clock.advance(0.0001);
   EXPECT_THROW(wheel->advance(), std::runtime_error);
   wheel->advance();
   EXPECT_EQ(ran, "134");
   clock.advance(0.001);
   wheel->advance();
   EXPECT_EQ(ran, "1343");
}

TEST(TimerWheelTest, anActivityTurnsTheWheel) {
   Vok::ManualClock clock;
   Vok::Activity activity(clock);
   const auto wheel = Vok::make<TimerWheel>(activity);
   std::string ran;
   TimerWheel::Timer late(wheel, [&] { ran += 'l'; });
   TimerWheel::Timer soon(wheel, [&] { ran += 's'; });
   late.start(3600);
   soon.start(0.5);
   for (int turn = 0; turn < 7300; ++turn) {
      clock.advance(0.5);
      activity.turn(0);
      ASSERT_EQ(ran, turn < 7199 ? "s" : "sl") << turn;
   }
}

} // namespace
} // namespace Bolk
