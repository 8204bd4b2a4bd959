#pragma once
// The map behind collection attributes: found by hash, walked in insertion order.

#include "Vok/Block.h"
#include "Vok/HashOf.h"

#include <bit>
#include <memory>
#include <optional>
#include <vector>

namespace Vok {

/// A map from K to V that is walked in the order in which its keys were added, the same on every
/// machine. Entries never move while a walk is under way, and a walk stays valid whatever happens to
/// the map meanwhile: an entry removed before it was reached is not seen, one added is seen last.
/// A small first entry stands in the map itself, so that many sets of one member cost no memory beside
/// their own. Up to eight entries cost no index; beyond that it takes 10 to 20 bytes an entry.
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
   ~HashMap() {
      for (U32 at = 0; at < used_; ++at)
         std::destroy_at(&entry(at));
   }

   std::size_t size() const { return live_; }
   bool empty() const { return live_ == 0; }
   bool has(const K& key) const { return findEntry(key) != nullptr; }

   /// The value under the key, or null. Valid until the entry is removed.
   const V* find(const K& key) const {
      const Node* found = findEntry(key);
      return found ? &found->value : nullptr;
   }
   V* find(const K& key) { return const_cast<V*>(std::as_const(*this).find(key)); }

   /// The value under the key, made by default when there is none; `added` tells which.
   V& obtain(const K& key, bool& added) {
      const U32 hash = hashOf(key);
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
      const U32 hash = hashOf(key);
      Node* found = const_cast<Node*>(findHashed(key, hash));
      if (!found)
         return false;
      [[maybe_unused]] const V removed = std::exchange(found->value, V()); // destroyed when all is in order
      found->live = false;
      --live_;
      if (isIndexed())
         unindex(found);
      if (walks_ == 0)
         found->key = K();
      if (live_ == 0 && walks_ == 0)
         drop();
      return true;
   }

   Walk begin() const { return Walk(*this); }
   std::nullptr_t end() const { return nullptr; }

  private:
   static constexpr U32 firstChunk = 2; ///< entries; each further chunk is twice the one before
   static constexpr U32 scanLimit = 8;  ///< up to so many entries are searched one by one

   struct Node : Entry {
      U32 hash;
      bool live;
   };
   static constexpr U32 inlined = sizeof(Node) <= 128 ? 1 : 0; ///< entries that stand in the map itself
   struct FreeChunk {
      void operator()(Node* chunk) const { freeBlock(chunk); }
   };
   /// What a map has that has outgrown itself.
   struct Spill {
      std::vector<std::unique_ptr<Node[], FreeChunk>> chunks;
      // The index, in two blocks so that the first, which answers most misses, stays in the cache.
      std::vector<U8> tags;   ///< bits of the hash of what stands in a place; 0 is empty
      std::vector<U32> index; ///< its entry number
   };

   // Of entries beyond the inlined ones, counted from there.
   static U32 chunkOf(U32 at) { return static_cast<U32>(std::bit_width(at / firstChunk + 1)) - 1; }
   static U32 chunkStart(U32 chunk) { return firstChunk * ((U32(1) << chunk) - 1); }

   Node* place(U32 at) const {
      if (at < inlined)
         return reinterpret_cast<Node*>(first_);
      const U32 chunk = chunkOf(at - inlined);
      return &spill_->chunks[chunk][at - inlined - chunkStart(chunk)];
   }
   Node& entry(U32 at) const { return *place(at); }
   bool isIndexed() const { return spill_ && !spill_->index.empty(); }

   const Node* findEntry(const K& key) const {
      if (live_ == 0)
         return nullptr;
      return findHashed(key, hashOf(key));
   }

   const Node* findHashed(const K& key, U32 hash) const {
      if (!isIndexed()) {
         for (U32 at = 0; at < used_; ++at) {
            const Node& candidate = entry(at);
            if (candidate.live && candidate.hash == hash && candidate.key == key)
               return &candidate;
         }
         return nullptr;
      }
      const Spill& spill = *spill_;
      for (U64 place = home(hash); spill.tags[place] != 0; place = next(place)) {
         if (spill.tags[place] != tagOf(hash))
            continue;
         const Node& candidate = entry(spill.index[place]);
         if (candidate.hash == hash && candidate.key == key)
            return &candidate;
      }
      return nullptr;
   }

