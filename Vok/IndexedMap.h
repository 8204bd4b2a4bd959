#pragma once
// The hash map of entries that are large or not plain: they stand apart from the index, and never move under
// a walk.

#include "Vok/Block.h"
#include "Vok/PlaceHash.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <vector>

namespace Vok {

/// What a map has that has outgrown itself. It knows nothing of the types, so that a program with hundreds of
/// kinds of maps compiles it once.
struct MapSpill {
   std::vector<OwnedBlock> chunks; ///< of entries
   OwnedBlock index;               ///< 32-bit places
   std::vector<U64> removed;       ///< a bit for each entry that was removed and is not yet forgotten
   U32 bits = 0;                   ///< the index has 2^bits places

   U32* places() const { return static_cast<U32*>(index.get()); }
};

/// A map from K to V that is walked in the order in which its keys were added, the same on every
/// machine. Entries never move while a walk is under way, and a walk stays valid whatever happens to
/// the map meanwhile: an entry removed before it was reached is not seen, one added is seen last.
/// A small first entry stands in the map itself, so that many sets of one member cost no memory beside
/// their own. Up to eight entries cost no index; beyond that it takes 6 to 16 bytes an entry.
template <class K, class V>
class IndexedMap {
  public:
   using Key = K;
   using Mapped = V;
   struct Entry {
      K key;
      [[no_unique_address]] V value;
   };

   class Walk;

   IndexedMap() = default;
   IndexedMap(const IndexedMap&) = delete;
   IndexedMap& operator=(const IndexedMap&) = delete;
   ~IndexedMap() { destroyEntries(); }

   std::size_t size() const { return live_; }
   bool empty() const { return live_ == 0; }
   bool has(const K& key) const { return find(key) != nullptr; }

   /// The value under the key, or null. Valid until a key is added or this one is removed.
   const V* find(const K& key) const { return live_ == 0 ? nullptr : find(key, placeHash(key)); }
   V* find(const K& key) { return const_cast<V*>(std::as_const(*this).find(key)); }

   /// Brings near where the search for a key begins. What it returns lets fetchEntry() bring near, a little
   /// later, what the search will find; it is a hint alone, and right for no longer than the key is.
   U32 fetch(const K& key) const {
      const U32 hash = placeHash(key);
      if (isIndexed())
         __builtin_prefetch(&spill_->places()[home(hash)]);
      return hash;
   }
   void fetchEntry(U32 hash) const {
      if (!isIndexed())
         return;
      for (U32 place = home(hash); spill_->places()[place] != 0; place = next(place))
         if (mayName(place, hash))
            return __builtin_prefetch(&entry(numberAt(place)), 1);
   }

   /// Stores a value. Returns false, with nothing done, when an equal one stands there already.
   bool is(const K& key, V value) { return is(key, placeHash(key), std::move(value)); }

   /// Removes an entry and its value. Returns false when there was none.
   bool del(const K& key) { return live_ != 0 && del(key, placeHash(key)); }

   // The same for who looks a key up several times: `hash` is its placeHash().

   const V* find(const K& key, U32 hash) const {
      const Node* found = findHashed(key, hash);
      return found ? &found->value : nullptr;
   }
   bool is(const K& key, U32 hash, V value) {
      Node* found = const_cast<Node*>(findHashed(key, hash));
      if (found && found->value == value)
         return false;
      (found ? *found : append(key, hash)).value = std::move(value);
      return true;
   }
   bool del(const K& key, U32 hash) {
      Node* found = const_cast<Node*>(findHashed(key, hash));
      if (!found)
         return false;
      [[maybe_unused]] const V removed = std::exchange(found->value, V()); // destroyed when all is in order
      markRemoved(isIndexed() ? unindex(*found, hash) : numberOf(*found));
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
   static constexpr U32 firstChunk = 2; ///< entries; each further chunk is twice the one before
   static constexpr U32 scanLimit = 8;  ///< up to so many entries are searched one by one

   /// Numbers are not worth it: their hash is made anew where it is needed.
   static constexpr bool keepsHash = !isNumberKey<K>;
   struct KeptHash {
      U32 hash;
   };
   struct NoHash {};
   struct Node : Entry, std::conditional_t<keepsHash, KeptHash, NoHash> {};

   static constexpr U32 inlined = sizeof(Node) <= 128 ? 1 : 0; ///< entries that stand in the map itself

   Node* nodeAt(U32 at) const {
      if (at < inlined)
         return reinterpret_cast<Node*>(first_);
      // The highest bit of this tells the chunk, the bits below it the place in there.
      const U32 place = at - inlined + firstChunk;
      const U32 top = static_cast<U32>(std::bit_width(place)) - 1;
      void* const chunk = spill_->chunks[top - std::countr_zero(firstChunk)].get();
      return static_cast<Node*>(chunk) + (place ^ (U32(1) << top));
   }
   Node& entry(U32 at) const { return *nodeAt(at); }
   U32 numberOf(const Node& node) const {
      U32 number = 0;
      while (&entry(number) != &node)
         ++number;
      return number;
   }
   bool isIndexed() const { return spill_ && spill_->index; }
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
      if (used_ == live_)
         return true;
      if (!spill_)
         return false; // the only entry, and it is gone
      const std::vector<U64>& removed = spill_->removed;
      return at / 64 >= removed.size() || (removed[at / 64] >> at % 64 & 1) == 0;
   }
   void markRemoved(U32 at) {
      if (!spill_)
         return;
      std::vector<U64>& removed = spill_->removed;
      if (at / 64 >= removed.size())
         removed.resize(used_ / 64 + 1);
      removed[at / 64] |= U64(1) << at % 64;
   }

