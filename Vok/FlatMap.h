#pragma once
// The hash map of small plain entries: each stands where its hash says.

#include "Vok/PlaceHash.h"

#include <memory>
#include <type_traits>
#include <utility>

namespace Vok {

/// What flat maps of all types share: how their memory is laid out, and how it is made anew.
///
/// A table has 2^n places of one node each, and behind them the order list: for each key that was added, in
/// that order, the place of its node. A node knows its number in the list (the first is 1), so that a removal
/// finds what to strike out. Growing moves the nodes and keeps the numbers, which is why walks count by them;
/// closing the gaps that removals left gives new numbers, and waits until nobody walks.
///
/// Up to eight nodes are no table: they stand in the order of their numbers and are searched one by one. The
/// first one stands in the map itself.
class FlatMapBase {
  public:
   FlatMapBase(const FlatMapBase&) = delete;
   FlatMapBase& operator=(const FlatMapBase&) = delete;

  protected:
   /// The types, as far as they matter here. A node begins with its number.
   struct NodeShape {
      U32 size;
      U32 (*hash)(const void* node);
   };

   static constexpr U32 scanLimit = 8;

   // In place of a number.
   static constexpr U32 emptyPlace = 0;           ///< a search ends here
   static constexpr U32 gonePlace = U32(1) << 31; ///< what stood here was removed; a search goes on
   static bool isLive(U32 number) { return static_cast<S32>(number) > 0; }

   static constexpr U32 struckOut = ~U32(0); ///< in the order list: the key was removed

   explicit FlatMapBase(void* first) : nodes_(first) {}

   bool isTable() const { return shift_ != 0; }
   U32 lowMask() const { return ~U32(0) >> shift_; }
   U32 home(U32 hash) const { return hash >> shift_; }
   U32 next(U32 place) const { return (place + 1) & lowMask(); }

   /// Whether the next node needs makeRoom() before: no place is left, or so much was removed that walks
   /// would pass over more than they see.
   bool isOutgrown(const void* first) const {
      return used_ == room(first) || (walks_ == 0 && used_ - live_ > live_ + 2);
   }
   void makeRoom(const NodeShape& shape, const void* first);
   /// Forgets all nodes. The memory is kept for the next, unless it is far too large for so few.
   void drop(const NodeShape& shape, void* first);
   void freeNodes(const void* first);

   void* nodes_;
   U32 used_ = 0; ///< numbers given, those struck out included
   U32 live_ = 0;
   U16 walks_ = 0; ///< walks under way: numbers stay what they are; so many do not fit into a stack
   U16 shift_ = 0; ///< of a hash to its home: 32 less the bits of a place; 0: no table

  private:
   /// How many nodes there may be before the places are too few.
   U32 room(const void* first) const {
      return isTable() ? roomIn(lowMask() + U64(1)) : nodes_ == first ? 1 : scanLimit;
   }
   static U32 roomIn(U64 places) { return static_cast<U32>(places * 2 / 3); }
   U32* order(const NodeShape& shape) const;
   void closeUp(const NodeShape& shape);
   void numberAnew(const NodeShape& shape);
   void nodesAre(U64 wanted, const NodeShape& shape, const void* first);
};

template <class K, class V>
struct FlatNode {
   U32 number;
   K key;
   [[no_unique_address]] V value;
};

/// Whether a FlatMap can hold such entries, and should: it moves them, and keeps about two places for each.
template <class K, class V>
inline constexpr bool suitsFlatMap = std::is_trivially_copyable_v<K>&& std::is_trivially_copyable_v<V> &&
                                     sizeof(FlatNode<K, V>) <= 32;

/// A map from K to V that is walked in the order in which its keys were added, the same on every machine. A
/// search looks at one place of memory. A walk shows copies, taken when it gets there, and stays valid
/// whatever happens to the map meanwhile: an entry removed before it was reached is not seen, one added is
/// seen last. A single entry takes no memory beside the map; of more than eight, each takes 1.5 to 3 nodes
/// and 4 to 8 bytes.
template <class K, class V>
class FlatMap : private FlatMapBase {
   using Node = FlatNode<K, V>;

  public:
   using Key = K;
   using Mapped = V;
   struct Entry {
      K key;
      [[no_unique_address]] V value;
   };

   class Walk;

   FlatMap() : FlatMapBase(first_) {}
   ~FlatMap() { freeNodes(first_); }

   std::size_t size() const { return live_; }
   bool empty() const { return live_ == 0; }
   bool has(const K& key) const { return find(key) != nullptr; }

   /// The value under the key, or null. Valid until a key is added or this one is removed.
   const V* find(const K& key) const { return live_ == 0 ? nullptr : find(key, placeHash(key)); }
   V* find(const K& key) { return const_cast<V*>(std::as_const(*this).find(key)); }

