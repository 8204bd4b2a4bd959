#include <gtest/gtest.h>

#include "Pooltab/test/PooltabSample.h"
#include "Pooltab/test/TestTables.h"
#include "Pooltab/VokPooltab.h"

#include <sstream>

/// The tables of an entity, from declaration to notification.

namespace PooltabTest {
namespace {

using namespace PooltabSample;

/// Writes down what it is told.
class Diary : public Board::Notifiee {
  public:
   explicit Diary(const Vok::Ptr<Board>& board) : Board::Notifiee(board), board_(board.get()) {}

   void onPort(const PortKey& key) override {
      text << "port " << key.port() << "=" << board_->port(key).speed() << "; ";
   }
   void onQueues(const PortKey& key) override {
      text << "queues " << key.port() << "=" << board_->queues(key).weights() << "; ";
   }
   void onPortCollection() override { text << "ports; "; }
   void onQueuesCollection() override { text << "queues; "; }
   void onPortMountStatus() override { text << mountStatusName(board_->portControl().mountStatus()) << "; "; }

   std::string taken() {
      const std::string told = text.str();
      text.str("");
      return told;
   }

   std::ostringstream text;

  private:
   Board* board_;
};

Port makePort(Vok::U32 number, Vok::U64 speed) {
   return Port(PortKey(1, number), speed);
}

TEST(Collection, WriterAndReaderNotifyInTheOrderOfWriting) {
   const auto folder = Pooltab::privateFolder("p");
   const auto written = boardFactory("written"), read = boardFactory("read");
   Diary writers(written), readers(read);
   VokPooltab::ReaderMount readerMount(read, folder);
   EXPECT_EQ(readers.taken(), "unmounted; ports; queues; ");
   EXPECT_EQ(read->port(PortKey(1, 7)), Port());
   VokPooltab::WriterMount mount(written, folder);
   EXPECT_EQ(writers.taken(), "mounted; ports; queues; ");
   EXPECT_EQ(readerMount.deliver(100), 0u);
   EXPECT_EQ(readers.taken(), "mounted; ports; queues; ");
   EXPECT_TRUE(readerMount.isMounted());

   Queues queues;
   queues.keyIs(PortKey(1, 7));
   queues.weightIs(QueueIndex(3), 30);
   written->portIs(makePort(7, 100));
   written->queuesIs(queues);
   EXPECT_FALSE(written->portCommit(makePort(7, 100)));
   EXPECT_TRUE(written->portCommit(makePort(7, 200)));
   written->portIs(makePort(8, 10));
   written->portDel(PortKey(1, 8));
   written->portDel(PortKey(1, 9));
   EXPECT_EQ(writers.taken(), "port 7=100; queues 7=1; port 7=200; port 8=10; port 8=0; ");
   // The reader is told of the same changes in the same order, and reads the state as it is now.
   EXPECT_EQ(readerMount.deliver(3), 3u);
   EXPECT_EQ(readers.taken(), "port 7=200; queues 7=1; port 7=200; ");
   EXPECT_EQ(readerMount.deliver(100), 2u);
   EXPECT_EQ(readers.taken(), "port 8=0; port 8=0; ");
   EXPECT_EQ(read->queues(PortKey(1, 7)), queues);
   EXPECT_EQ(read->portControl().statistics().rows, 1u);
   EXPECT_EQ(read->portTable().changeCounter(), written->portTable().changeCounter());

   // Members of a walk may go while it is on.
   for (Vok::U32 number = 20; number < 30; ++number)
      written->portIs(makePort(number, number));
   writers.taken();
   int walked = 0;
   for (const Port& port : written->portEach()) {
      ++walked;
      written->portDel(port.key());
   }
   EXPECT_EQ(walked, 11);
   EXPECT_EQ(written->ports(), 0u);
}

/// Whoever keeps what it knows by key is told of deletions too when changes were lost.
TEST(Collection, AnExactResyncTellsWhatDiffersKeyByKey) {
   const auto folder = Pooltab::privateFolder("p");
   const auto written = boardFactory("written"), read = boardFactory("read");
   const VokPooltab::WriterMount mount(written, folder, {.keyBytesMax = 8, .logEntriesLog2 = 4});
   for (Vok::U32 number = 1; number <= 4; ++number)
      written->portIs(makePort(number, number));
   read->portControl().exactResyncIs(true);
   Diary diary(read);
   VokPooltab::ReaderMount readerMount(read, folder);
   written->portIs(makePort(5, 5));
   readerMount.deliver(100);
   EXPECT_EQ(diary.taken(), "mounted; ports; queues; port 5=5; ");

   const auto loseChanges = [&] {
      for (Vok::U64 speed = 0; speed < 20; ++speed)
         written->portIs(makePort(1, 100 + speed));
   };
   written->portDel(PortKey(1, 2)); // known since the mount
   written->portDel(PortKey(1, 5)); // known from the log
   written->portIs(makePort(4, 40));
   loseChanges();
   written->portIs(makePort(9, 9));
   readerMount.deliver(100);
   EXPECT_EQ(diary.taken(), "port 1=119; port 4=40; port 9=9; port 2=0; port 5=0; queues; ");
   written->portDel(PortKey(1, 9)); // known from the resync
   readerMount.deliver(100);
   EXPECT_EQ(diary.taken(), "port 9=0; ");
   written->portDel(PortKey(1, 3));
   loseChanges();
   readerMount.deliver(100);
   EXPECT_EQ(diary.taken(), "port 1=119; port 3=0; queues; ");
   read->portControl().exactResyncIs(false);
   loseChanges();
   readerMount.deliver(100);
   EXPECT_EQ(diary.taken(), "ports; queues; ");
}

TEST(Collection, WhatChangedBeforeTheLogWasFoundIsTold) {
   const TestRoot root;
   const auto written = boardFactory("written"), read = boardFactory("read");
   VokPooltab::WriterMount mount(written, root.pool());
   const std::filesystem::path log = root.path() + "/p/control";
   std::filesystem::rename(log, log.string() + "-hidden"); // as when the writer is just creating its files
   VokPooltab::ReaderMount readerMount(read, root.pool());
   Diary readers(read);
   readerMount.deliver(100);
   readers.taken();
   written->portIs(makePort(7, 100));
   std::filesystem::rename(log.string() + "-hidden", log);
   readerMount.deliver(100);
   EXPECT_EQ(readers.taken(), "ports; queues; ");
   EXPECT_EQ(read->port(PortKey(1, 7)).speed(), 100u);
}

/// Acts when it has been told of so many things.
class Actor : public Vok::Notifiee {
  public:
   Actor(const Vok::Ptr<Board>& board, int after, std::function<void()> act)
       : Notifiee(board), left_(after), act_(std::move(act)) {}
   void vokOnChange(Vok::AttrId, const void*) override { told(); }
   void vokOnCollection(Vok::AttrId) override { told(); }
   void vokOnMountStatus(Vok::AttrId) override { told(); }