   Node& append(const K& key, U32 hash) {
      if (walks_ == 0 && used_ - live_ > live_ + firstChunk)
         compact();
      if (used_ >= inlined)
         makeRoom(chunkOf(used_ - inlined));
      Node* added = std::construct_at(place(used_));
      added->key = key;
      added->hash = hash;
      added->live = true;
      ++used_;
      ++live_;
      if (!isIndexed() ? used_ > scanLimit : U64(used_) * 3 > spill_->index.size() * 2)
         reindex();
      else if (isIndexed())
         indexIs(hash, used_ - 1);
      return *added;
   }

   void makeRoom(U32 chunk) {
      if (!spill_)
         spill_ = std::make_unique<Spill>();
      if (chunk == spill_->chunks.size())
         spill_->chunks.emplace_back(static_cast<Node*>(allocateBlock(sizeof(Node) * (firstChunk << chunk))));
   }

   U64 home(U32 hash) const { return hash & (spill_->index.size() - 1); }
   U64 next(U64 place) const { return (place + 1) & (spill_->index.size() - 1); }
   static U8 tagOf(U32 hash) { return static_cast<U8>(hash >> 25 | 0x80); }

   void indexIs(U32 hash, U32 number) {
      U64 place = home(hash);
      while (spill_->tags[place] != 0)
         place = next(place);
      spill_->tags[place] = tagOf(hash);
      spill_->index[place] = number;
   }

   void reindex() {
      const U64 places = std::bit_ceil(U64(used_) * 2 + 1);
      spill_->tags.assign(places, 0);
      spill_->index.assign(places, 0);
      for (U32 at = 0; at < used_; ++at)
         if (entry(at).live)
            indexIs(entry(at).hash, at);
   }

   /// Takes an entry out of the index and closes the gap.
   void unindex(const Node* removed) {
      std::vector<U8>& tags = spill_->tags;
      std::vector<U32>& index = spill_->index;
      const U64 mask = index.size() - 1;
      U64 hole = home(removed->hash);
      while (tags[hole] != tagOf(removed->hash) || &entry(index[hole]) != removed)
         hole = next(hole);
      for (U64 place = next(hole); tags[place] != 0; place = next(place)) {
         const U64 wanted = home(entry(index[place]).hash);
         if (((place - wanted) & mask) < ((place - hole) & mask))
            continue;
         tags[hole] = tags[place];
         index[hole] = index[place];
         hole = place;
      }
      tags[hole] = 0;
   }

   /// Closes the gaps that removed entries left; only when nobody walks.
   void compact() {
      U32 to = 0;
      for (U32 at = 0; at < used_; ++at) {
         if (!entry(at).live)
            continue;
         if (to != at)
            entry(to) = std::move(entry(at));
         ++to;
      }
      for (U32 at = to; at < used_; ++at)
         std::destroy_at(&entry(at));
      used_ = to;
      if (isIndexed())
         reindex();
   }

   /// Forgets the removed entries of an empty map; their memory is kept for the next.
   void drop() {
      for (U32 at = 0; at < used_; ++at)
         std::destroy_at(&entry(at));
      used_ = 0;
   }

   /// A walk has ended. What was emptied under it is forgotten, or each further walk would pass it again.
   void walked() {
      if (--walks_ == 0 && live_ == 0)
         drop();
   }

   std::unique_ptr<Spill> spill_;
   U32 used_ = 0; ///< entries made, removed ones included
   U32 live_ = 0;
   U32 walks_ = 0; ///< walks under way: entries stay where they are
   alignas(Node) mutable U8 first_[inlined ? sizeof(Node) : 1];
};

template <class K, class V>
class HashMap<K, V>::Walk {
  public:
   explicit Walk(const HashMap& map) : map_(&const_cast<HashMap&>(map)) {
      ++map_->walks_;
      skipRemoved();
   }
   Walk(Walk&& other) noexcept : map_(std::exchange(other.map_, nullptr)), at_(other.at_) {}
   Walk& operator=(Walk&&) = delete;
   ~Walk() {
      if (map_)
         map_->walked();
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
      while (at_ < map_->used_ && !map_->entry(at_).live)
         ++at_;
   }
   HashMap* map_; ///< which holds the number of its walks, and forgets what was removed under them
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
