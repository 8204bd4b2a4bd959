#pragma once
// Maps and sets in key order, for values and for attributes declared `ordered`.

#include "Vok/HashOf.h"

#include <map>
#include <optional>

namespace Vok {

/// A map that is walked in ascending key order. Walks survive any change of the map made while they
/// are under way: an entry removed before it was reached is not seen, one added ahead is.
template <class K, class V>
class OrderedMap {
  public:
   using Key = K;
   using Mapped = V;
   struct Entry {
      const K& key;
      const V& value;
   };

   class Walk;

   std::size_t size() const { return entries_.size(); }
   bool empty() const { return entries_.empty(); }
   bool has(const K& key) const { return entries_.contains(key); }
   /// The value under the key, or null. Valid until the entry is removed.
   const V* find(const K& key) const {
      const auto found = entries_.find(key);
      return found == entries_.end() ? nullptr : &found->second;
   }
   V* find(const K& key) { return const_cast<V*>(std::as_const(*this).find(key)); }

   /// Stores a value. Returns false, with nothing done, when an equal one stands there already.
   bool is(const K& key, V value) {
      const auto [at, added] = entries_.try_emplace(key, std::move(value));
      if (!added) {
         if (at->second == value)
            return false;
         at->second = std::move(value);
      }
      return true;
   }
   /// Returns false when there was no such entry.
   bool del(const K& key) {
      const auto found = entries_.find(key);
      if (found == entries_.end())
         return false;
      ++removals_;
      entries_.erase(found);
      return true;
   }
   void delAll() {
      ++removals_;
      entries_.clear();
   }
   const K& firstKey() const { return entries_.begin()->first; }

   Walk begin() const { return Walk(*this, entries_.begin()); }
   std::nullptr_t end() const { return nullptr; }

   bool operator==(const OrderedMap& other) const { return entries_ == other.entries_; }
   std::strong_ordering operator<=>(const OrderedMap& other) const {
      auto a = entries_.begin();
      auto b = other.entries_.begin();
      for (; a != entries_.end() && b != other.entries_.end(); ++a, ++b) {
         if (const auto order = a->first <=> b->first; order != 0)
            return order;
         if (const auto order = a->second <=> b->second; order != 0)
            return order;
      }
      return entries_.size() <=> other.entries_.size();
   }
   U32 hash() const {
      Hash hash;
      for (const auto& [key, value] : entries_) {
         hashMix(hash, key);
         hashMix(hash, value);
      }
      return hash.result();
   }

  private:
   std::map<K, V> entries_;
   U64 removals_ = 0; ///< tells a walk that its place may be gone
};

template <class K, class V>
class OrderedMap<K, V>::Walk {
  public:
   Walk(const OrderedMap& map, typename std::map<K, V>::const_iterator at)
       : map_(map), at_(at), removals_(map.removals_) {
      remember();
   }
   Entry operator*() const { return {at_->first, at_->second}; }
   Walk& operator++() {
      if (removals_ == map_.removals_) {
         ++at_;
      } else {
         at_ = map_.entries_.upper_bound(*key_);
         removals_ = map_.removals_;
      }
      remember();
      return *this;
   }
   bool operator==(std::nullptr_t) const { return !key_; }

  private:
   void remember() {
      if (at_ == map_.entries_.end())
         key_.reset();
      else
         key_ = at_->first;
   }

   const OrderedMap& map_;
   typename std::map<K, V>::const_iterator at_;
   std::optional<K> key_;
   U64 removals_;
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

   Walk begin() const { return Walk(map_.begin()); }
   std::nullptr_t end() const { return nullptr; }

   bool operator==(const OrderedSet&) const = default;
   std::strong_ordering operator<=>(const OrderedSet& other) const { return map_ <=> other.map_; }
   U32 hash() const { return map_.hash(); }

  private:
   OrderedMap<K, bool> map_;
};

} // namespace Vok
