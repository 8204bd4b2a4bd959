#include <gtest/gtest.h>

#include "Pooltab/test/Stepped.h"
#include "Pooltab/test/TestTables.h"

#include <map>

/// Stops a writer after every store of every kind of change, and a reader after every few instructions of a
/// lookup: what the other side finds then must be the row before or the row after, and the next writer must
/// find a whole table.

namespace PooltabTest {
namespace {

using Rows = std::map<TestKey, std::pair<unsigned, U64>>;

Rows walk(const TableReader<VariableRow>& table) {
   Rows found;
   for (const VariableRow& row : table)
      found[row.rowKey()] = row.content();
   return found;
}

/// The bytes of all files of a pool: tells whether the writer has stored something.
class Bytes {
  public:
   explicit Bytes(const Folder& folder) {
      for (const std::string& name : folder.names())
         if (name != "lock" && name != "doorbell") {
            // Headers, journal, ring and all the rows that these tests write stand in the first part of each
            // file.
            const Descriptor file = folder.open(name, Access::read);
            const U64 bytes = std::min<U64>(fileBytes(file), 64 << 10);
            files_.push_back({Mapping(file, bytes, Access::read, name), std::vector<std::byte>(bytes)});
         }
      hasChanged();
   }
   bool hasChanged() {
      bool changed = false;
      for (auto& [now, before] : files_)
         if (std::memcmp(now.data(), before.data(), before.size()) != 0) {
            std::memcpy(before.data(), now.data(), before.size());
            changed = true;
         }
      return changed;
   }

  private:
   std::vector<std::pair<Mapping, std::vector<std::byte>>> files_;
};

struct Scenario {
   const char* name;
   TestKey key; ///< what the step changes
   std::function<void(TableWriter<VariableRow>&)> work;
};

/// 300 rows of all sizes, 20 of them deleted again: room for reuse and for splitting, and a well filled
/// index.
Rows fill(const std::shared_ptr<Folder>& folder) {
   PoolWriter pool(folder, smallLog);
   TableWriter<VariableRow> table(pool, "t");
   Rows model;
   for (U32 i = 0; i < 300; ++i) {
      const TestKey key{i, i % 3};
      table.is(VariableRow::make(key, i % 25, i));
      model[key] = {i % 25, i % 25 ? i : 0};
   }
   for (U32 i = 0; i < 300; i += 15) {
      table.del({i, i % 3});
      model.erase({i, i % 3});
   }
   return model;
}

void checkReader(const TableReader<VariableRow>& reader, const Rows& before, const Rows& after,
                 const TestKey& changed) {
   Rows walked = walk(reader);
   const auto contentIn = [](const Rows& model, const TestKey& key) {
      const auto found = model.find(key);
      return found == model.end() ? Rows::mapped_type(999, 0) : found->second;
   };
   const std::optional<VariableRow> row = reader.find(changed);
   const Rows::mapped_type now = row ? row->content() : Rows::mapped_type(999, 0);
   ASSERT_TRUE(now == contentIn(before, changed) || now == contentIn(after, changed));
   const Rows::mapped_type seen = contentIn(walked, changed);
   ASSERT_TRUE(seen == contentIn(before, changed) || seen == contentIn(after, changed));
   walked.erase(changed);
   Rows others = before;
   others.erase(changed);
   ASSERT_EQ(walked, others);
   for (const auto& [key, content] : others)
      ASSERT_EQ(reader.lookup(key).content(), content) << key.index;
}

void checkNextWriter(const TestRoot& root, const Rows& before, const Rows& after) {
   const TestRoot copy;
   std::filesystem::copy(root.path(), copy.path(), std::filesystem::copy_options::recursive);
   std::filesystem::permissions(copy.path() + "/p", std::filesystem::perms(0750));
   for (const auto& file : std::filesystem::directory_iterator(copy.path() + "/p"))
      std::filesystem::permissions(file.path(), std::filesystem::perms(0640));
   const auto folder = copy.pool();
   {
      PoolWriter pool(folder, smallLog);
      TableWriter<VariableRow> table(pool, "t");
      PoolReader readerPool(folder);
      const Rows adopted = walk(TableReader<VariableRow>(readerPool, "t"));
      ASSERT_TRUE(adopted == before || adopted == after);
      ASSERT_TRUE(isClean<VariableRow>(*folder, "t"));
      for (U32 i = 0; i < 30; ++i)
         table.is(VariableRow::make({i, 0}, i, 7));
      ASSERT_TRUE(isClean<VariableRow>(*folder, "t"));
   }
}

TEST(Step, WriterStoppedAfterEveryStore) {
   if (!Stepped::isPossible() || !Stepped::isQuick)
      GTEST_SKIP() << "needs a system that lets a process trace its child, and a build without sanitizers";
   const auto is = [](const TestKey& key, unsigned length) {
      return [=](TableWriter<VariableRow>& table) { table.is(VariableRow::make(key, length, 77)); };
   };
   const auto del = [](const TestKey& key) {
      return [=](TableWriter<VariableRow>& table) { table.del(key); };
   };
   const Scenario scenarios[] = {
       {"insert into a free block", {1000, 0}, is({1000, 0}, 0)},
       {"insert into a split block", {1001, 0}, is({1001, 0}, 15)},
       {"insert at the tail", {1002, 0}, is({1002, 0}, 150)},
       {"overwrite with the same size", {7, 1}, is({7, 1}, 7)},
       {"overwrite with less", {13, 1}, is({13, 1}, 11)},
       {"move to a larger block", {8, 2}, is({8, 2}, 24)},
       {"move to a smaller block", {24, 0}, is({24, 0}, 1)},
       {"delete", {1, 1}, del({1, 1})},
       {"delete among neighbours", {17, 2}, del({17, 2})},
       {"delete and close a gap", {104, 2}, del({104, 2})},
       {"delete of a large row", {149, 2}, del({149, 2})},
   };
   for (const Scenario& scenario : scenarios) {
      SCOPED_TRACE(scenario.name);
      const TestRoot root;
      const Rows before = fill(root.pool());
      Rows after = before;
      std::unique_ptr<PoolWriter> pool;
      std::optional<TableWriter<VariableRow>> table;
      Stepped writer(
          [&] {
             pool = std::make_unique<PoolWriter>(root.pool(), smallLog);
             table.emplace(*pool, "t");
          },
          [&] {
             scenario.work(*table);
             return 0;
          });
      {
         // What the change leads to, from a table of the same content.
         const auto folder = privateFolder("p");
         fill(folder);
         PoolWriter same(folder, smallLog);
         TableWriter<VariableRow> sameTable(same, "t");
         scenario.work(sameTable);
         after.clear();
         for (const VariableRow& row : sameTable)
            after[row.rowKey()] = row.content();
         ASSERT_NE(after, before);
      }
      PoolReader readerPool(root.pool());
      const TableReader<VariableRow> reader(readerPool, "t");
      Bytes bytes(*root.pool());
      int stores = 0;
      // The files are looked at only every few instructions: two stores are never nearer than that often
      // enough.
      while (writer.step()) {
         if (!bytes.hasChanged())
            continue;
         ++stores;
         checkReader(reader, before, after, scenario.key);
         checkNextWriter(root, before, after);
         if (HasFatalFailure())
            return;
      }
      EXPECT_GT(stores, 15);
      ASSERT_EQ(walk(reader), after);
   }
}

/// Readers number the tables of a pool by name whenever something is new: at no moment may a writer that
/// takes a table over hide it from them.
TEST(Step, ATableThatIsTakenOverKeepsItsName) {
   if (!Stepped::isPossible() || !Stepped::isQuick)
      GTEST_SKIP() << "needs a system that lets a process trace its child, and a build without sanitizers";
   const TestRoot root;
   fill(root.pool());
   std::unique_ptr<PoolWriter> pool;
   Stepped writer([&] { pool = std::make_unique<PoolWriter>(root.pool(), smallLog); },
                  [&] {
                     pool->store("t", shapeOf<VariableRow>());
                     return 0;
                  });
   PoolReader reader(root.pool());
   Bytes bytes(*root.pool());
   while (writer.step())
      if (bytes.hasChanged()) {
         ASSERT_EQ(reader.tables().size(), 1u);
         ASSERT_EQ(reader.tables()[0].name, "t");
      }
}

/// Three groups of eight neighbours with one home: each stands behind the one before. Deleting a group moves
/// those behind it one line towards their home, past a reader that is on its way to them.
class MovingKeys {
  public:
   MovingKeys() : pool_(root_.pool(), smallLog), table_(pool_, "t") {
      const auto homeOf = [&](U32 domain) {
         const TestKey key{0, domain};
         return tagOf<TestKey>(Packed<TestKey>(key).words(), table_.store().seed()) >> 26;
      };
      for (U32 domain = 0; domains_.size() < 3; ++domain)
         if (homeOf(domain) == homeOf(0))
            domains_.push_back(domain);
   }

