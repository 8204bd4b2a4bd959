#pragma once
// Bolk::NumAllocator: gives numbers of a configured range to whoever asks, each to one at a time.

#include "Bolk/NumAllocatorTypes.h"
#include "Bolk/NumberSet.h"
#include "Bolk/TimerWheel.h"

#include <deque>
#include <memory>
#include <set>

namespace Bolk {

/// A number of the range is free, out, or waiting: one that was released is not given again before
/// `expiryTime` has passed, so that whoever still acts on its old meaning has time to hear of the new one.
/// The lowest free number is given first. Numbers come back in the order in which they were released; a new
/// `expiryTime` holds for what is released from then on.
///
/// While no number is free, waiting ones included, the status says `rangeExhausted`; it stops saying so at
/// the moment the first of them comes back, or the range grows.
///
/// When the range changes, numbers that are out stay out, inside the new range or not, until they are
/// released. An empty range forgets all of them, and those that wait.
///
/// Asking, releasing and reserving take constant time and, waiting numbers aside, two bits a number; a
/// change of the range takes time in proportion to its size.
class NumAllocator : public Vok::Entity {
  public:
   /// The wheel tells the time. The status must be no other allocator's.
   NumAllocator(Vok::Ptr<const NumAllocatorConfig> config, Vok::Ptr<NumAllocatorStatus> status,
                Vok::Ptr<TimerWheel> timerWheel);
   ~NumAllocator() override;

   /// A free number, which is then out; -1 when there is none.
   Vok::S64 getNumber();
   /// Ends the use of a number that is out; does nothing to any other.
   void releaseNumber(Vok::U32 number);
   /// Whether the number is out.
   bool isReserved(Vok::U32 number) const;
   /// Takes a certain number. False, with nothing done, unless it is free.
   bool reserveNumber(Vok::U32 number);

   const Vok::EntityType& vokEntityType() const override { return vokType(); }
   static const Vok::EntityType& vokType();

  private:
   class VokConfig;
   struct Waiting {
      Vok::U64 due; // on the wheel's clock, in nanoseconds
      Vok::U32 number;
   };

   void handleRange();
   void handleExpiry();
   void expiryStart();
   void take(Vok::U32 number);
   void statusIs();

   const Vok::Ptr<const NumAllocatorConfig> config_;
   const Vok::Ptr<NumAllocatorStatus> status_;
   const Vok::Ptr<TimerWheel> timerWheel_;
   Range range_;
   NumberSet free_, out_;            // less the first number of the range
   std::set<Vok::U32> outElsewhere_; // out, but not in the range
   std::deque<Waiting> waiting_;     // by due
   TimerWheel::Timer expiry_;
   std::unique_ptr<VokConfig> vokConfig_;
};

} // namespace Bolk