  private:
   void told() {
      if (--left_ == 0)
         std::exchange(act_, nullptr)(); // may end this object
   }
   int left_;
   std::function<void()> act_;
};

/// At each thing that is told, from the first to the last: the observer ends the mount and goes, and the
/// entity with them.
TEST(Collection, WhoeverIsToldMayEndTheMount) {
   for (const bool exact : {false, true}) {
      bool ended = true;
      for (int after = 1; ended; ++after) {
         ended = false;
         const auto folder = Pooltab::privateFolder("p");
         const auto written = boardFactory("written");
         auto read = boardFactory("read");
         read->portControl().exactResyncIs(exact);
         auto readerMount = std::make_unique<VokPooltab::ReaderMount>(read, folder);
         std::unique_ptr<Actor> actor;
         actor = std::make_unique<Actor>(std::exchange(read, nullptr), after, [&] {
            ended = true;
            actor.reset();
            readerMount.reset();
         });
         const VokPooltab::WriterMount mount(written, folder, {.keyBytesMax = 8, .logEntriesLog2 = 4});
         for (const Vok::U64 speeds : {0, 1, 40}) { // the first mount, a change, more of them than are kept
            for (Vok::U64 speed = 0; speed < speeds; ++speed)
               written->portIs(makePort(1 + speed % 2, speed));
            if (readerMount)
               readerMount->deliver(100);
         }
         EXPECT_TRUE(ended || after > 6) << "too little is told";
      }
   }
}

TEST(Collection, OnlyAMountedWriterWrites) {
   const auto board = boardFactory("slot1");
   EXPECT_EQ(board->portControl().mountStatus(), Pooltab::MountStatus::unmounted);
   EXPECT_EQ(board->ports(), 0u);
   const auto expectRefusal = [&] {
      try {
         board->portIs(makePort(1, 1));
         ADD_FAILURE() << "wrote";
      } catch (const Vok::Error& error) {
         EXPECT_STREQ(error.what(),
                      "slot1::port: is not mounted for writing (mount it with a PoolWriter first)");
      }
   };
   expectRefusal();
   const auto folder = Pooltab::privateFolder("p");
   {
      const VokPooltab::ReaderMount mount(board, folder);
      expectRefusal();
   }
   {
      const VokPooltab::WriterMount mount(board, folder);
      board->portIs(makePort(1, 1));
      // A second writer is refused, and its entity stays as it was.
      const auto other = boardFactory("slot2");
      EXPECT_THROW(VokPooltab::WriterMount(other, folder), Vok::Error);
      EXPECT_EQ(other->portControl().mountStatus(), Pooltab::MountStatus::unmounted);
   }
   EXPECT_EQ(board->ports(), 0u);
   const VokPooltab::WriterMount again(board, folder);
   EXPECT_EQ(board->port(PortKey(1, 1)), makePort(1, 1)) << "rows outlive the mount";
}

// A row that fits its checksum, under its own key, with a slot count that the array cannot have.
TEST(Collection, ARowWithAFieldThatIsNoneIsGivenByNoWayOfReading) {
   const auto folder = Pooltab::privateFolder("p");
   PoolWriter pool(folder);
   TableWriter<Queues> table(pool, "queues");
   std::vector<PortKey> keys;
   for (Vok::U32 port = 0; port < 3; ++port) {
      Queues row(keys.emplace_back(1, port));
      row.weightIs(QueueIndex(port), 7);
      table.is(row);
   }
   Packed<Queues> damaged(table.lookup(keys[1]));
   Word* const words = const_cast<Word*>(damaged.words());
   reinterpret_cast<Vok::U8*>(words)[Vok::rowBytesMax<PortKey>] = 9;
   table.store().put(table.spot(keys[1]).packed(), damaged.row());

   PoolReader readerPool(folder);
   const TableReader<Queues> reader(readerPool, "queues");
   Queues row;
   EXPECT_THROW(reader.find(keys[1], row), Vok::CorruptionDetectedError);
   EXPECT_THROW(reader.findAll(keys, [](std::size_t, const Queues&) {}), Vok::CorruptionDetectedError);
   EXPECT_THROW(table.find(keys[1], row), Vok::CorruptionDetectedError);
   U64 slot = 0;
   EXPECT_TRUE(reader.walk(slot, row));
   EXPECT_THROW(reader.walk(slot, row), Vok::CorruptionDetectedError);
   EXPECT_TRUE(reader.has(keys[1]));
   for (const Vok::U32 port : {0, 2}) {
      ASSERT_TRUE(reader.find(keys[port], row));
      EXPECT_EQ(row.key(), keys[port]);
      EXPECT_EQ(row.weight(QueueIndex(port)), 7u);
   }
}

TEST(Collection, ReflectionReachesRowsAndControl) {
   const auto board = boardFactory("b");
   const VokPooltab::WriterMount mount(board, Pooltab::privateFolder("p"));
   const Vok::Attribute& attribute = *board->vokEntityType().attribute("port");
   EXPECT_EQ(attribute.typeName, "table<PooltabSample::Port>");
   const Port port = makePort(3, 4);
   attribute.access.put(*board, nullptr, &port);
   EXPECT_EQ(attribute.access.size(*board), 1u);
   EXPECT_EQ(*static_cast<const Port*>(attribute.access.find(*board, &port.rowKey())), port);
   attribute.access.walk(*board, [&](const void* key, const void* row) {
      EXPECT_EQ(*static_cast<const PortKey*>(key), port.key());
      EXPECT_EQ(*static_cast<const Port*>(row), port);
   });
   EXPECT_GT(Pooltab::controlOf(*board, attribute).capacity(), 100u);
   attribute.access.erase(*board, &port.rowKey());
   EXPECT_EQ(board->ports(), 0u);
   std::string heard;
   board->portControl().corruptionHandlerIs([&](const std::string& message) { heard = message; });
   board->portControl().corruptionDetected("torn");
   EXPECT_EQ(heard, "torn");
}

} // namespace
} // namespace PooltabTest
