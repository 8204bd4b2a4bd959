#include "Vok/Activity.h"

#include "Vok/Assert.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cmath>
#include <string>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <system_error>
#include <unistd.h>

namespace Vok {

static_assert(Activity::readable == EPOLLIN && Activity::writable == EPOLLOUT &&
              Activity::failed == EPOLLERR && Activity::hungUp == EPOLLHUP);

// What epoll tells of the loop's own descriptors; of all others it tells the serial, which starts at 1.
static constexpr U64 wakeUpTag = 0;
static constexpr U64 timerTag = ~U64{0};

/// What a handle keeps attached. The loop and the handle each hold a reference, and the loop holds one more
/// while the callback runs, so that it outlives whatever it does to its handle.
struct Activity::Attached {
   explicit Attached(Activity* activity) : activity(activity), serial(++activity->serial_) {}
   virtual ~Attached() = default;
   Attached(const Attached&) = delete;
   Attached& operator=(const Attached&) = delete;
   /// Takes it out of the loop's collection.
   virtual void leave() = 0;

   Activity* activity; // null once detached
   const U64 serial;
};

struct Activity::Watched final : Attached {
   Watched(Activity* activity, int descriptor, ReadyCallback callback)
       : Attached(activity), descriptor(descriptor), callback(std::move(callback)) {}

   void leave() override {
      change(0);
      activity->watched_.erase(serial);
   }

   /// A descriptor without events is out of the epoll set, or hang-ups would be told of it.
   bool change(U32 wanted) {
      epoll_event event{};
      event.events = wanted;
      event.data.u64 = serial;
      const int operation = events == 0 ? EPOLL_CTL_ADD : wanted == 0 ? EPOLL_CTL_DEL : EPOLL_CTL_MOD;
      if (events == wanted)
         return true;
      if (epoll_ctl(activity->epoll_, operation, descriptor, &event) != 0 && wanted != 0)
         return false;
      events = wanted;
      return true;
   }

   void eventsIs(U32 wanted) {
      if (change(wanted))
         return;
      const int error = errno;
      const auto what = "descriptor " + std::to_string(descriptor) + " cannot be watched" +
                        (error == EEXIST  ? " twice; change the events of the first watch"
                         : error == EPERM ? "; plain files are always ready"
                                          : "");
      throw std::system_error(error, std::generic_category(), what);
   }

   const int descriptor;
   U32 events = 0;
   const ReadyCallback callback;
};

struct Activity::Timed final : Attached {
   Timed(Activity* activity, U64 moment, Callback callback)
       : Attached(activity), due(moment, serial), callback(std::move(callback)) {}

   void leave() override {
      activity->timed_.erase(due);
      activity->timerArm();
   }

   const Due due;
   Callback callback;
};

struct Activity::AtTurnEnd final : Attached {
   AtTurnEnd(Activity* activity, Callback callback) : Attached(activity), callback(std::move(callback)) {}

   void leave() override { activity->atTurnEnd_.erase(serial); }

