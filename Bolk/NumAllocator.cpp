#include "Bolk/NumAllocator.h"

#include "Vok/Attributes.h"
#include "Vok/Observer.h"

#include <algorithm>

namespace Bolk {

class NumAllocator::VokConfig final : public Vok::Observer<NumAllocator::VokConfig, NumAllocatorConfig> {
  public:
   VokConfig(NumAllocator& allocator, Vok::Ptr<const NumAllocatorConfig> config)
       : Observer(std::move(config)), allocator_(allocator) {}
   void onRange() override { allocator_.handleRange(); }

  private:
   NumAllocator& allocator_;
};

NumAllocator::NumAllocator(Vok::Ptr<const NumAllocatorConfig> config, Vok::Ptr<NumAllocatorStatus> status,
                           Vok::Ptr<TimerWheel> timerWheel)
    : config_(std::move(config)), status_(std::move(status)), timerWheel_(std::move(timerWheel)),
      expiry_(timerWheel_, [this] { handleExpiry(); }),
      vokConfig_(std::make_unique<VokConfig>(*this, config_)) {
   handleRange();
}

NumAllocator::~NumAllocator() {
   status_->rangeExhaustedIs(true);
}

Vok::S64 NumAllocator::getNumber() {
   if (free_.empty())
      return -1;
   const Vok::U32 number = range_.first() + free_.lowest();
   take(number);
   return number;
}

bool NumAllocator::reserveNumber(Vok::U32 number) {
   if (!free_.has(number - range_.first()))
      return false;
   take(number);
   return true;
}

void NumAllocator::take(Vok::U32 number) {
   free_.remove(number - range_.first());
   out_.add(number - range_.first());
   statusIs();
}

bool NumAllocator::isReserved(Vok::U32 number) const {
   return out_.has(number - range_.first()) || outElsewhere_.contains(number);
}

void NumAllocator::releaseNumber(Vok::U32 number) {
   if (!isReserved(number))
      return;
   if (range_.contains(number))
      out_.remove(number - range_.first());
   else
      outElsewhere_.erase(number);
   const Vok::U64 due = Vok::nanosecondsAfter(timerWheel_->clock().nanoseconds(), config_->expiryTime());
   waiting_.push_back({waiting_.empty() ? due : std::max(due, waiting_.back().due), number});
   if (config_->expiryTime() > 0)
      expiryStart();
   else
      handleExpiry();
}

void NumAllocator::handleExpiry() {
   const Vok::U64 now = timerWheel_->clock().nanoseconds();
   for (; !waiting_.empty() && waiting_.front().due <= now; waiting_.pop_front())
      if (range_.contains(waiting_.front().number))
         free_.add(waiting_.front().number - range_.first());
   expiryStart();
   statusIs();
}

/// Waits for the first number to come back.
void NumAllocator::expiryStart() {
   if (!waiting_.empty() && !expiry_.running())
      expiry_.startAt(waiting_.front().due);
}

void NumAllocator::handleRange() {
   const Range before = std::exchange(range_, config_->range());
   for (Vok::U32 at = 0; at < before.size(); ++at)
      if (out_.has(at))
         outElsewhere_.insert(outElsewhere_.end(), before.first() + at);
   if (range_.size() == 0) {
      outElsewhere_.clear();
      waiting_.clear();
      expiry_.cancel();
   }
   free_ = NumberSet(range_.size(), true);
   out_ = NumberSet(range_.size(), false);
   std::erase_if(outElsewhere_, [&](Vok::U32 number) {
      const bool inside = range_.contains(number);
      if (inside) {
         free_.remove(number - range_.first());
         out_.add(number - range_.first());
      }
      return inside;
   });
   for (const Waiting& waiting : waiting_)
      if (range_.contains(waiting.number))
         free_.remove(waiting.number - range_.first());
   statusIs();
}

void NumAllocator::statusIs() {
   status_->rangeExhaustedIs(free_.empty());
}

const Vok::EntityType& NumAllocator::vokType() {
   static const Vok::EntityType type(
       "Bolk::NumAllocator", Vok::Kind::entity, "Gives numbers of a range.", nullptr,
       {Vok::pointerParameter("config", "pointer<const Bolk::NumAllocatorConfig>"),
        Vok::pointerParameter("status", "pointer<Bolk::NumAllocatorStatus>"),
        Vok::pointerParameter("timerWheel", "pointer<Bolk::TimerWheel>")},
       {});
   return type;
}

} // namespace Bolk
