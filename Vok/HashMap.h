#pragma once
// The map and the set behind collection attributes: found by hash, walked in insertion order.

#include "Vok/FlatMap.h"
#include "Vok/IndexedMap.h"

namespace Vok {

/// Both kinds have the same calls and the same promises about walks. What a walk shows is a copy in the one
/// and the entry itself in the other: it is good until the walk goes on, and whether a value that is set
/// meanwhile shows in it is not promised.
template <class K, class V>
using HashMap = std::conditional_t<suitsFlatMap<K, V>, FlatMap<K, V>, IndexedMap<K, V>>;

/// What a set knows of a key that is in it.
struct Membership {
   bool operator==(const Membership&) const = default;
};

/// The set that goes with it.
template <class K>
class HashSet {
  public:
   using Key = K;
   class Walk {
     public:
      explicit Walk(const HashMap<K, Membership>& map) : at_(map.begin()) {}
      const K& operator*() const { return (*at_).key; }
      Walk& operator++() {
         ++at_;
         return *this;
      }
      bool operator==(std::nullptr_t end) const { return at_ == end; }

     private:
      typename HashMap<K, Membership>::Walk at_;
   };

   std::size_t size() const { return map_.size(); }
   bool empty() const { return map_.empty(); }
   bool has(const K& key) const { return map_.has(key); }
   U32 fetch(const K& key) const { return map_.fetch(key); }
   void fetchEntry(U32 hint) const { map_.fetchEntry(hint); }
   /// Returns false, with nothing done, when the key is in the set already.
   bool is(const K& key) { return map_.is(key, {}); }
   bool del(const K& key) { return map_.del(key); }
   Walk begin() const { return Walk(map_); }
   std::nullptr_t end() const { return nullptr; }

  private:
   HashMap<K, Membership> map_;
};

} // namespace Vok
