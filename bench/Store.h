#pragma once

#include "bench/Measure.h"
#include "bench/Rows.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

/// A place that three rows a route are written to and read from: our tables, or a peer's. Writing goes chunk
/// by chunk: prepare() makes a chunk's input and is not measured, the calls after it are.

namespace Bench {

struct StoreParameters {
   std::string directory; ///< of shared memory, this store's own
   U64 routes;            ///< that the run goes up to
};

/// Routes that are written in one go.
struct Chunk {
   static constexpr U64 routes = 1000;
   std::span<const U32> labels;
   U64 first; ///< how many routes were written before these
   U64 generation;
};

class Store {
  public:
   virtual ~Store() = default;

   virtual void prepare(const Chunk& chunk) = 0;
   /// Three inserts a route.
   virtual void publish() = 0;
   /// The prepared routes take the place of those of the generation before: three writes and two deletes
   /// each.
   virtual void rewrite() = 0;
   /// The prepared routes and what they use: three deletes each.
   virtual void remove() = 0;

   /// True when readers are other processes: attach() is called in such a process before it reads.
   virtual bool isShared() const = 0;
   virtual void attach() {}
   /// Route rows by label, one by one. Returns how many were there.
   virtual U64 lookup(std::span<const U32> labels) = 0;
   /// Route, via set and via by label, the way the store does many fastest. Returns how many vias were there.
   virtual U64 chase(std::span<const U32> labels) = 0;
   /// Every row of the three tables. Returns their number; 0 where the store cannot walk.
   virtual U64 walk() = 0;
   /// Ends the writer and starts another over the same rows. Returns how long the new one took, in
   /// nanoseconds; 0 where there is no such thing.
   virtual double restart() { return 0; }
   /// What its work is timed by: the wall where a server does some of it.
   virtual clockid_t clock() const { return workClock; }
   /// How many routes a reader's measurement needs: fewer for stores that take long.
   virtual U64 readsMax() const { return ~U64{0}; }
};

/// What peers have in common: a chunk is a list of packed rows.
class PeerStore : public Store {
  public:
   explicit PeerStore(const StoreParameters& parameters)
       : parameters_(parameters), make_(parameters.routes) {}

   void prepare(const Chunk& chunk) override {
      rows_.clear();
      old_.clear();
      U64 place = chunk.first;
      for (const U32 label : chunk.labels) {
         rows_.push_back(make_(label, place, chunk.generation));
         if (chunk.generation > 0)
            old_.push_back(make_(label, place, chunk.generation - 1));
         ++place;
      }
   }

  protected:
   static RouteKeyBlob keyOf(U32 label) { return packedKeyOf(routeKeyOf(label)); }

   StoreParameters parameters_;
   RowMaker make_;
   std::vector<PackedRoute> rows_;
   std::vector<PackedRoute> old_; ///< what rewrite() replaces
};

struct StoreKind {
   const char* name;
   std::unique_ptr<Store> (*make)(const StoreParameters& parameters); ///< null: built without its library
};

std::unique_ptr<Store> makeOurStore(const StoreParameters& parameters);
std::unique_ptr<Store> makeAbslStore(const StoreParameters& parameters);
std::unique_ptr<Store> makeStdStore(const StoreParameters& parameters);
std::unique_ptr<Store> makeBoostStore(const StoreParameters& parameters);
std::unique_ptr<Store> makeLmdbStore(const StoreParameters& parameters);
std::unique_ptr<Store> makeRedisStore(const StoreParameters& parameters);

/// Ours first, then the peers.
const std::vector<StoreKind>& storeKinds();

} // namespace Bench
