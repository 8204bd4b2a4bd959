#pragma once
// The map behind collection attributes: found by hash, walked in insertion order.

#include "Vok/Block.h"
#include "Vok/HashOf.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <vector>

namespace Vok {

/// Where a map looks for a key. One multiplication spreads numbers well enough; everything else is placed by
/// its own hash.
template <class K>
U32 placeHash(const K& key) {
   if constexpr (std::is_integral_v<K> || std::is_enum_v<K>)
      return static_cast<U32>((static_cast<U64>(key) * 0x9e3779b97f4a7c15ull) >> 32);
   else
      return hashOf(key);
}

/// A map from K to V that is walked in the order in which its keys were added, the same on every
/// machine. Entries never move while a walk is under way, and a walk stays valid whatever happens to
/// the map meanwhile: an entry removed before it was reached is not seen, one added is seen last.
/// Up to eight entries cost no index; memory is about the entries plus 6 to 16 bytes each beyond that.
template <class K, class V>
class HashMap {
  public:
   using Key = K;
   using Mapped = V;
   struct Entry {
      K key;
      V value;
   };

   class Walk;

   HashMap() = default;
   HashMap(const HashMap&) = delete;
   HashMap& operator=(const HashMap&) = delete;
   ~HashMap() { drop(); }

   std::size_t size() const { return live_; }
   bool empty() const { return live_ == 0; }
   bool has(const K& key) const { return find(key) != nullptr; }

   /// The value under the key, or null. Valid until a key is added or this one is removed.
   const V* find(const K& key) const {
      if (live_ == 0)
         return nullptr;
      const Node* found = findHashed(key, placeHash(key));
      return found ? &found->value : nullptr;
   }
   V* find(const K& key) { return const_cast<V*>(std::as_const(*this).find(key)); }

   /// The value under the key, made by default when there is none; `added` tells which.
   V& obtain(const K& key, bool& added) {
      const U32 hash = placeHash(key);
      Node* found = const_cast<Node*>(findHashed(key, hash));
      added = found == nullptr;
      return added ? append(key, hash).value : found->value;
   }

   /// Stores a value. Returns false, with nothing done, when an equal one stands there already.
   bool is(const K& key, V value) {
      bool added = false;
      V& stored = obtain(key, added);
      if (!added && stored == value)
         return false;
      stored = std::move(value);
      return true;
   }

   /// Removes an entry and its value. Returns false when there was none.
   bool del(const K& key) {
      const U32 hash = placeHash(key);
      Node* found = const_cast<Node*>(findHashed(key, hash));
      if (!found)
         return false;
      [[maybe_unused]] const V removed = std::exchange(found->value, V()); // destroyed when all is in order
      // Without an index all entries stand in the first chunk.
      markRemoved(index_ ? unindex(*found, hash) : static_cast<U32>(found - &entry(0)));
      --live_;
      if (walks_ == 0)
         found->key = K();
      if (live_ == 0 && walks_ == 0)
         drop();
      return true;
   }

   Walk begin() const { return Walk(*this); }
   std::nullptr_t end() const { return nullptr; }

  private:
   static constexpr U32 firstChunk = 8; ///< entries; each further chunk is twice the one before
   static constexpr U32 scanLimit = 8;  ///< up to so many entries are searched one by one

   /// Numbers are not worth it: their hash is made anew where it is needed.
   static constexpr bool keepsHash = !std::is_integral_v<K> && !std::is_enum_v<K>;
   struct KeptHash {
      U32 hash;
   };
   struct NoHash {};
   struct Node : Entry, std::conditional_t<keepsHash, KeptHash, NoHash> {};
   struct FreeMemory {
      void operator()(void* block) const { freeBlock(block); }
   };

   Node& entry(U32 at) const {
      // The highest bit of this tells the chunk, the bits below it the place in there.
      const U32 place = at + firstChunk;
      const U32 top = static_cast<U32>(std::bit_width(place)) - 1;
      return chunks_[top - std::countr_zero(firstChunk)][place ^ (U32(1) << top)];
   }
   static U32 hashOfEntry(const Node& node) {
      if constexpr (keepsHash)
         return node.hash;
      else
         return placeHash(node.key);
   }
   static bool isUnder(const Node& node, const K& key, U32 hash) {
      if constexpr (keepsHash)
         return node.hash == hash && node.key == key;
      else
         return node.key == key;
   }

   bool isLive(U32 at) const {
      return used_ == live_ || at / 64 >= removed_.size() || (removed_[at / 64] >> at % 64 & 1) == 0;
   }
   void markRemoved(U32 at) {
      if (at / 64 >= removed_.size())
         removed_.resize(used_ / 64 + 1);
      removed_[at / 64] |= U64(1) << at % 64;
   }

   const Node* findHashed(const K& key, U32 hash) const {
      if (!index_) {
         for (U32 at = 0; at < used_; ++at)
            if (isUnder(entry(at), key, hash) && isLive(at))
               return &entry(at);
         return nullptr;
      }
      for (U32 place = home(hash); index_[place] != 0; place = next(place)) {
         if (!mayName(place, hash))
            continue;
         if (const Node& candidate = entry(numberAt(place)); isUnder(candidate, key, hash))
            return &candidate;
      }
      return nullptr;
   }

