#include "bench/Measure.h"
#include "bench/Rows.h"
#include "bench/Works.h"

#include "Mpls/LabelManagerSm.h"

#include <bit>
#include <set>

/// Blocks of the whole label space for 64 clients, and the allocator of numbers that stands below them.

namespace Bench {

namespace {

constexpr U32 clients = 64;
constexpr U32 blocks = 63; ///< the highest label is in none
constexpr U32 quarter = 16;
constexpr int repetitions = 200;
constexpr U32 allocations = 20'000;

void expect(bool holds) {
   if (!holds)
      throw std::runtime_error("the labels given are not those that were asked for");
}

class Labels {
  public:
   Labels() {
      config_->mplsRoutingIs(true);
      config_->labelRangeIs(Vok::Name(Mpls::LabelRangeInfo::rangeTypeDynamic),
                            Mpls::LabelRange(Kinet::MplsLabel(0), Kinet::MplsLabel::max + 1));
      for (U32 client = 0; client < clients; ++client) {
         requests_.push_back(Mpls::clientLabelRequestFactory("client" + std::to_string(client)));
         folder_->entityPtrIs(requests_.back());
      }
   }
   void start() {
      sm_ = nullptr;
      sm_ = Mpls::labelManagerSmFactory(wheel_, nullptr, folder_, config_, status_);
   }
   void request(U32 client) { requests_[client]->labelRequestIs(Mpls::LabelRequest("block")); }
   void release(U32 client) { requests_[client]->labelRequestDel("block"); }
   void timePasses() {
      clock_.advance(2 * Mpls::LabelManagerSm::allocExpiryTime);
      wheel_->advance();
   }
   U32 granted() const {
      U32 count = 0;
      for (const auto& allocation : status_->labelBlockAllocationEach())
         count += allocation.value->blocks();
      return count;
   }

  private:
   Vok::ManualClock clock_;
   Vok::Ptr<Bolk::TimerWheel> wheel_ = Vok::make<Bolk::TimerWheel>(clock_);
   Vok::Ptr<Vok::Dir> folder_ = Vok::make<Vok::Dir>("labelRequest");
   Vok::Ptr<Mpls::Config> config_ = Mpls::configFactory("config");
   Vok::Ptr<Mpls::Api::Status> status_ = Mpls::Api::statusFactory("status");
   std::vector<Vok::Ptr<Mpls::ClientLabelRequest>> requests_;
   Vok::Ptr<Mpls::LabelManagerSm> sm_;
};

/// Grants everything and takes it back, over and over. What a request costs while few blocks are granted
/// stands beside what it costs when most are.
void grantAll(U64 size, Report& report) {
   Labels labels;
   labels.start();
   double few = 0, most = 0, release = 0;
   const auto request = [&](U32 from, U32 to) {
      return timed([&] {
         for (U32 client = from; client < to; ++client)
            labels.request(client);
      });
   };
   for (int repetition = 0; repetition < repetitions; ++repetition) {
      few += request(0, quarter);
      request(quarter, blocks - quarter);
      most += request(blocks - quarter, blocks);
      request(blocks, clients); // finds no free block, and waits
      expect(labels.granted() == blocks);
      release += timed([&] {
         for (U32 client = 0; client < clients; ++client)
            labels.release(client);
      });
      expect(labels.granted() == 0);
      labels.timePasses();
   }
   report.add("label-grant", size, "few-granted", few / (repetitions * quarter));
   report.add("label-grant", size, ours, most / (repetitions * quarter));
   report.add("label-release", size, ours, release / (repetitions * clients));
   for (U32 client = 0; client < clients; ++client)
      labels.request(client);
   report.add("label-restart", size, ours, timed([&] { labels.start(); }) * 1e-6);
   expect(labels.granted() == blocks);
}

/// A bit a number and no more: the lowest free one is searched from the beginning.
class Bitset {
  public:
   explicit Bitset(U64 size) : taken_((size + 63) / 64) {}
   U32 get() {
      std::size_t word = 0;
      while (~taken_[word] == 0)
         ++word;
      const auto bit = static_cast<U32>(std::countr_one(taken_[word]));
      taken_[word] |= U64{1} << bit;
      return static_cast<U32>(word) * 64 + bit;
   }
   void release(U32 number) { taken_[number / 64] &= ~(U64{1} << number % 64); }

  private:
   std::vector<U64> taken_;
};

/// The numbers that are free.
class FreeSet {
  public:
   explicit FreeSet(U64 size) {
      for (U64 number = 0; number < size; ++number)
         free_.insert(free_.end(), static_cast<U32>(number));
   }
   U32 get() {
      const U32 lowest = *free_.begin();
      free_.erase(free_.begin());
      return lowest;
   }
   void release(U32 number) { free_.insert(number); }

  private:
   std::set<U32> free_;
};

/// Ours, with no expiry, so that it gives back at once as the peers do.
class Allocator {
  public:
   explicit Allocator(U64 size) {
      config_->rangeIs(Bolk::Range(0, static_cast<U32>(size)));
      allocator_ = Vok::make<Bolk::NumAllocator>(config_, Bolk::numAllocatorStatusFactory("status"),
                                                 Vok::make<Bolk::TimerWheel>(clock_));
   }
   U32 get() { return static_cast<U32>(allocator_->getNumber()); }
   void release(U32 number) { allocator_->releaseNumber(number); }

  private:
   Vok::ManualClock clock_;
   Vok::Ptr<Bolk::NumAllocatorConfig> config_ = Bolk::numAllocatorConfigFactory("config");
   Vok::Ptr<Bolk::NumAllocator> allocator_;
};

/// Nanoseconds to release a number and to get one, all but a few being out.
template <class Numbers>
double exchange(const std::vector<U32>& order) {
   constexpr std::size_t fewFree = 64;
   Numbers numbers(order.size());
   for (std::size_t i = 0; i < order.size(); ++i)
      expect(numbers.get() == i);
   const std::size_t free = std::min(fewFree, order.size() / 2);
   for (std::size_t i = 0; i < free; ++i)
      numbers.release(order[i]);
   std::vector<U32> out(order.begin() + static_cast<std::ptrdiff_t>(free), order.end());
   const double spent = timed([&] {
      for (U32 i = 0; i < allocations; ++i) {
         U32& number = out[i % out.size()];
         numbers.release(number);
         number = numbers.get();
      }
   });
   return spent / allocations;
}

} // namespace

void runLabels(const Options& options, U64 size, Report& report) {
   grantAll(size, report);
   const std::vector<U32> order = shuffled(size);
   report.add("number", size, ours, exchange<Allocator>(order));
   report.add("number", size, "bitset", exchange<Bitset>(order));
   if (options.hasPeer("std"))
      report.add("number", size, "std", exchange<FreeSet>(order));
}

} // namespace Bench
