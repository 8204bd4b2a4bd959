#include <gtest/gtest.h>

#include "Pooltab/test/TestTables.h"

#include <map>
#include <random>
#include <set>

/// Random operations against a map: the table, its reader, its walk, its change log and its verification must
/// agree with it, in shared and in private memory, across takeovers.

namespace PooltabTest {
namespace {

struct Content {
   unsigned length;
   U64 value;
   bool operator==(const Content&) const = default;
};
using Model = std::map<TestKey, Content>;

FixedRow makeRow(const TestKey& key, const Content& content, const FixedRow*) {
   FixedRow row;
   row.key = key;
   row.value = content.value;
   return row;
}
VariableRow makeRow(const TestKey& key, const Content& content, const VariableRow*) {
   return VariableRow::make(key, content.length, content.value);
}
Content contentOf(const FixedRow& row) {
   return {0, row.value};
}
Content contentOf(const VariableRow& row) {
   return {row.content().first, row.content().second};
}

/// Follows the change log as a reader would: every key told of is read afresh.
template <class Row>
class Follower : public TableListener {
  public:
   explicit Follower(PoolReader& pool) : table_(pool, "t") { table_.view().listenerIs(this); }

   void onChange(TableView&, const Change& change) override {
      TestKey key;
      ASSERT_TRUE(Vok::rowLoad(key, change.key, change.keyBytes));
      Row row;
      if (table_.find(key, row))
         seen[key] = contentOf(row);
      else
         seen.erase(key);
   }
   void onCollection(TableView&) override {
      ++collections;
      seen = walk();
   }
   void onMountStatus(TableView&) override { ++mounts; }

   Model walk() const {
      Model found;
      for (const Row& row : table_)
         EXPECT_TRUE(found.emplace(row.rowKey(), contentOf(row)).second) << "walked twice";
      return found;
   }
   const TableReader<Row>& table() const { return table_; }

   Model seen;
   int collections = 0;
   int mounts = 0;