   Node& append(const K& key, U32 hash) {
      if (walks_ == 0 && used_ - live_ > live_ + firstChunk)
         compact();
      // As large as all chunks before it and a first one more.
      if (const U32 chunk = firstChunk << chunks_.size(); used_ == chunk - firstChunk)
         chunks_.emplace_back(static_cast<Node*>(allocateBlock(sizeof(Node) * chunk)));
      Node* added = std::construct_at(&entry(used_));
      added->key = key;
      if constexpr (keepsHash)
         added->hash = hash;
      ++used_;
      ++live_;
      if (index_ ? used_ > (lowMask() + U64(1)) * 2 / 3 : used_ > scanLimit)
         reindex();
      else if (index_)
         place(hash, used_ - 1);
      return *added;
   }

   // A place of the index holds the number of an entry plus one in its low bits, and above them as many low
   // bits of its hash as there is room for; the other bits of the hash are the home. So one word answers most
   // misses, and a hit looks at one word and one entry.
   U32 lowMask() const { return (U32(1) << bits_) - 1; }
   U32 home(U32 hash) const { return hash >> (32 - bits_); }
   U32 next(U32 place) const { return (place + 1) & lowMask(); }
   U32 numberAt(U32 place) const { return (index_[place] & lowMask()) - 1; }
   bool mayName(U32 place, U32 hash) const { return ((index_[place] ^ (hash << bits_)) & ~lowMask()) == 0; }

   void place(U32 hash, U32 number) {
      U32 place = home(hash);
      while (index_[place] != 0)
         place = next(place);
      index_[place] = hash << bits_ | (number + 1);
   }

   void reindex() {
      const U32 bits = static_cast<U32>(std::bit_width(U64(used_) * 2));
      if (!index_ || bits != bits_)
         index_.reset(static_cast<U32*>(allocateBlock(sizeof(U32) << bits)));
      bits_ = bits;
      std::fill_n(index_.get(), std::size_t(1) << bits, 0);
      for (U32 at = 0; at < used_; ++at)
         if (isLive(at))
            place(hashOfEntry(entry(at)), at);
   }

   /// Takes an entry out of the index, closes the gap, and returns its number.
   U32 unindex(const Node& removed, U32 hash) {
      U32 hole = home(hash);
      while (!mayName(hole, hash) || &entry(numberAt(hole)) != &removed)
         hole = next(hole);
      const U32 number = numberAt(hole);
      for (U32 place = next(hole); index_[place] != 0; place = next(place)) {
         const U32 wanted = home(hashOfEntry(entry(numberAt(place))));
         if (((place - wanted) & lowMask()) < ((place - hole) & lowMask()))
            continue;
         index_[hole] = index_[place];
         hole = place;
      }
      index_[hole] = 0;
      return number;
   }

   /// Closes the gaps that removed entries left; only when nobody walks.
   void compact() {
      U32 to = 0;
      for (U32 at = 0; at < used_; ++at) {
         if (!isLive(at))
            continue;
         if (to != at)
            entry(to) = std::move(entry(at));
         ++to;
      }
      for (U32 at = to; at < used_; ++at)
         std::destroy_at(&entry(at));
      used_ = to;
      removed_.clear();
      if (index_)
         reindex();
   }

   /// Forgets the entries; the memory is kept for the next.
   void drop() {
      for (U32 at = 0; at < used_; ++at)
         std::destroy_at(&entry(at));
      used_ = 0;
      removed_.clear();
   }

   std::vector<std::unique_ptr<Node[], FreeMemory>> chunks_;
   std::unique_ptr<U32[], FreeMemory> index_;
   std::vector<U64> removed_; ///< a bit for each entry that was removed and is not yet forgotten
   U32 bits_ = 0;             ///< the index has 2^bits_ places
   U32 used_ = 0;             ///< entries made, removed ones included
   U32 live_ = 0;
   mutable U32 walks_ = 0; ///< walks under way: entries stay where they are
};

template <class K, class V>
class HashMap<K, V>::Walk {
  public:
   explicit Walk(const HashMap& map) : map_(&map) {
      ++map.walks_;
      skipRemoved();
   }
   Walk(Walk&& other) noexcept : map_(std::exchange(other.map_, nullptr)), at_(other.at_) {}
   Walk& operator=(Walk&&) = delete;
   ~Walk() {
      if (map_)
         --map_->walks_;
   }
   const Entry& operator*() const { return map_->entry(at_); }
   Walk& operator++() {
      ++at_;
      skipRemoved();
      return *this;
   }
   bool operator==(std::nullptr_t) const { return at_ >= map_->used_; }

  private:
   void skipRemoved() {
      while (at_ < map_->used_ && !map_->isLive(at_))
         ++at_;
   }
   const HashMap* map_;
   U32 at_ = 0;
};

/// The set that goes with it.
template <class K>
class HashSet {
  public:
   using Key = K;
   class Walk {
     public:
      explicit Walk(const HashMap<K, bool>& map) : at_(map.begin()) {}
      const K& operator*() const { return (*at_).key; }
      Walk& operator++() {
         ++at_;
         return *this;
      }
      bool operator==(std::nullptr_t end) const { return at_ == end; }

     private:
      typename HashMap<K, bool>::Walk at_;
   };

   std::size_t size() const { return map_.size(); }
   bool empty() const { return map_.empty(); }
   bool has(const K& key) const { return map_.has(key); }
   /// Returns false, with nothing done, when the key is in the set already.
   bool is(const K& key) { return map_.is(key, true); }
   bool del(const K& key) { return map_.del(key); }
   Walk begin() const { return Walk(map_); }
   std::nullptr_t end() const { return nullptr; }

  private:
   HashMap<K, bool> map_;
};

} // namespace Vok
