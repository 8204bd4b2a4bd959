// The maps behind attributes, against plain models, with walks under way while the maps change.
#include "Vok/HashMap.h"
#include "Vok/IndexedArray.h"
#include "Vok/OrderedMap.h"

#include <gtest/gtest.h>

#include <list>
#include <map>
#include <random>

namespace {

using Vok::U32;

/// A model of insertion order: what HashMap promises to be.
class InsertionOrder {
  public:
   bool is(U32 key, int value) {
      for (auto& entry : entries_) {
         if (entry.first == key)
            return std::exchange(entry.second, value) != value;
      }
      entries_.emplace_back(key, value);
      return true;
   }
   bool del(U32 key) {
      return std::erase_if(entries_, [&](const auto& entry) { return entry.first == key; }) > 0;
   }
   const std::vector<std::pair<U32, int>>& entries() const { return entries_; }

  private:
   std::vector<std::pair<U32, int>> entries_;
};

template <class Map>
std::vector<std::pair<U32, int>> walked(const Map& map) {
   std::vector<std::pair<U32, int>> entries;
   for (const auto& entry : map)
      entries.emplace_back(entry.key, entry.value);
   return entries;
}

using FlatMap = Vok::FlatMap<U32, int>;
using IndexedMap = Vok::IndexedMap<U32, int>;

template <class Map>
class HashMap : public testing::Test {};
using HashMaps = testing::Types<FlatMap, IndexedMap>;
TYPED_TEST_SUITE(HashMap, HashMaps);

TYPED_TEST(HashMap, EqualsItsModelInContentAndOrder) {
   for (const U32 keys : {6u, 40u, 400u}) {
      std::mt19937 random(keys);
      TypeParam map;
      InsertionOrder model;
      for (int step = 0; step < 6000; ++step) {
         const U32 key = random() % keys;
         if (random() % 3 != 0) {
            const int value = static_cast<int>(random() % 3);
            ASSERT_EQ(map.is(key, value), model.is(key, value));
         } else {
            ASSERT_EQ(map.del(key), model.del(key));
         }
         ASSERT_EQ(map.size(), model.entries().size());
         if (step % 97 == 0) {
            ASSERT_EQ(walked(map), model.entries());
            for (const auto& [key, value] : model.entries())
               ASSERT_EQ(*map.find(key), value);
            ASSERT_EQ(map.find(keys), nullptr);
         }
      }
   }
}

/// Emptied, a map forgets what it was, and memory made for many does not stay for few.
template <class Map, class KeyOf>
void fillAndEmpty(KeyOf keyOf) {
   Map map;
   for (const U32 count : {1000u, 1000u, 3u, 12u, 5000u, 1u, 400u}) {
      for (U32 key = 0; key < count; ++key)
         ASSERT_TRUE(map.is(keyOf(key), key));
      for (U32 key = 0; key < count; ++key) {
         ASSERT_EQ(*map.find(keyOf(key)), key);
         ASSERT_TRUE(map.del(keyOf(key)));
         ASSERT_FALSE(map.has(keyOf(key)));
         ASSERT_EQ(map.has(keyOf(key + 1)), key + 1 < count);
      }
      ASSERT_TRUE(map.empty() && map.begin() == map.end());
   }
}

TEST(HashMaps, AreFilledAndEmptiedOverAndOver) {
   fillAndEmpty<Vok::FlatMap<U32, U32>>([](U32 key) { return key * 16; });
   fillAndEmpty<Vok::IndexedMap<Vok::String, U32>>([](U32 key) { return std::to_string(key); });
}

/// The map grows from one entry to thousands under its walk, which sees all that stayed, in order.
TYPED_TEST(HashMap, IsWalkedToTheEndOfWhatIsAddedMeanwhile) {
   constexpr U32 last = 3000;
   TypeParam map;
   map.is(0, 0);
   U32 expected = 0;
   for (const auto& entry : map) {
      ASSERT_EQ(entry.key, expected);
      for (U32 key = entry.key + 1; key <= std::min(entry.key + 5, last); ++key)
         map.is(key, 0);
      map.del(entry.key);
      map.del(entry.key + 1); // before it is reached
      expected += 2;
      ASSERT_EQ(walked(map).size(), map.size());
   }
   EXPECT_GE(expected, last);
}

TEST(OrderedMap, EqualsItsModelInContentAndOrder) {
   std::mt19937 random(7);
   Vok::OrderedMap<U32, int> map;
   std::map<U32, int> model;
   for (int step = 0; step < 5000; ++step) {
      const U32 key = random() % 60;
      if (random() % 2 != 0) {
         const auto found = model.find(key);
         ASSERT_EQ(map.is(key, step % 2), found == model.end() || found->second != step % 2);
         model[key] = step % 2;
      } else {
         ASSERT_EQ(map.del(key), model.erase(key) == 1);
      }
      ASSERT_EQ(walked(map), (std::vector<std::pair<U32, int>>(model.begin(), model.end())));
   }
}

/// A list of one element stands in place, one of more does not: from each to each.
TEST(OrderedMap, IsCopiedAndMovedAtEverySize) {
   using Map = Vok::OrderedMap<Vok::Name, Vok::String>;
   const auto made = [](U32 size) {
      Map map;
      for (U32 key = size; key-- > 0;)
         map.is(std::to_string(key) + " is a name that does not stand in place", "value");
      return map;
   };
   for (U32 from = 0; from < 4; ++from)
      for (U32 to = 0; to < 4; ++to) {
         const Map wanted = made(from);
         Map copied = made(to), moved = made(to), source = wanted;
         copied = wanted;
         moved = std::move(source);
         const Map last = std::move(moved);
         EXPECT_TRUE(copied == wanted && last == wanted && copied.size() == from);
         EXPECT_TRUE(source.empty() && moved.empty()); // NOLINT(bugprone-use-after-move): it is promised
         source.is("again", "value");
         EXPECT_EQ(source.size(), 1u);
      }
}

/// Every key that stands in the map from a walk's start to its end is seen exactly once, and one that was
/// removed before it was reached is never seen, whatever the walk's body does.
template <class Map>
void walkWhileChanging(unsigned seed) {
   std::mt19937 random(seed);
   Map map;
   for (U32 key = 0; key < 100; ++key)
      map.is(key, 0);
   std::map<U32, bool> stayed; // key -> there all along
   for (const auto& entry : map)
      stayed[entry.key] = true;
   std::map<U32, int> seen;
   int budget = 300;
   for (const auto& entry : map) {
      const U32 here = entry.key;
      ASSERT_TRUE(map.has(here));
      ++seen[here];
      for (int change = 0; change < 3 && budget > 0; ++change, --budget) {
         const U32 key = random() % 130;
         if (random() % 2 != 0) {
            map.is(key, budget);
         } else {
            map.del(key);
            stayed[key] = false;
         }
      }
   }
   for (const auto& [key, there] : stayed) {
      if (there) {
         EXPECT_EQ(seen[key], 1) << key;
      }
   }
}

TEST(Walks, SurviveAnyChange) {
   for (unsigned seed = 0; seed < 50; ++seed) {
      walkWhileChanging<FlatMap>(seed);
      walkWhileChanging<IndexedMap>(seed);
      walkWhileChanging<Vok::OrderedMap<U32, int>>(seed);
   }
}

TEST(IndexedMap, ReferencesStayValidWhileAWalkIsUnderWay) {
   Vok::IndexedMap<Vok::String, Vok::String> map;
   for (int i = 0; i < 20; ++i)
      map.is("key number " + std::to_string(i), "value number " + std::to_string(i));
   int number = 0;
   for (const auto& [key, value] : map) {
      if (number == 20)
         break;
      map.del(key);
      EXPECT_EQ(key, "key number " + std::to_string(number++));
      map.is("another key " + std::to_string(number), "x");
   }
   EXPECT_EQ(map.size(), 20u);
}

TEST(Hash, TextsMixAsWordsOfTheirBytes) {
   std::mt19937 random(5);
   for (std::size_t size = 1; size < 40; ++size) {
      std::vector<Vok::U8> bytes(size); // on the heap, where a byte read too many is found
      Vok::Hash expected, hash;
      for (std::size_t at = 0; at < size; at += 8) {
         Vok::U64 word = 0;
         for (std::size_t i = at; i < std::min(size, at + 8); ++i)
            word |= Vok::U64(bytes[i] = static_cast<Vok::U8>(random())) << (8 * (i - at));
         expected.mix(word);
      }
      expected.mix(Vok::U64(size));
      hash.mix(bytes.data(), size);
      EXPECT_EQ(hash.result(), expected.result()) << size;
   }
}

struct Slot : Vok::BoundedNumber<Slot, Vok::U8, 2, 9, 2> {
   using BoundedNumber::BoundedNumber;
   static constexpr const char* rangeText = "Slot::value < Slot::min or > Slot::max not allowed";
};

TEST(IndexedArray, KeepsSlotsCountAndLimit) {
   Vok::IndexedArray<U32, Slot> array;
   std::map<int, U32> model; // slot -> value, set ones only
   std::mt19937 random(3);
   for (int step = 0; step < 3000; ++step) {
      const int slot = 2 + static_cast<int>(random() % 8);
      const U32 value = random() % 3;
      const U32 before = model.contains(slot) ? model[slot] : 0;
      ASSERT_EQ(array.is(Slot(slot), value), before != value);
      if (value == 0)
         model.erase(slot);
      else
         model[slot] = value;
      ASSERT_EQ(array.size(), model.size());
      ASSERT_EQ(array.limit(), model.empty() ? 0u : static_cast<unsigned>(model.rbegin()->first - 1));
      std::map<int, U32> set;
      for (const auto [index, held] : array)
         set[index.value()] = held;
      ASSERT_EQ(set, model);
      const auto copy = array;
      ASSERT_TRUE(copy == array);
   }
   for (const int outside : {-1, 1, 10, 258})
      EXPECT_THROW((void)array.get(Slot(outside)), Vok::RangeError) << outside;
}

} // namespace
