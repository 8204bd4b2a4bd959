#include <gtest/gtest.h>

#include "Pooltab/test/TestTables.h"

#include <fcntl.h>
#include <random>
#include <set>

/// Damaged files, byte by byte and in bulk: a reader then has a row that was written, no row, or the error;
/// it never crashes, hangs or reads a row that nobody wrote.

namespace PooltabTest {
namespace {

constexpr U32 keys = 60;

unsigned lengthOf(U32 index) {
   return index % 7 ? index % 5 : 100;
}

class Damaged {
  public:
   Damaged() {
      PoolWriter pool(root_.pool(), smallLog);
      TableWriter<VariableRow> table(pool, "t");
      for (U32 i = 0; i < keys; ++i)
         table.is(VariableRow::make({i, 0}, lengthOf(i), i));
      for (U32 i = 0; i < keys; ++i)
         if (i % 10 == 3)
            table.del({i, 0});
         else
            table.is(VariableRow::make({i, 0}, lengthOf(i), i)); // fills the journal
   }
   std::string path(const std::string& file) const { return root_.path() + "/p/" + file; }
   std::shared_ptr<Folder> folder() const { return root_.pool(); }

   void write(const std::string& file, U64 offset, const void* bytes, std::size_t length) const {
      const Descriptor opened(open(path(file).c_str(), O_RDWR));
      ASSERT_EQ(pwrite(opened.fd(), bytes, length, static_cast<off_t>(offset)), static_cast<ssize_t>(length));
   }
   std::vector<U8> read(const std::string& file) const {
      const Descriptor opened(open(path(file).c_str(), O_RDONLY));
      std::vector<U8> bytes(fileBytes(opened));
      EXPECT_EQ(pread(opened.fd(), bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
      return bytes;
   }

   /// Everything a reader can do. Returns how many errors it met.
   static int readAll(PoolReader& pool, const TableReader<VariableRow>& table) {
      int errors = 0;
      const auto check = [](const VariableRow& row) {
         const auto [length, value] = row.content();
         ASSERT_LT(row.key.index, keys);
         ASSERT_EQ(length, lengthOf(row.key.index));
         ASSERT_EQ(value, length ? row.key.index : 0);
      };
      const auto guarded = [&](auto&& work) {
         try {
            work();
         } catch (const Vok::CorruptionDetectedError&) {
            ++errors;
         }
      };
      for (U32 i = 0; i < keys; ++i)
         guarded([&] {
            VariableRow row;
            if (table.find({i, 0}, row))
               check(row);
         });
      guarded([&] {
         U64 slot = 0;
         for (VariableRow row; table.walk(slot, row);)
            check(row);
      });
      guarded([&] { pool.deliver(100); });
      return errors;
   }

   /// A reader that has everything mounted already, and one that comes now.
   void readOldAndNew() {
      readAll(mountedPool_, mounted_);
      PoolReader pool(folder());
      readAll(pool, TableReader<VariableRow>(pool, "t"));
      verifyTable<VariableRow>(*folder(), "t"); // reports, and raises nothing
   }

  private:
   TestRoot root_;
   PoolReader mountedPool_{root_.pool()};
   TableReader<VariableRow> mounted_{mountedPool_, "t"};
};

TEST(Corruption, EveryByteOfEveryFile) {
   Damaged table;
   std::mt19937 random(11);
   std::vector<std::string> names = table.folder()->names();
   std::erase(names, "lock");
   std::erase(names, "doorbell");
   ASSERT_EQ(names.size(), 3u);
   for (const std::string& name : names) {
      const std::vector<U8> bytes = table.read(name);
      for (U64 at = 0; at < bytes.size(); ++at) {
         // Nothing is known to stand in long stretches of zeroes: a few samples of them do.
         if (bytes[at] == 0 && at > sizeof(Preamble) + 128 && random() % 64 != 0)
            continue;
         SCOPED_TRACE(name + " byte " + std::to_string(at));
         const U8 damage = bytes[at] ^ static_cast<U8>(random() % 255 + 1);
         table.write(name, at, &damage, 1);
         table.readOldAndNew();
         table.write(name, at, &bytes[at], 1);
         if (HasFatalFailure())
            return;
      }
   }
   ASSERT_TRUE(isClean<VariableRow>(*table.folder(), "t"));
}

TEST(Corruption, IndexThatCannotBeGrown) {
   const TestRoot root;
   const auto fill = [](TableWriter<FixedRow>& table, U32 from, U32 to) {
      for (U32 i = from; i < to; ++i)
         table.is(FixedRow{{i, 0}, i});
   };
   U32 capacity;
   {
      PoolWriter pool(root.pool(), smallLog);
      TableWriter<FixedRow> table(pool, "t");
      capacity = static_cast<U32>(table.store().capacity());
      fill(table, 0, capacity);
   }
   const Descriptor file = root.pool()->open("t.index.1", Access::write);
   Mapping index(file, fileBytes(file), Access::write, "index");
   for (U64 at = indexHeaderBytes; at < index.bytes(); at += sizeof(Word))
      index.at<Word>(at) &= ~(Word{7} << 32); // tags that all want the same place of their lines
   PoolWriter pool(root.pool(), smallLog);
   TableWriter<FixedRow> table(pool, "t");
   EXPECT_THROW(fill(table, capacity, capacity + 1), Vok::CorruptionDetectedError);
}

TEST(Corruption, RandomBytesInBulk) {
   std::mt19937 random(12);
   for (int round = 0; round < 40; ++round) {
      Damaged table;
      for (const std::string& name : table.folder()->names()) {
         if (name == "lock" || name == "doorbell" || random() % 3 == 0)
            continue;
         std::vector<U8> bytes = table.read(name);
         const U64 from = random() % (random() % 2 ? 300 : bytes.size());
         const U64 length = std::min<U64>(random() % (random() % 2 ? 64 : 100000), bytes.size() - from);
         for (U64 at = from; at < from + length; ++at)
            bytes[at] = static_cast<U8>(random());
         table.write(name, from, &bytes[from], length);
      }
      table.readOldAndNew();
      // The next writer either takes over or says why not.
      try {
         PoolWriter pool(table.folder(), smallLog);
         TableWriter<VariableRow> writer(pool, "t");
      } catch (const Vok::Error&) {
      }
   }
}

TEST(Corruption, ARowPutBackInAnotherPlaceOrTimeIsFound) {
   const auto folder = privateFolder("p");
   PoolWriter pool(folder);
   TableWriter<FixedRow> table(pool, "t");
   for (U32 i = 0; i < 3; ++i)
      table.is(FixedRow{{i, 0}, 1});
   const Mapping file(folder->open("t.rows", Access::write), 64 << 10, Access::write, "t.rows");
   U8* const rows = &file.at<U8>(rowsHeaderBytes);
   constexpr std::size_t stride = fixedBlockBytes(FixedRow::packedSize);
   std::array<U8, stride> old;
   std::memcpy(old.data(), rows, stride);
   table.is(FixedRow{{0, 0}, 2});
   PoolReader readerPool(folder);
   const TableReader<FixedRow> reader(readerPool, "t");
   EXPECT_EQ(reader.lookup({0, 0}).value, 2u);
   // A row copied to another slot.
   std::memcpy(rows + stride, rows, stride);
   EXPECT_THROW(reader.find({1, 0}), Vok::CorruptionDetectedError);
   // An older row of the same slot fits its own checksum; the running sum tells.
   std::memcpy(rows, old.data(), stride);
   const TableReport report = verifyTable<FixedRow>(*folder, "t");
   EXPECT_TRUE(report.sumDiffers);
   EXPECT_EQ(report.tornRows, 1u);
}

/// Whoever takes over clears free blocks and what a dead writer left, and must not do so beyond the table,
/// where the file may have no memory.
TEST(Corruption, TheNextWriterRefusesABlockThatReachesBeyondTheTable) {
   for (const Step step : {Step::none, Step::insert}) {
      const auto folder = privateFolder("p");
      {
         PoolWriter pool(folder);
         TableWriter<VariableRow> table(pool, "t");
         for (U32 i = 0; i < 3; ++i)
            table.is(VariableRow::make({i, 0}, 1, 1));
         table.del({2, 0});
      }
      const Mapping file(folder->open("t.rows", Access::write), 64 << 10, Access::write, "t.rows");
      auto& header = file.at<RowsHeader>();
      const U64 last = header.tail - blockUnitBytes / granuleBytes;
      header.step = static_cast<Word>(step);
      header.slot = last;
      auto& head = file.at<RowHead>(slotOffset(last));
      ASSERT_EQ(stampBytes(head.stamp), blockUnitBytes);
      head.stamp = stampOf(0, blockBytesMax);
      PoolWriter pool(folder);
      EXPECT_THROW(TableWriter<VariableRow>(pool, "t"), Vok::CorruptionDetectedError);
   }
}

/// As a writer leaves it that ran out of memory, or was killed, while its file grew.
TEST(Corruption, HolesAreFilledBeforeTheyAreUsed) {
   const TestRoot root;
   const std::string path = root.path() + "/p/t.rows";
   constexpr U32 rows = 2000;
   PoolWriter(root.pool()).store("t", shapeOf<FixedRow>());
   std::filesystem::resize_file(path, 1 << 20);
   PoolWriter pool(root.pool());
   TableWriter<FixedRow> table(pool, "t");
   for (U32 i = 0; i < rows; ++i)
      table.is(FixedRow{{i, 0}, i});
   const Descriptor file(open(path.c_str(), O_RDONLY));
   const U64 used = slotOffset(0) + rows * fixedBlockBytes(FixedRow::packedSize);
   EXPECT_GT(lseek(file.fd(), 0, SEEK_HOLE), static_cast<off_t>(used + (16 << 10)))
       << "memory is there only where rows were stored";
}

} // namespace
} // namespace PooltabTest