   const Callback callback;
};

// ----------------------------------------------------------------------------------------------------------
// handles

void Activity::Handle::del() {
   const auto attached = std::move(attached_); // releasing the callback may destroy this very handle
   if (attached && attached->activity) {
      attached->leave();
      attached->activity = nullptr;
   }
}

Activity::Handle::operator bool() const {
   return attached_ && attached_->activity;
}

void Activity::Watch::eventsIs(U32 events) {
   vokAssert(*this);
   static_cast<Watched&>(*attached_).eventsIs(events);
}

Activity::Watch Activity::watch(int descriptor, U32 events, ReadyCallback callback) {
   vokAssert(callback);
   const auto watched = std::make_shared<Watched>(this, descriptor, std::move(callback));
   watched->eventsIs(events);
   watched_.emplace(watched->serial, watched);
   return Watch(watched);
}

Activity::Handle Activity::after(double seconds, Callback callback) {
   vokAssert(callback);
   const auto moment = nanosecondsAfter(clock_.nanoseconds(), seconds);
   const auto timed = std::make_shared<Timed>(this, moment, std::move(callback));
   timed_.emplace(timed->due, timed);
   timerArm();
   return Handle(timed);
}

Activity::Handle Activity::atTurnEnd(Callback callback) {
   vokAssert(callback);
   const auto attached = std::make_shared<AtTurnEnd>(this, std::move(callback));
   atTurnEnd_.emplace(attached->serial, attached);
   return Handle(attached);
}

void Activity::post(Callback work) {
   vokAssert(work);
   posted_.push_back(std::move(work));
   if (posted_.size() == 1 && !turning_) // a turn looks after what it leaves behind
      showPosted();
}

void Activity::wantTurnEnd() {
   if (turning_ && !ending_)
      endWanted_ = true;
   else
      post([] {});
}

void Activity::postFromAnyThread(Callback work) {
   vokAssert(work);
   bool first;
   {
      const std::lock_guard lock(arrivedMutex_);
      first = arrived_.empty();
      arrived_.push_back(std::move(work));
   }
   if (first) // a burst costs one wake-up
      wake();
}

// -------------------------------------------------------------------------------------------------------------
// loop

Activity::Descriptor::Descriptor(int descriptor, const char* what) : descriptor_(descriptor) {
   if (descriptor < 0)
      throw std::system_error(errno, std::generic_category(),
                              std::string("the activity loop cannot open ") + what);
}

Activity::Descriptor::~Descriptor() {
   close(descriptor_);
}

Activity::Activity() : Activity(nullptr) {}
Activity::Activity(const Clock& clock) : Activity(&clock) {}

Activity::Activity(const Clock* clock)
    : clock_(clock ? *clock : systemClock_), epoll_(epoll_create1(EPOLL_CLOEXEC), "an epoll set"),
      wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "an event counter"),
      timer_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK), "a timer") {
   // Edge-triggered, so that neither is ever read: each write and each expiry is told once.
   for (const auto& [descriptor, tag] :
        {std::pair{int(wakeUp_), wakeUpTag}, std::pair{int(timer_), timerTag}}) {
      epoll_event event{};
      event.events = EPOLLIN | EPOLLET;
      event.data.u64 = tag;
      if (epoll_ctl(epoll_, EPOLL_CTL_ADD, descriptor, &event) != 0)
         throw std::system_error(errno, std::generic_category(), "the activity loop cannot wait for itself");
   }
}

Activity::~Activity() {
   vokAssert(!turning_);
   const auto detach = [](const auto& all) {
      for (const auto& [key, attached] : all)
         attached->activity = nullptr;
   };
   detach(watched_);
   detach(timed_);
   detach(atTurnEnd_);
}

bool Activity::turn(double timeout) {
   vokAssert(!turning_);
   const int limit = sleepLimit(timeout);
   turning_ = true;
   const struct Leave {
      Activity& activity;
      ~Leave() { activity.leaveTurn(); }
   } leave{*this};

   std::array<epoll_event, 64> events;
   const int count = epoll_wait(epoll_, events.data(), static_cast<int>(events.size()), limit);
   const std::span ready(events.data(), static_cast<std::size_t>(std::max(count, 0)));
   // Both are settled before any callback can throw: their descriptors tell only once.
   if (std::ranges::any_of(ready, [](const auto& event) { return event.data.u64 == timerTag; }))
      armed_ = 0;
   arrivalsTake();
   const auto posted = posted_.size();
   const auto lastSerial = serial_;

   bool ran = runReady(ready);
   ran |= runTimers(lastSerial);
   ran |= runPosted(posted);
   runTurnEnd(lastSerial);
   return ran;
}

void Activity::run() {
   while (!stopped_.exchange(false))
      turn(-1);
}