   const Node* findHashed(const K& key, U32 hash) const {
      if (!isIndexed()) {
         for (U32 at = 0; at < used_; ++at)
            if (isUnder(entry(at), key, hash) && isLive(at))
               return &entry(at);
         return nullptr;
      }
      for (U32 place = home(hash); spill_->places()[place] != 0; place = next(place)) {
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
      if (used_ >= inlined)
         makeRoom();
      Node* added = std::construct_at(nodeAt(used_));
      added->key = key;
      if constexpr (keepsHash)
         added->hash = hash;
      ++used_;
      ++live_;
      if (isIndexed() ? used_ > (lowMask() + U64(1)) * 2 / 3 : used_ > scanLimit)
         reindex();
      else if (isIndexed())
         indexIs(hash, used_ - 1);
      return *added;
   }

   void makeRoom() {
      if (!spill_) {
         spill_ = std::make_unique<MapSpill>();
         if (used_ != live_)
            markRemoved(0);
      }
      // As large as all chunks before it and a first one more.
      auto& chunks = spill_->chunks;
      if (const U32 chunk = firstChunk << chunks.size(); used_ - inlined == chunk - firstChunk)
         chunks.emplace_back(allocateBlock(sizeof(Node) * chunk));
   }

   // A place of the index holds the number of an entry plus one in its low bits, and above them as many low
   // bits of its hash as there is room for; the other bits of the hash are the home. So one word answers most
   // misses, and a hit looks at one word and one entry. The place of an entry that was removed keeps a word
   // that names none, so that searches go on behind it: closing the gap would mean to look at every entry
   // behind it. Such places are taken again by new keys; since removed entries count in used_, there are
   // never more places in use than the index is made for.
   U32 lowMask() const { return (U32(1) << spill_->bits) - 1; }
   U32 goneWord() const { return lowMask(); }
   U32 home(U32 hash) const { return hash >> (32 - spill_->bits); }
   U32 next(U32 place) const { return (place + 1) & lowMask(); }
   U32 numberAt(U32 place) const { return (spill_->places()[place] & lowMask()) - 1; }
   bool mayName(U32 place, U32 hash) const {
      const U32 word = spill_->places()[place];
      return ((word ^ (hash << spill_->bits)) & ~lowMask()) == 0 && word != goneWord();
   }

   void indexIs(U32 hash, U32 number) {
      U32 place = home(hash);
      while (spill_->places()[place] != 0 && spill_->places()[place] != goneWord())
         place = next(place);
      spill_->places()[place] = hash << spill_->bits | (number + 1);
   }

   void reindex() {
      const U32 bits = static_cast<U32>(std::bit_width(U64(used_) * 2));
      if (!isIndexed() || bits != spill_->bits)
         spill_->index.reset(allocateBlock(sizeof(U32) << bits));
      spill_->bits = bits;
      std::fill_n(spill_->places(), std::size_t(1) << bits, 0);
      constexpr U32 ahead = 16; // entries follow one another in memory, their places do not
      for (U32 at = 0; at < used_; ++at) {
         if (at + ahead < used_)
            __builtin_prefetch(&spill_->places()[home(hashOfEntry(entry(at + ahead)))], 1);
         if (isLive(at))
            indexIs(hashOfEntry(entry(at)), at);
      }
   }

   /// Takes an entry out of the index and returns its number.
   U32 unindex(const Node& removed, U32 hash) {
      U32 place = home(hash);
      while (!mayName(place, hash) || &entry(numberAt(place)) != &removed)
         place = next(place);
      const U32 number = numberAt(place);
      spill_->places()[place] = spill_->places()[next(place)] == 0 ? 0 : goneWord();
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
      if (spill_)
         spill_->removed.clear();
      if (isIndexed())
         reindex();
   }

   /// Forgets the entries; the memory is kept for the next, but for an index that is far too large for so
   /// few.
   void drop() {
      destroyEntries();
      if (isIndexed() && used_ < lowMask() / 16)
         spill_->index.reset();
      else if (isIndexed())
         std::fill_n(spill_->places(), std::size_t(1) << spill_->bits, 0);
      used_ = 0;
      if (spill_)
         spill_->removed.clear();
   }
   void destroyEntries() {
      for (U32 at = 0; at < used_; ++at)
         std::destroy_at(&entry(at));
   }

   /// A walk has ended. What was emptied under it is forgotten, or each further walk would pass it again.
   void walked() {
      if (--walks_ == 0 && live_ == 0)
         drop();
   }

   std::unique_ptr<MapSpill> spill_;
   U32 used_ = 0; ///< entries made, removed ones included
   U32 live_ = 0;
   U32 walks_ = 0; ///< walks under way: entries stay where they are
   alignas(Node) mutable U8 first_[inlined ? sizeof(Node) : 1];
};

template <class K, class V>
class IndexedMap<K, V>::Walk {
  public:
   explicit Walk(const IndexedMap& map) : map_(&const_cast<IndexedMap&>(map)) {
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
      while (at_ < map_->used_ && !map_->isLive(at_))
         ++at_;
   }
   IndexedMap* map_; ///< which holds the number of its walks, and forgets what was removed under them
   U32 at_ = 0;
};

} // namespace Vok
