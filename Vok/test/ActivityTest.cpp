#include "Vok/Activity.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <random>
#include <set>
#include <stdexcept>
#include <sys/eventfd.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Vok::Activity;
using Vok::U32;
using Vok::U64;

/// An event counter that is ready to be read from the start.
class Ready {
  public:
   Ready() : descriptor_(eventfd(1, EFD_CLOEXEC)) {}
   ~Ready() { close(descriptor_); }
   Ready(const Ready&) = delete;
   Ready& operator=(const Ready&) = delete;
   operator int() const { return descriptor_; }

  private:
   const int descriptor_;
};

bool hasWork(Activity& activity, int milliseconds = 0) {
   pollfd wait{activity.descriptor(), POLLIN, 0};
   return poll(&wait, 1, milliseconds) == 1;
}

TEST(Activity, TurnRunsInOrderAndLeavesTheRestForTheNext) {
   Vok::ManualClock clock;
   Activity activity(clock);
   std::string log;
   const auto say = [&](const char* what) { return [&, what] { log += what; }; };
   const Ready ready;
   Activity::Handle added;
   const auto end1 = activity.atTurnEnd(say("e"));
   const auto end2 = activity.atTurnEnd([&] {
      log += "E ";
      if (!added)
         added = activity.atTurnEnd(say("+ "));
   });
   activity.post([&] {
      log += "p";
      activity.post(say("q"));
   });
   activity.postFromAnyThread(say("P"));
   Activity::Handle rearmed;
   const auto late = activity.after(2, say("3"));
   const auto early = activity.after(1, [&] {
      log += "1";
      rearmed = activity.after(0, say("4"));
   });
   const auto tied = activity.after(1, say("2"));
   auto watch = activity.watch(ready, Activity::readable | Activity::writable, [&](U32 events) {
      EXPECT_EQ(events, Activity::readable | Activity::writable);
      log += "w";
   });

   EXPECT_TRUE(activity.turn(-1));
   EXPECT_EQ(log, "wpPeE ");
   EXPECT_TRUE(activity.turn(-1));
   EXPECT_EQ(log, "wpPeE wqeE + ");
   watch.eventsIs(0);
   clock.advance(2);
   EXPECT_TRUE(activity.turn(-1));
   EXPECT_EQ(log, "wpPeE wqeE + 123eE + ");
   EXPECT_FALSE(late || early || tied);
   EXPECT_TRUE(rearmed);
   EXPECT_TRUE(activity.turn(-1));
   EXPECT_FALSE(activity.turn(0));
   EXPECT_EQ(log, "wpPeE wqeE + 123eE + 4eE + eE + ");
}

/// Callbacks of all kinds attach and detach one another at random, themselves included.
class Churn {
  public:
   explicit Churn(unsigned seed) : random_(seed) {}

   void run() {
      for (U64 turns = 0; turns < 300; ++turns) {
         while (slots_.size() < 12)
            attach();
         clock_.advance(0.5);
         lastDue_ = 0;
         ranThisTurn_.clear();
         activity_.turn(0);
      }
      EXPECT_GT(ran_, 1000u);
      slots_.clear();
      ranThisTurn_.clear();
      EXPECT_FALSE(activity_.turn(0));
      EXPECT_TRUE(ranThisTurn_.empty());
   }

  private:
   struct Slot {
      Ready ready;
      Activity::Handle handle;
   };

   void attach() {
      const U64 id = ++lastId_;
      auto& slot = slots_[id];
      const std::string owned(40, 'x'); // the sanitizer sees a callback that is used after it is gone
      switch (random_() % 3) {
      case 0:
         slot.handle = activity_.watch(slot.ready, Activity::readable, [=, this](U32) { called(id, owned); });
         break;
      case 1: {
         const double wait = static_cast<double>(random_() % 4);
         const auto due = Vok::nanosecondsAfter(clock_.nanoseconds(), wait);
         slot.handle = activity_.after(wait, [=, this] {
            EXPECT_LE(due, clock_.nanoseconds());
            EXPECT_GE(due, lastDue_);
            lastDue_ = due;
            called(id, owned);
            slots_.erase(id);
         });
         break;
      }
      default:
         slot.handle = activity_.atTurnEnd([=, this] { called(id, owned); });
      }
   }