  private:
   TableReader<Row> table_;
};

template <class Row>
void runModel(const std::shared_ptr<Folder>& folder, unsigned seed, unsigned keys, int turns) {
   std::mt19937 random(seed);
   Model model;
   PoolReader readerPool(folder);
   Follower<Row> follower(readerPool);
   EXPECT_EQ(follower.table().mountStatus(), MountStatus::unmounted);
   for (int takeover = 0; takeover < 3; ++takeover) {
      PoolWriter pool(folder, {.keyBytesMax = 16, .logEntriesLog2 = 12});
      TableWriter<Row> table(pool, "t");
      ASSERT_EQ(table.size(), model.size());
      for (int turn = 0; turn < turns; ++turn) {
         for (unsigned i = 0; i < 200; ++i) {
            const TestKey key{static_cast<U32>(random() % keys), static_cast<U32>(random() % 2)};
            // Deletions prevail in every third turn, so that the table grows and shrinks.
            if (random() % 10 < (turn % 3 == 2 ? 7 : 2)) {
               ASSERT_EQ(table.del(key), model.erase(key) == 1);
               continue;
            }
            const Content content{std::is_same_v<Row, VariableRow>
                                      ? static_cast<U32>(random() % 8 ? random() % 12 : random() % 200)
                                      : 0,
                                  random() % 4};
            const Row row = makeRow(key, content, static_cast<const Row*>(nullptr));
            const auto old = model.find(key);
            const Content stored = contentOf(row);
            if (random() % 2)
               ASSERT_EQ(table.isIfChanged(row), old == model.end() || !(old->second == stored));
            else
               ASSERT_EQ(table.is(row), old == model.end());
            model[key] = stored;
         }
         pool.flush();
         while (readerPool.deliver(1000) == 1000)
            continue;
         ASSERT_EQ(follower.seen, model);
      }
      ASSERT_EQ(follower.walk(), model);
      ASSERT_TRUE(isClean<Row>(*folder, "t"));
      std::vector<TestKey> wanted;
      for (U32 index = 0; index < keys; ++index)
         wanted.push_back({index, index % 2});
      std::size_t expected = 0;
      for (const TestKey& key : wanted) {
         expected += model.contains(key);
         ASSERT_EQ(follower.table().has(key), model.contains(key));
         ASSERT_EQ(table.has(key), model.contains(key));
      }
      EXPECT_EQ(follower.table().findAll(wanted,
                                         [&](std::size_t at, const Row& row) {
                                            EXPECT_EQ(row.rowKey(), wanted[at]);
                                            EXPECT_EQ(contentOf(row), model[wanted[at]]);
                                         }),
                expected);
   }
   // The pool and its table came once; takeovers after a clean end told nothing.
   EXPECT_EQ(follower.mounts, 1);
   EXPECT_EQ(follower.collections, 1);
   PoolWriter pool(folder, {.keyBytesMax = 16, .logEntriesLog2 = 12});
   TableWriter<Row> table(pool, "t");
   table.delAll();
   EXPECT_EQ(table.size(), 0u);
   EXPECT_EQ(follower.walk(), Model());
   EXPECT_TRUE(isClean<Row>(*folder, "t"));
}

TEST(Model, FixedRowsInSharedMemory) {
   const TestRoot root;
   runModel<FixedRow>(root.pool(), 1, 3000, 30);
}
TEST(Model, VariableRowsInSharedMemory) {
   const TestRoot root;
   runModel<VariableRow>(root.pool(), 2, 1500, 30);
}
TEST(Model, FewKeysInPrivateMemory) {
   runModel<FixedRow>(privateFolder("p"), 3, 40, 20);
}
TEST(Model, VariableRowsInPrivateMemory) {
   runModel<VariableRow>(privateFolder("p"), 4, 300, 40);
}

TEST(Model, LargePrefetchedLookupsAndGrowth) {
   const auto folder = privateFolder("p");
   PoolWriter pool(folder);
   TableWriter<FixedRow> table(pool, "t");
   PoolReader readerPool(folder);
   const TableReader<FixedRow> reader(readerPool,
                                      "t"); // mounted on the smallest index, follows all the growing
   constexpr U32 count = 60000;
   std::vector<FixedRow> rows; // each key again soon after, while what was fetched for it is at hand
   std::vector<TestKey> keys(count + 1000);
   for (U32 i = 0; i < keys.size(); ++i)
      keys[i] = {i * 7, 0};
   for (U32 i = 0; i < count; ++i)
      for (const U32 value : {i + 1, i})
         rows.push_back({keys[i], value});
   table.is(rows);
   U64 sum = 0;
   EXPECT_EQ(reader.findAll(keys, [&](std::size_t at, const FixedRow& row) { sum += row.value == at; }),
             count);
   EXPECT_EQ(sum, count);
   EXPECT_EQ(reader.size(), count);
   EXPECT_TRUE(isClean<FixedRow>(*folder, "t"));
}

TEST(Model, KeysThatWantTheSamePlacesMakeTheIndexGrow) {
   const auto folder = privateFolder("p");
   PoolWriter pool(folder);
   TableWriter<FixedRow> table(pool, "t");
   PoolReader readerPool(folder);
   const TableReader<FixedRow> reader(readerPool, "t");
   const U64 capacity = table.store().capacity();
   std::vector<TestKey> keys;
   for (U32 index = 0; keys.size() < capacity / 2; ++index)
      if (const TestKey key{index * 101, index}; (table.spot(key).tag() & 7) == 3)
         keys.push_back(key);
   for (std::size_t i = 0; i < keys.size(); ++i)
      table.is(FixedRow{keys[i], i});
   EXPECT_GT(table.store().capacity(), capacity); // though it was not full
   EXPECT_TRUE(isClean<FixedRow>(*folder, "t"));
   for (std::size_t i = 0; i < keys.size(); i += 2)
      EXPECT_TRUE(table.del(keys[i]));
   for (std::size_t i = 0; i < keys.size(); ++i)
      EXPECT_EQ(reader.lookup(keys[i]).value, i % 2 ? i : 0) << i;
   EXPECT_TRUE(isClean<FixedRow>(*folder, "t"));
}

TEST(Model, KeysInStepsTakeNoMoreIndexThanTheyFill) {
   for (const U32 step : {1u, 8u, 16u, 64u, 256u, 1000u, 4096u}) {
      const auto folder = privateFolder("p");
      PoolWriter pool(folder);
      TableWriter<FixedRow> table(pool, "t");
      constexpr U32 count = 4096;
      for (U32 i = 0; i < count; ++i)
         table.is(FixedRow{{16 + i * step, 0}, i});
      EXPECT_LT(table.store().capacity(), 4 * count) << "in steps of " << step;
   }
}

TEST(Model, KeysWithoutNeighboursAreToldApartByAllTheirBytes) {
   std::set<U32> tags;
   for (U16 key = 0; key < 4096; ++key)
      tags.insert(tagOf<U16>(Packed<U16>(key).words(), 12345));
   EXPECT_GT(tags.size(), 4090u);
}

TEST(Model, LappedReaderIsToldOnceAndGoesOn) {
   const auto folder = privateFolder("p");
   PoolWriter pool(folder, {.keyBytesMax = 8, .logEntriesLog2 = 4});
   TableWriter<FixedRow> table(pool, "t");
   PoolReader readerPool(folder);
   Follower<FixedRow> follower(readerPool);
   for (U64 written = 0; written < 100; written += written % 37 + 1) {
      for (U64 i = 0; i < written % 40; ++i)
         table.is(FixedRow{{static_cast<U32>(i), 0}, written});
      const int before = follower.collections;
      const std::size_t told = readerPool.deliver(1000);
      const bool lapped = written % 40 > 16;
      EXPECT_EQ(told, lapped ? 1 : written % 40) << written;
      EXPECT_EQ(follower.collections - before, lapped) << written;
      EXPECT_EQ(follower.seen, follower.walk());
   }
   // Going back: what the log still has comes again; further back than it reaches, the gap is told.
   const U64 end = readerPool.position();
   for (const U64 back : {1, 16, 17, 1000}) {
      const int before = follower.collections;
      readerPool.positionIs(end > back ? end - back : end + back);
      EXPECT_EQ(readerPool.deliver(1000), back <= 16 ? back : 1);
      EXPECT_EQ(follower.collections - before, back > 16);
      EXPECT_EQ(readerPool.position(), end);
   }
   EXPECT_EQ(follower.table().version({0, 0}), follower.table().version({1, 0}) - 1);
}

} // namespace
} // namespace PooltabTest
