#include "Bolk/TimerWheel.h"

#include "Vok/Attributes.h"

#include <algorithm>
#include <bit>

namespace Bolk {

void TimerWheel::Link::insertBefore(Link& place) {
   previous = place.previous;
   next = &place;
   previous->next = this;
   place.previous = this;
}

void TimerWheel::Link::remove() {
   previous->next = next;
   next->previous = previous;
   previous = next = this;
}

TimerWheel::TimerWheel(const Vok::Clock& clock)
    : clock_(clock), activity_(nullptr), now_(clock.nanoseconds() / nanosecondsPerTick) {}

TimerWheel::TimerWheel(Vok::Activity& activity)
    : clock_(activity.clock()), activity_(&activity), now_(clock_.nanoseconds() / nanosecondsPerTick) {}

TimerWheel::Timer::Timer(Vok::Ptr<TimerWheel> wheel, std::function<void()> expire)
    : wheel_(std::move(wheel)), expire_(std::move(expire)) {}

void TimerWheel::Timer::start(double seconds) {
   startAt(Vok::nanosecondsAfter(wheel_->clock_.nanoseconds(), seconds));
}

void TimerWheel::Timer::startAt(Vok::U64 moment) {
   cancel();
   const Vok::U64 tick = moment / nanosecondsPerTick + (moment % nanosecondsPerTick != 0);
   due_ = std::max(tick, wheel_->now_ + 1);
   wheel_->insert(*this);
}

/// The level is that of the highest digit in which the tick differs from now: above it, time has nothing to
/// go through before the timer is due.
void TimerWheel::insert(Timer& timer) {
   const Vok::U32 level = (static_cast<Vok::U32>(std::bit_width(timer.due_ ^ now_)) - 1) / slotBits;
   const Vok::U32 slot = timer.due_ >> level * slotBits & (slots - 1);
   timer.insertBefore(levels_[level].slot[slot]);
   levels_[level].used |= Vok::U64(1) << slot;
   wakeUpAt(timer.due_ >> level * slotBits << level * slotBits);
}

/// The slot that time reaches next, and the tick at which it starts. A lower level comes first: all its
/// slots lie before the next slot of the level above.
bool TimerWheel::nextSlot(Vok::U32& level, Vok::U32& slot, Vok::U64& start) {
   for (level = 0; level < levels; ++level) {
      Level& here = levels_[level];
      while (here.used != 0) {
         slot = static_cast<Vok::U32>(std::countr_zero(here.used));
         if (here.slot[slot].alone()) {
            here.used &= here.used - 1;
            continue;
         }
         const Vok::U64 above =
             level + 1 < levels ? now_ >> (level + 1) * slotBits << (level + 1) * slotBits : 0;
         start = above + (Vok::U64(slot) << level * slotBits);
         return true;
      }
   }
   return false;
}

void TimerWheel::advance() {
   const Vok::Ptr<TimerWheel> keepAlive(this);
   const Advancing guard(*this);
   const Vok::U64 target = clock_.nanoseconds() / nanosecondsPerTick;
   Vok::U32 level = 0, slot = 0;
   Vok::U64 start = 0;
   runReady();
   while (nextSlot(level, slot, start) && start <= target) {
      now_ = start;
      open(level, slot);
      runReady();
   }
   now_ = std::max(now_, target);
}

TimerWheel::Advancing::~Advancing() {
   wheel.advancing_ = false;
   Vok::U32 level = 0, slot = 0;
   Vok::U64 start = 0;
   if (!wheel.ready_.alone())
      wheel.wakeUpAt(wheel.now_);
   else if (wheel.nextSlot(level, slot, start))
      wheel.wakeUpAt(start);
}

/// Takes the timers out of a slot that time has reached: what is due is ready, the rest moves down.
void TimerWheel::open(Vok::U32 level, Vok::U32 slot) {
   Link& circle = levels_[level].slot[slot];
   while (!circle.alone()) {
      Timer& timer = static_cast<Timer&>(*circle.next);
      timer.remove();
      timer.due_ > now_ ? insert(timer) : timer.insertBefore(ready_);
   }
   levels_[level].used &= ~(Vok::U64(1) << slot);
}

void TimerWheel::runReady() {
   while (!ready_.alone()) {
      Timer& timer = static_cast<Timer&>(*ready_.next);
      timer.remove();
      const std::function<void()> expire = timer.expire_; // which may destroy the timer
      expire();
   }
}

/// Has the activity call back when time reaches the tick, or before.
void TimerWheel::wakeUpAt(Vok::U64 tick) {
   if (!activity_ || advancing_ || (wakeUpHandle_ && wakeUp_ <= tick))
      return;
   wakeUp_ = tick;
   const Vok::U64 now = clock_.nanoseconds();
   const Vok::U64 moment = tick * nanosecondsPerTick;
   const double seconds = moment > now ? static_cast<double>(moment - now) * 1e-9 : 0;
   wakeUpHandle_ = activity_->after(seconds, [this] { advance(); });
}

const Vok::EntityType& TimerWheel::vokType() {
   static const Vok::EntityType type("Bolk::TimerWheel", Vok::Kind::entity, "Runs timers by a clock.",
                                     nullptr, {}, {});
   return type;
}

} // namespace Bolk