   void called(U64 id, const std::string& owned) {
      ++ran_;
      EXPECT_TRUE(slots_.contains(id)) << "called after it was detached";
      EXPECT_TRUE(ranThisTurn_.insert(id).second) << "called twice in a turn";
      for (auto changes = random_() % 3; changes > 0; --changes)
         if (random_() % 2 == 0 && slots_.size() < 30)
            attach();
         else if (!slots_.empty())
            slots_.erase(std::next(slots_.begin(), static_cast<long>(random_() % slots_.size())));
      if (random_() % 4 == 0)
         slots_.erase(id);
      EXPECT_EQ(owned, std::string(40, 'x'));
   }

   std::mt19937 random_;
   Vok::ManualClock clock_;
   Activity activity_{clock_};
   std::map<U64, Slot> slots_;
   std::set<U64> ranThisTurn_;
   U64 lastId_ = 0, lastDue_ = 0, ran_ = 0;
};

TEST(Activity, CallbacksMayAttachAndDetachAnything) {
   for (unsigned seed = 0; seed < 10; ++seed)
      Churn(seed).run();
}

TEST(Activity, DescriptorTellsWhenThereIsWork) {
   Activity activity;
   EXPECT_FALSE(hasWork(activity));
   int ran = 0;
   const auto works = [&](const char* what, int milliseconds = 0) {
      EXPECT_TRUE(hasWork(activity, milliseconds)) << what;
      const int before = ran;
      EXPECT_TRUE(activity.turn(0)) << what;
      EXPECT_EQ(ran, before + 1) << what;
   };
   const auto count = [&] { ++ran; };

   activity.post(count);
   works("posted");
   activity.postFromAnyThread(count);
   works("posted as another thread");
   activity.post([&] { count(), activity.post(count); });
   works("posted, first of two");
   works("posted within a turn");

   auto timer = activity.after(3600, count);
   const auto sooner = activity.after(1e-6, count);
   works("timer", -1);
   EXPECT_FALSE(hasWork(activity));
   timer = activity.after(0, count);
   works("timer without a wait", -1);

   const Ready ready;
   auto watch = activity.watch(ready, Activity::readable, [&](U32) { ++ran; });
   works("descriptor");
   works("descriptor, still ready");
   watch.eventsIs(0);
   EXPECT_FALSE(hasWork(activity));
   watch.eventsIs(Activity::writable);
   works("descriptor, other event");
   watch.del();
   EXPECT_FALSE(hasWork(activity));
}

TEST(Activity, PauseHoldsForWhatIsReadyAlready) {
   Activity activity;
   const Ready ready[2];
   Activity::Watch watch[2];
   int ran = 0;
   for (int i : {0, 1})
      watch[i] = activity.watch(ready[i], Activity::readable, [&, i](U32) {
         ++ran;
         watch[1 - i].eventsIs(0);
      });
   activity.turn(-1);
   EXPECT_EQ(ran, 1);
}

TEST(Activity, HangUpIsToldUnlessPaused) {
   Activity activity;
   int ends[2];
   ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
   U32 told = 0;
   auto watch = activity.watch(ends[0], Activity::readable, [&](U32 events) { told = events; });
   close(ends[1]);
   EXPECT_TRUE(activity.turn(-1));
   EXPECT_EQ(told, Activity::hungUp);
   watch.eventsIs(0);
   EXPECT_FALSE(hasWork(activity));
   watch.del();
   close(ends[0]);
}