   struct Outcome {
      bool found;
      int steps; ///< counted up to the second deletion
   };
   /// Looks up the last key of the last group, deleting the first group after `first` instructions of the
   /// lookup and the second after `second`.
   Outcome lookUp(int first, int second) {
      for (const U32 domain : domains_)
         delGroup(domain);
      for (const U32 domain : domains_)
         for (U32 i = 0; i < 8; ++i)
            table_.is(FixedRow{{i, domain}, i});
      const TestKey wanted{7, domains_[2]};
      std::optional<PoolReader> pool;
      std::optional<TableReader<FixedRow>> reader;
      Stepped process(
          [&] {
             pool.emplace(root_.pool());
             reader.emplace(*pool, "t");
             reader->has(wanted); // binds the functions that are bound late, which are many instructions
          },
          [&] { return reader->has(wanted) ? 0 : 1; });
      int steps = 0;
      for (bool running = true; running && steps <= second; ++steps) {
         if (steps == first)
            delGroup(domains_[0]);
         if (steps == second)
            delGroup(domains_[1]);
         running = process.step();
      }
      return {process.finish() == 0, steps};
   }

  private:
   void delGroup(U32 domain) {
      for (U32 i = 0; i < 8; ++i)
         table_.del({i, domain});
   }

   TestRoot root_;
   PoolWriter pool_;
   TableWriter<FixedRow> table_;
   std::vector<U32> domains_;
};

TEST(Step, KeyThatMovesPastTheReaderIsNotMissed) {
   if (!Stepped::isPossible() || !Stepped::isQuick)
      GTEST_SKIP() << "needs a system that lets a process trace its child, and a build without sanitizers";
   MovingKeys keys;
   constexpr int never = 1 << 30;
   // The move that costs the reader most is one that its first look misses.
   int worst = 0, most = 0, quiet = keys.lookUp(never, never).steps;
   for (int first = 0; first < quiet; ++first) {
      const auto [found, steps] = keys.lookUp(first, never);
      ASSERT_TRUE(found) << "after " << first << " instructions";
      if (steps > most) {
         most = steps;
         worst = first;
      }
   }
   ASSERT_GT(most, quiet) << "no move went past the reader";
   for (int second = worst; second < most; second += 5)
      ASSERT_TRUE(keys.lookUp(worst, second).found)
          << "after " << worst << " and " << second << " instructions";
}

} // namespace
} // namespace PooltabTest
