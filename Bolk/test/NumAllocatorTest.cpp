#include "Bolk/NumAllocator.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace Bolk {
namespace {

/// The same promises, kept the plain way.
struct Model {
   Range range;
   std::set<Vok::U32> out;
   std::map<Vok::U32, Vok::U64> waiting; // number to when it is due

   std::set<Vok::U32> free() const {
      std::set<Vok::U32> numbers;
      for (Vok::U32 number = range.first(); range.contains(number); ++number)
         if (!out.contains(number) && !waiting.contains(number))
            numbers.insert(number);
      return numbers;
   }
   void timeIs(Vok::U64 now) {
      std::erase_if(waiting, [&](const auto& entry) { return entry.second <= now; });
   }
};

TEST(NumAllocatorTest, actsAsThePlainModel) {
   Vok::ManualClock clock;
   const auto wheel = Vok::make<TimerWheel>(clock);
   const auto config = numAllocatorConfigFactory("config");
   const auto status = numAllocatorStatusFactory("status");
   EXPECT_TRUE(status->rangeExhausted());
   auto allocator = Vok::make<NumAllocator>(config, status, wheel);
   Model model;
   std::mt19937 random(11);
   const Vok::U32 sizes[] = {0, 1, 2, 63, 64, 65, 127, 128, 129};
   for (int step = 0; step < 30000; ++step) {
      const Vok::U32 number = 60 + random() % 140;
      const std::set<Vok::U32> free = model.free();
      switch (random() % (step % 2000 < 1000 ? 5 : 40)) {
      case 0:
         model.range = Range(60 + random() % 10, sizes[random() % std::size(sizes)]);
         if (model.range.size() == 0)
            model = Model{model.range, {}, {}};
         config->rangeIs(model.range);
         break;
      case 1:
         config->expiryTimeIs(random() % 3 == 0 ? 0 : 1.0);
         break;
      case 2:
         clock.advance(0.25);
         wheel->advance();
         model.timeIs(clock.nanoseconds());
         break;
      case 3:
         ASSERT_EQ(allocator->reserveNumber(number), free.contains(number));
         if (free.contains(number))
            model.out.insert(number);
         break;
      case 4:
      case 5:
      case 6:
      case 7:
         allocator->releaseNumber(number);
         if (model.out.erase(number) != 0) {
            Vok::U64 due = Vok::nanosecondsAfter(clock.nanoseconds(), config->expiryTime());
            for (const auto& [other, when] : model.waiting)
               due = std::max(due, when);
            model.waiting[number] = due;
            model.timeIs(clock.nanoseconds());
         }
         break;
      default: {
         const Vok::S64 given = allocator->getNumber();
         ASSERT_EQ(given, free.empty() ? -1 : Vok::S64(*free.begin())) << "step " << step;
         if (given >= 0)
            model.out.insert(static_cast<Vok::U32>(given));
      }
      }
      ASSERT_EQ(status->rangeExhausted(), model.free().empty()) << "step " << step;
      ASSERT_EQ(allocator->isReserved(number), model.out.contains(number)) << "step " << step;
   }
   config->rangeIs(Range(0, 5));
   config->rangeIs(Range(0, 0));
   config->rangeIs(Range(0, 5));
   EXPECT_FALSE(status->rangeExhausted());
   allocator = nullptr;
   EXPECT_TRUE(status->rangeExhausted());
}

TEST(NumAllocatorTest, findsTheLastNumberOfDeepSets) {
   for (const Vok::U32 size : {64u, 65u, 4096u, 4097u, 262145u}) {
      const auto config = numAllocatorConfigFactory("config");
      config->rangeIs(Range(7, size));
      EXPECT_EQ(config->range().last(), size + 6);
      Vok::ManualClock clock;
      const auto allocator =
          Vok::make<NumAllocator>(config, numAllocatorStatusFactory("status"), Vok::make<TimerWheel>(clock));
      for (Vok::U32 number = 7; number < size + 7; ++number)
         ASSERT_EQ(allocator->getNumber(), number);
      EXPECT_EQ(allocator->getNumber(), -1);
      allocator->releaseNumber(size + 6);
      EXPECT_EQ(allocator->getNumber(), size + 6);
   }
}

} // namespace
} // namespace Bolk