TEST(Activity, AnExceptionLosesNothing) {
   Activity activity;
   const Ready ready;
   std::string log;
   auto watch = activity.watch(ready, Activity::readable, [&](U32) {
      log += "w";
      throw std::runtime_error("descriptor");
   });
   const auto timers = {activity.after(0, [&] { log += "1", throw std::runtime_error("timer"); }),
                        activity.after(0, [&] { log += "2"; })};
   activity.post([&] { log += "p", throw std::runtime_error("work"); });
   activity.postFromAnyThread([&] { log += "P"; });
   EXPECT_THROW(activity.turn(-1), std::runtime_error);
   watch.del();
   while (log.size() < 5) {
      ASSERT_TRUE(hasWork(activity, -1)); // whoever embeds the loop learns of what is left
      try {
         activity.turn(0);
      } catch (const std::runtime_error&) {
      }
   }
   EXPECT_EQ(log, "w12pP") << timers.size();
}

TEST(Activity, ATurnEndComesToWhoeverWantsIt) {
   Activity activity;
   int ends = 0;
   bool again = true;
   const auto end = activity.atTurnEnd([&] {
      ++ends;
      if (std::exchange(again, false))
         activity.wantTurnEnd();
   });
   activity.wantTurnEnd();
   for (int turns : {1, 2}) { // wanted by its own callback too
      EXPECT_TRUE(hasWork(activity));
      activity.turn(0);
      EXPECT_EQ(ends, turns);
   }
   activity.post([&] { activity.wantTurnEnd(); });
   activity.turn(0);
   EXPECT_EQ(ends, 3);
   EXPECT_FALSE(hasWork(activity)); // it was the end of that very turn
   activity.post([&] { activity.wantTurnEnd(), throw std::runtime_error("work"); });
   EXPECT_THROW(activity.turn(0), std::runtime_error);
   EXPECT_TRUE(hasWork(activity));
   activity.turn(0);
   EXPECT_EQ(ends, 4);
   Activity::Handle added; // which this turn's end does not come to
   bool told = false;
   activity.post([&] { added = activity.atTurnEnd([&] { told = true; }), activity.wantTurnEnd(); });
   activity.turn(0);
   EXPECT_TRUE(hasWork(activity));
   activity.turn(0);
   EXPECT_TRUE(told);
}

TEST(Activity, ThreadsPostAndStop) {
   Activity activity;
   constexpr int threads = 3, each = 2000;
   std::vector<int> next(threads);
   int left = threads * each;
   std::vector<std::thread> running;
   for (int t = 0; t < threads; ++t)
      running.emplace_back([&, t] {
         for (int i = 0; i < each; ++i)
            activity.postFromAnyThread([&, t, i] {
               EXPECT_EQ(next[t]++, i) << "out of order";
               if (--left == 0)
                  std::thread([&] { activity.stop(); }).join();
            });
      });
   activity.run();
   EXPECT_EQ(left, 0);
   for (auto& thread : running)
      thread.join();
   activity.stop();
   activity.post([&] { ++left; });
   activity.run(); // a stop that comes first is not forgotten
   EXPECT_EQ(left, 0);
}

TEST(Activity, WhatCannotBeWatchedIsRefused) {
   Activity activity;
   const Ready ready;
   const auto refused = [&](int descriptor, const char* why) {
      try {
         const auto watch = activity.watch(descriptor, Activity::readable, [](U32) {});
         ADD_FAILURE() << why;
      } catch (const std::system_error& error) {
         const auto start = "descriptor " + std::to_string(descriptor) + " cannot be watched";
         EXPECT_EQ(std::string(error.what()).find(start + why), 0u) << error.what();
      }
   };
   const auto watch = activity.watch(ready, Activity::writable, [](U32) {});
   refused(ready, " twice; change the events of the first watch: ");
   refused(-1, ": Bad file descriptor");
   const int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
   refused(file, "; plain files are always ready: ");
   close(file);
}

TEST(Activity, HandleOutlivesTheLoop) {
   auto token = std::make_shared<int>(0);
   Activity::Handle timer, end;
   {
      Activity activity;
      const auto fired = activity.after(0, [token] {});
      activity.turn(-1);
      EXPECT_EQ(token.use_count(), 1) << "a timer that fired keeps its callback";
      timer = activity.after(0, [token] {});
      end = activity.atTurnEnd([token] {});
      activity.post([token] {});
   }
   EXPECT_FALSE(timer || end);
   timer.del();
   end = {};
   EXPECT_EQ(token.use_count(), 1);
}

} // namespace
