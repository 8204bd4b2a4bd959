#pragma once

#include "Vok/Clock.h"
#include "Vok/Types.h"

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <unordered_map>
#include <utility>

struct epoll_event;

namespace Vok {

/// The loop on whose thread everything happens: waits for descriptors and timers, runs the callbacks that
/// belong to them, and at the end of each turn whatever has to be done once a turn.
///
/// A host either gives its thread to the loop, with `run()`, or embeds it in a loop of its own: it waits for
/// `descriptor()` to become readable and then calls `turn(0)`.
///
/// A turn runs, in this order: callbacks of ready descriptors; timers that are due, the earliest first;
/// posted work, in the order in which it was posted; the turn-end callbacks, in the order in which they were
/// attached. What is posted or attached and what falls due in the course of a turn waits for the next one,
/// which then does not sleep.
///
/// A callback may attach, post, and destroy anything, its own handle included; only the loop itself and a
/// nested `turn()` are out of its reach. What a callback throws leaves `turn()`; nothing that was still to be
/// done is lost.
///
/// Threads: all calls belong to the one thread that turns the loop, except `postFromAnyThread()` and
/// `stop()`.
class Activity {
   struct Attached;
   struct Watched;
   struct Timed;
   struct AtTurnEnd;

  public:
   using Callback = std::function<void()>;
   /// Told which of its events a descriptor is ready for, `failed` and `hungUp` included.
   using ReadyCallback = std::function<void(U32 events)>;

   /// Events of a descriptor. The last two are told whether asked for or not.
   static constexpr U32 readable = 0x1, writable = 0x4, failed = 0x8, hungUp = 0x10;

   /// Keeps a callback attached. Destroying it detaches the callback, which then does not run again, not even
   /// for what is ready already. May outlive the loop.
   class [[nodiscard]] Handle {
     public:
      Handle() = default;
      ~Handle() { del(); }
      Handle(Handle&& other) noexcept = default;
      Handle& operator=(Handle&& other) noexcept {
         if (this != &other) {
            del();
            attached_ = std::move(other.attached_);
         }
         return *this;
      }

      /// Detaches the callback now.
      void del();
      /// Whether the callback is attached; not so once a timer has fired.
      explicit operator bool() const;

     protected:
      friend class Activity;
      explicit Handle(std::shared_ptr<Attached> attached) : attached_(std::move(attached)) {}
      std::shared_ptr<Attached> attached_;
   };

   /// The handle of a descriptor, which it does not own: destroy it before the descriptor is closed.
   class [[nodiscard]] Watch : public Handle {
     public:
      Watch() = default;
      /// Waits for these events from now on; 0 pauses.
      void eventsIs(U32 events);

     private:
      friend class Activity;
      using Handle::Handle;
   };

   /// Timers follow the clock given, which must outlive the loop, or the machine's. With a clock that does
   /// not run by itself neither `turn()` nor `descriptor()` waits for timers: those that are due run when the
   /// loop is turned. Raises std::system_error when the process may open no more descriptors.
   Activity();
   explicit Activity(const Clock& clock);
   ~Activity();
   Activity(const Activity&) = delete;
   Activity& operator=(const Activity&) = delete;

   const Clock& clock() const { return clock_; }

   /// Becomes readable when there is something to do: a descriptor, a due timer, posted work. Owned by the
   /// loop. Posting takes a system call once this has been called.
   int descriptor();

   /// Runs one turn, and sleeps at most `timeout` seconds (for ever when negative) until there is something
   /// to do. A signal ends the sleep. Returns whether any callback ran, turn-end callbacks aside.
   bool turn(double timeout);

   /// Turns the loop until `stop()`.
   void run();
   /// Lets `run()` return after the turn it is in or, when it is not running, as soon as it is called. From
   /// any thread or signal handler.
   void stop();

   /// Calls back while `descriptor` is ready for any of `events`, once a turn. Raises std::system_error,
   /// naming the descriptor, when it cannot be watched: it is not open, is a plain file, or is watched
   /// already.
   Watch watch(int descriptor, U32 events, ReadyCallback callback);

   /// Calls back once, `seconds` from now; in the next turn when that is not positive.
   Handle after(double seconds, Callback callback);

   /// Calls back at the end of every turn.
   Handle atTurnEnd(Callback callback);

   /// Sees to it that turn-end callbacks run: of the turn under way if it has not come to them, or else of
   /// one that comes at once.
   void wantTurnEnd();

   /// Runs `work` in the next turn.
   void post(Callback work);
   void postFromAnyThread(Callback work);

  private:
   using Due = std::pair<U64, U64>; // moment, then order of creation

   /// A descriptor of the loop's own.
   class Descriptor {
     public:
      Descriptor(int descriptor, const char* what);
      ~Descriptor();
      Descriptor(const Descriptor&) = delete;
      Descriptor& operator=(const Descriptor&) = delete;
      operator int() const { return descriptor_; }

     private:
      const int descriptor_;
   };

   /// The machine's clock when `clock` is null.
   explicit Activity(const Clock* clock);

   int sleepLimit(double timeout) const;
   bool runReady(std::span<const epoll_event> ready);
   bool runTimers(U64 lastSerial);
   bool runPosted(std::size_t count);
   void runTurnEnd(U64 lastSerial);
   void arrivalsTake();
   void leaveTurn();
   void showPosted();
   void wake();
   void timerArm();

   const SystemClock systemClock_;
   const Clock& clock_;
   const Descriptor epoll_;
   const Descriptor wakeUp_; // an event counter, written when there is work that no other descriptor tells of
   const Descriptor timer_;  // fires at armed_

   bool embedded_ = false; // somebody may wait for descriptor()
   bool turning_ = false;
   bool ending_ = false;    // the turn has come to its turn-end callbacks
   bool endWanted_ = false; // and somebody waits for them
   U64 serial_ = 0;         // of what was attached last
   U64 armed_ = 0;          // the moment timer_ is set to, 0 for none
   std::unordered_map<U64, std::shared_ptr<Watched>> watched_;
   std::map<Due, std::shared_ptr<Timed>> timed_;
   std::map<U64, std::shared_ptr<AtTurnEnd>> atTurnEnd_;
   std::deque<Callback> posted_;

   std::mutex arrivedMutex_; // guards arrived_
   std::deque<Callback> arrived_;
   std::atomic<bool> stopped_{false};
};

} // namespace Vok