   /// Brings near what the search for a key will look at. There is nothing left for fetchEntry().
   U32 fetch(const K& key) const {
      const U32 hash = placeHash(key);
      if (isTable())
         __builtin_prefetch(&node(home(hash)), 1);
      return hash;
   }
   void fetchEntry(U32) const {}

   /// Stores a value. Returns false, with nothing done, when an equal one stands there already.
   bool is(const K& key, V value) { return is(key, placeHash(key), value); }

   /// Removes an entry. Returns false when there was none.
   bool del(const K& key) { return live_ != 0 && del(key, placeHash(key)); }

   // The same for who looks a key up several times: `hash` is its placeHash().

   const V* find(const K& key, U32 hash) const {
      const Node* found = findNode(key, hash);
      return found ? &found->value : nullptr;
   }
   bool is(const K& key, U32 hash, V value) {
      Node* found = findNode(key, hash);
      if (!found) {
         append(key, hash, value);
         return true;
      }
      if (found->value == value)
         return false;
      found->value = value;
      return true;
   }
   bool del(const K& key, U32 hash) {
      Node* found = findNode(key, hash);
      if (!found)
         return false;
      if (isTable()) {
         order()[found->number - 1] = struckOut;
         const U32 behind = next(static_cast<U32>(found - &node(0)));
         found->number = node(behind).number == emptyPlace ? emptyPlace : gonePlace;
      } else {
         found->number = gonePlace;
      }
      --live_;
      forgetIfEmpty();
      return true;
   }

   Walk begin() const { return Walk(*this); }
   std::nullptr_t end() const { return nullptr; }

  private:
   static U32 hashOfNode(const void* node) { return placeHash(static_cast<const Node*>(node)->key); }
   static constexpr NodeShape shape{sizeof(Node), hashOfNode};

   Node& node(U32 place) const { return static_cast<Node*>(nodes_)[place]; }
   U32* order() const { return reinterpret_cast<U32*>(&node(0) + lowMask() + 1); }

   Node* findNode(const K& key, U32 hash) const {
      if (!isTable()) [[unlikely]]
         return scan(key);
      for (U32 place = home(hash);; place = next(place)) {
         Node& candidate = node(place);
         if (candidate.key == key && isLive(candidate.number)) [[likely]]
            return &candidate;
         if (candidate.number == emptyPlace)
            return nullptr;
      }
   }
   Node* scan(const K& key) const {
      for (U32 at = 0; at < used_; ++at)
         if (isLive(node(at).number) && node(at).key == key)
            return &node(at);
      return nullptr;
   }

   [[gnu::noinline]] Node& append(K key, U32 hash, V value) {
      if (isOutgrown(first_))
         makeRoom(shape, first_);
      U32 place = used_;
      if (isTable()) {
         for (place = home(hash); isLive(node(place).number);)
            place = next(place);
         order()[used_] = place;
      }
      ++live_;
      return *std::construct_at(&node(place), Node{++used_, key, value});
   }

   bool isStruckOut(U32 at) const { return isTable() ? order()[at] == struckOut : !isLive(node(at).number); }
   void forgetIfEmpty() {
      if (live_ == 0 && walks_ == 0)
         drop(shape, first_);
   }

   alignas(Node) mutable U8 first_[sizeof(Node)];
};

template <class K, class V>
class FlatMap<K, V>::Walk {
  public:
   explicit Walk(const FlatMap& map) : map_(&const_cast<FlatMap&>(map)) {
      ++map_->walks_;
      look();
   }
   Walk(Walk&& other) noexcept
       : map_(std::exchange(other.map_, nullptr)), at_(other.at_), here_(other.here_) {}
   Walk& operator=(Walk&&) = delete;
   ~Walk() {
      if (!map_)
         return;
      --map_->walks_;
      map_->forgetIfEmpty();
   }
   const Entry& operator*() const { return here_; }
   Walk& operator++() {
      ++at_;
      look();
      return *this;
   }
   bool operator==(std::nullptr_t) const { return at_ >= map_->used_; }

  private:
   /// Goes on to the next entry that is there, and takes its copy.
   void look() {
      while (at_ < map_->used_ && map_->isStruckOut(at_))
         ++at_;
      if (at_ >= map_->used_)
         return;
      U32 place = at_;
      if (map_->isTable()) {
         constexpr U32 ahead = 12; // what stands here was added one after the other, and stands anywhere
         const U32* const order = map_->order();
         if (at_ + ahead < map_->used_ && order[at_ + ahead] != struckOut)
            __builtin_prefetch(&map_->node(order[at_ + ahead]));
         place = order[at_];
      }
      const Node& node = map_->node(place);
      here_.key = node.key;
      here_.value = node.value;
   }

   FlatMap* map_; ///< which holds the number of its walks, and forgets what was removed under them
   U32 at_ = 0;
   Entry here_{};
};

} // namespace Vok
