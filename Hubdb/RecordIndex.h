#pragma once
// Hubdb::RecordIndex: finds stored records by hash.

#include "Vok/Types.h"

#include <vector>

namespace Hubdb {

/// A table of references to records, open addressing with the nearest free place. Eight bytes a place, three
/// eighths to three quarters of them used. Knows nothing of the records: who asks compares.
class RecordIndex {
  public:
   using Ref = Vok::U32;
   static constexpr Ref none = ~Ref(0);

   /// The reference under this hash for which `isIt` is true, or none.
   template <class IsIt>
   Ref find(Vok::U32 hash, IsIt&& isIt) const {
      if (places_.empty())
         return none;
      for (std::size_t at = hash & mask(); places_[at].ref != none; at = (at + 1) & mask())
         if (places_[at].hash == hash && isIt(places_[at].ref))
            return places_[at].ref;
      return none;
   }

   /// Brings the place near where a search for this hash begins.
   void fetch(Vok::U32 hash) const {
      if (!places_.empty())
         __builtin_prefetch(&places_[hash & mask()]);
   }

   void add(Vok::U32 hash, Ref ref) {
      if ((used_ + 1) * 4 > places_.size() * 3)
         grow();
      place(hash, ref);
      ++used_;
   }
   /// The reference must be there.
   void del(Vok::U32 hash, Ref ref);
   void replace(Vok::U32 hash, Ref ref, Ref by) { places_[at(hash, ref)].ref = by; }

   std::size_t memory() const { return places_.capacity() * sizeof(Place); }

  private:
   struct Place {
      Ref ref = none;
      Vok::U32 hash = 0;
   };

   std::size_t mask() const { return places_.size() - 1; }
   std::size_t at(Vok::U32 hash, Ref ref) const {
      std::size_t at = hash & mask();
      while (places_[at].ref != ref)
         at = (at + 1) & mask();
      return at;
   }
   void place(Vok::U32 hash, Ref ref) {
      std::size_t at = hash & mask();
      while (places_[at].ref != none)
         at = (at + 1) & mask();
      places_[at] = {ref, hash};
   }
   void grow();

   std::vector<Place> places_; ///< a power of two
   std::size_t used_ = 0;
};

inline void RecordIndex::del(Vok::U32 hash, Ref ref) {
   std::size_t hole = at(hash, ref);
   // What comes after moves up, unless it would stand before the place where its search begins.
   for (std::size_t next = (hole + 1) & mask(); places_[next].ref != none; next = (next + 1) & mask()) {
      const std::size_t wanted = places_[next].hash & mask();
      if (((next - wanted) & mask()) >= ((next - hole) & mask())) {
         places_[hole] = places_[next];
         hole = next;
      }
   }
   places_[hole].ref = none;
   --used_;
}

inline void RecordIndex::grow() {
   std::vector<Place> before(places_.empty() ? 16 : places_.size() * 2);
   before.swap(places_);
   for (const Place& place : before)
      if (place.ref != none)
         this->place(place.hash, place.ref);
}

} // namespace Hubdb