void Activity::stop() {
   stopped_ = true;
   wake();
}

/// Milliseconds as epoll takes them, rounded up: sleeping too short would turn the loop for nothing.
int Activity::sleepLimit(double timeout) const {
   if (!posted_.empty() || (!timed_.empty() && timed_.begin()->first.first <= clock_.nanoseconds()))
      return 0;
   if (timeout < 0)
      return -1;
   return timeout > 0 ? static_cast<int>(std::min(std::ceil(timeout * 1e3), double(INT_MAX))) : 0;
}

bool Activity::runReady(std::span<const epoll_event> ready) {
   bool ran = false;
   for (const auto& event : ready) {
      const auto found = watched_.find(event.data.u64);
      if (found == watched_.end())
         continue; // the loop's own, or detached by a callback of this turn
      const auto watched = found->second;
      if (const U32 events = event.events & (watched->events | failed | hungUp); events && watched->events) {
         ran = true;
         watched->callback(events);
      }
   }
   return ran;
}

bool Activity::runTimers(U64 lastSerial) {
   if (timed_.empty())
      return false;
   const auto now = clock_.nanoseconds();
   bool ran = false;
   while (!timed_.empty()) {
      const auto [moment, serial] = timed_.begin()->first;
      if (moment > now || serial > lastSerial)
         break;
      const auto timed = timed_.begin()->second;
      timed_.erase(timed_.begin());
      timed->activity = nullptr;
      const auto callback = std::move(timed->callback);
      ran = true;
      callback();
   }
   return ran;
}

bool Activity::runPosted(std::size_t count) {
   for (auto left = count; left > 0; --left) {
      const auto work = std::move(posted_.front());
      posted_.pop_front();
      work();
   }
   return count > 0;
}

void Activity::runTurnEnd(U64 lastSerial) {
   ending_ = true;
   U64 serial = 0;
   auto next = atTurnEnd_.begin();
   for (; next != atTurnEnd_.end() && next->first <= lastSerial; next = atTurnEnd_.upper_bound(serial)) {
      serial = next->first;
      const auto attached = next->second;
      attached->callback();
   }
   endWanted_ &= next != atTurnEnd_.end();
}

void Activity::arrivalsTake() {
   const std::lock_guard lock(arrivedMutex_);
   std::move(arrived_.begin(), arrived_.end(), std::back_inserter(posted_));
   arrived_.clear();
}

void Activity::leaveTurn() {
   turning_ = ending_ = false;
   if (std::exchange(endWanted_, false)) // something was thrown before they ran, or one is new
      posted_.emplace_back([] {});
   showPosted();
   timerArm();
}

int Activity::descriptor() {
   embedded_ = true;
   showPosted();
   return epoll_;
}

/// A loop that is only turned needs no sign of what is posted: it looks before it sleeps.
void Activity::showPosted() {
   if (embedded_ && !posted_.empty())
      wake();
}

void Activity::wake() {
   const U64 one = 1;
   // Fails only when the counter is full, which takes centuries; it is never read.
   [[maybe_unused]] const auto written = write(wakeUp_, &one, sizeof one);
}

/// Sets the timer to the earliest moment. Within a turn that waits for its end, whatever the number of
/// changes.
void Activity::timerArm() {
   const U64 moment = timed_.empty() || !clock_.runsByItself() ? 0 : timed_.begin()->first.first;
   if (turning_ || moment == armed_)
      return;
   itimerspec setting{};
   if (moment != 0) {
      const auto now = clock_.nanoseconds();
      const U64 wait = moment > now ? moment - now : 1; // zero would stop the timer
      setting.it_value.tv_sec = static_cast<std::time_t>(wait / 1'000'000'000u);
      setting.it_value.tv_nsec = static_cast<long>(wait % 1'000'000'000u);
   }
   timerfd_settime(timer_, 0, &setting, nullptr);
   armed_ = moment;
}

} // namespace Vok
