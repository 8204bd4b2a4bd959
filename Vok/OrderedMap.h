#pragma once
// Maps and sets in key order, for values and for attributes declared `ordered`.

#include "Vok/HashOf.h"
#include "Vok/ShortList.h"

#include <algorithm>
#include <optional>

namespace Vok {

/// A map that is walked in ascending key order. Its entries stand in one sorted block: lookups are
/// binary searches, and adding or removing costs in proportion to the entries behind the place, so it
/// suits collections of up to some hundreds; a small first entry stands in the map itself. Cleared, it keeps
/// its memory. Walks survive any change made while they are under way: an entry removed before it was reached
/// is not seen, one added ahead is.
template <class K, class V>
class OrderedMap {
  public:
   using Key = K;
   using Mapped = V;
   struct Entry {
      K key;
      V value;
      bool operator==(const Entry&) const = default;
      auto operator<=>(const Entry&) const = default;
   };

   class Walk;

   std::size_t size() const { return entries_.size(); }
   bool empty() const { return entries_.empty(); }
   bool has(const K& key) const { return find(key) != nullptr; }
   /// The value under the key, or null. Valid until the map changes.
   const V* find(const K& key) const {
      const Entry* const at = place(key);
      return at != entries_.end() && at->key == key ? &at->value : nullptr;
   }
   V* find(const K& key) { return const_cast<V*>(std::as_const(*this).find(key)); }

   /// Stores a value. Returns false, with nothing done, when an equal one stands there already.
   bool is(const K& key, V value) {
      Entry* const at = const_cast<Entry*>(place(key));
      if (at != entries_.end() && at->key == key) {
         if (at->value == value)
            return false;
         at->value = std::move(value);
         return true;
      }
      ++moves_;
      entries_.insert(at - entries_.begin(), Entry{key, std::move(value)});
      return true;
   }
   /// Returns false when there was no such entry.
   bool del(const K& key) {
      const Entry* const at = place(key);
      if (at == entries_.end() || !(at->key == key))
         return false;
      ++moves_;
      entries_.erase(at - entries_.begin());
      return true;
   }
   void delAll() {
      ++moves_;
      entries_.clear();
   }
   /// The smallest key; there must be one.
   const K& firstKey() const { return entries_[0].key; }
   /// The entry whose key so many are less than. Valid until the map changes.
   const Entry& at(std::size_t number) const { return entries_[number]; }

   Walk begin() const { return Walk(*this); }
   std::nullptr_t end() const { return nullptr; }

   bool operator==(const OrderedMap& other) const { return entries_ == other.entries_; }
   /// Entry by entry in key order; the map that ends first is less.
   std::strong_ordering operator<=>(const OrderedMap& other) const { return entries_ <=> other.entries_; }
   U32 hash() const {
      Hash hash;
      for (const Entry& entry : entries_) {
         hashMix(hash, entry.key);
         hashMix(hash, entry.value);
      }
      return hash.result();
   }

  private:
   const Entry* place(const K& key) const {
      return std::lower_bound(entries_.begin(), entries_.end(), key,
                              [](const Entry& entry, const K& wanted) { return entry.key < wanted; });
   }

   ShortList<Entry> entries_;
   U64 moves_ = 0; ///< tells a walk that entries may have moved
};

template <class K, class V>
class OrderedMap<K, V>::Walk {
  public:
   explicit Walk(const OrderedMap& map) : map_(map), moves_(map.moves_) { remember(); }
   const Entry& operator*() const { return map_.entries_[at_]; }
   Walk& operator++() {
      if (moves_ == map_.moves_) {
         ++at_;
      } else {
         const auto next = map_.place(*key_);
         at_ = static_cast<std::size_t>(next - map_.entries_.begin());
         if (next != map_.entries_.end() && next->key == *key_)
            ++at_;
         moves_ = map_.moves_;
      }
      remember();
      return *this;
   }
   bool operator==(std::nullptr_t) const { return !key_; }

  private:
   /// Keeps the key of the entry it stands on, should that entry go.
   void remember() {
      if (at_ < map_.entries_.size())
         key_ = map_.entries_[at_].key;
      else
         key_.reset();
   }

   const OrderedMap& map_;
   std::size_t at_ = 0;
   std::optional<K> key_;
   U64 moves_;
};

/// A set that is walked in ascending order, with the same promise.
template <class K>
class OrderedSet {
  public:
   using Key = K;
   class Walk {
     public:
      explicit Walk(typename OrderedMap<K, bool>::Walk at) : at_(std::move(at)) {}
      const K& operator*() const { return (*at_).key; }
      Walk& operator++() {
         ++at_;
         return *this;
      }
      bool operator==(std::nullptr_t end) const { return at_ == end; }

     private:
      typename OrderedMap<K, bool>::Walk at_;
   };

   std::size_t size() const { return map_.size(); }
   bool empty() const { return map_.empty(); }
   bool has(const K& key) const { return map_.has(key); }
   /// Returns false, with nothing done, when the key is in the set already.
   bool is(const K& key) { return map_.is(key, true); }
   bool del(const K& key) { return map_.del(key); }
   void delAll() { map_.delAll(); }
   const K& firstKey() const { return map_.firstKey(); }
   /// The key that so many are less than. Valid until the set changes.
   const K& at(std::size_t number) const { return map_.at(number).key; }

   Walk begin() const { return Walk(map_.begin()); }
   std::nullptr_t end() const { return nullptr; }

   bool operator==(const OrderedSet&) const = default;
   std::strong_ordering operator<=>(const OrderedSet& other) const { return map_ <=> other.map_; }
   U32 hash() const { return map_.hash(); }

  private:
   OrderedMap<K, bool> map_;
};

} // namespace Vok
