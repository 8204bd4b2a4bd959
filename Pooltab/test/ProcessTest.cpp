#include <gtest/gtest.h>

#include "Pooltab/PrivateFolder.h"
#include "Pooltab/test/TestTables.h"

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <random>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>

/// Real writers and readers in processes of their own.

namespace PooltabTest {
namespace {

/// Runs `work` in a child, which ends with what it returns.
template <class Work>
pid_t inChild(Work&& work) {
   const pid_t pid = fork();
   if (pid == 0) {
      int result = 99;
      try {
         result = work();
      } catch (const std::exception& error) {
         std::fprintf(stderr, "child: %s\n", error.what());
      }
      _exit(result);
   }
   return pid;
}

int statusOf(pid_t pid) {
   int status = 0;
   waitpid(pid, &status, 0);
   return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// A pair of ends through which two processes take turns.
class Turns {
  public:
   Turns() { EXPECT_EQ(pipe(ends_), 0); }
   ~Turns() {
      close(ends_[0]);
      close(ends_[1]);
   }
   void give() { EXPECT_EQ(write(ends_[1], "x", 1), 1); }
   void await() {
      char byte;
      EXPECT_EQ(read(ends_[0], &byte, 1), 1);
   }

  private:
   int ends_[2];
};

bool isReadable(int descriptor, int milliseconds) {
   pollfd poll{descriptor, POLLIN, 0};
   return ::poll(&poll, 1, milliseconds) == 1;
}

TEST(Process, SecondWriterIsRefusedByNameUntilTheFirstDies) {
   const TestRoot root;
   Turns held;
   const pid_t holder = inChild([&] {
      const PoolWriter pool(root.pool());
      held.give();
      for (;;)
         pause();
      return 0;
   });
   held.await();
   EXPECT_TRUE(root.pool()->isLocked());
   try {
      const PoolWriter second(root.pool());
      FAIL() << "a second writer got in";
   } catch (const Vok::Error& error) {
      EXPECT_NE(std::string(error.what()).find("process " + std::to_string(holder)), std::string::npos)
          << error.what();
   }
   kill(holder, SIGKILL);
   EXPECT_EQ(statusOf(holder), -1);
   EXPECT_FALSE(root.pool()->isLocked());
   EXPECT_EQ(PoolWriter(root.pool()).epoch(), 2u);
}

/// As an operator does who is told to start afresh, be it before the reader looks again or after.
TEST(Process, AReaderFollowsAPoolThatWasRemovedAndMadeAnew) {
   for (const bool looksBetween : {true, false}) {
      const TestRoot root;
      const auto write = [&](U64 value) {
         PoolWriter pool(root.pool());
         TableWriter<FixedRow>(pool, "t").is(FixedRow{{1, 0}, value});
      };
      write(1);
      PoolReader reader(root.pool());
      const TableReader<FixedRow> table(reader, "t");
      const int descriptor = reader.descriptor();
      const auto woken = [&] {
         EXPECT_TRUE(isReadable(descriptor, 0));
         reader.drain();
         reader.deliver(100);
         EXPECT_FALSE(isReadable(descriptor, 0));
      };
      EXPECT_EQ(table.lookup({1, 0}).value, 1u);
      std::filesystem::remove_all(root.path() + "/p");
      if (looksBetween) {
         woken();
         EXPECT_EQ(table.mountStatus(), MountStatus::unmounted);
         EXPECT_FALSE(reader.hasLog());
      }
      for (const U64 value : {2, 3}) {
         write(value);
         woken();
         EXPECT_EQ(table.lookup({1, 0}).value, value);
      }
      EXPECT_EQ(reader.position(), reader.logPosition());
   }
}

TEST(Process, FilesAreForOwnerAndGroupOnly) {
   const TestRoot root;
   const mode_t mask = umask(0);
   {
      PoolWriter pool(root.pool());
      const TableWriter<FixedRow> table(pool, "t");
   }
   umask(mask);
   for (const auto& file : std::filesystem::directory_iterator(root.path() + "/p"))
      EXPECT_EQ(static_cast<int>(file.status().permissions()), 0640) << file.path();
   EXPECT_EQ(static_cast<int>(std::filesystem::status(root.path() + "/p").permissions()), 0750);
}

/// A writer is killed at a random moment, again and again. Readers in two processes check every row they can
/// see all the while; each next writer must find every row whole.
TEST(Process, KilledWritersTearAndLoseNothing) {
   const TestRoot root;
   constexpr U32 keys = 3000;
   const auto readForEver = [&](const std::atomic<bool>& stop) {
      PoolReader pool(root.pool());
      const TableReader<FixedRow> fixed(pool, "fixed");
      const TableReader<VariableRow> variable(pool, "variable");
      std::mt19937 random(static_cast<unsigned>(getpid()));
      while (!stop) {
         pool.deliver(100);
         for (int i = 0; i < 200; ++i) {
            const TestKey key{static_cast<U32>(random() % keys), 0};
            fixed.find(key); // raises when a row is torn
            if (variable.lookup(key).content().first == 1000)
               return 1;
            // These two are there from the beginning and are never deleted, only overwritten and moved.
            if (fixed.size() >= 8 && !(fixed.has({keys + i % 8, 0}) && variable.has({keys + i % 8, 0})))
               return 2;
         }
         U64 slot = 0;
         for (VariableRow row; variable.walk(slot, row);)
            if (row.content().first == 1000)
               return 3;
      }
      return 0;
   };
   {
      PoolWriter pool(root.pool());
      TableWriter<VariableRow> variable(pool, "variable");
      TableWriter<FixedRow> fixed(pool, "fixed");
      for (U32 i = 0; i < 8; ++i) {
         variable.is(VariableRow::make({keys + i, 0}, i, i));
         fixed.is(FixedRow{{keys + i, 0}, i});
      }
   }
   static std::atomic<bool> stop = false;
   pid_t readers[2];
   for (pid_t& reader : readers)
      reader = inChild([&] {
         signal(SIGTERM, [](int) { stop = true; });
         return readForEver(stop);
      });
   std::mt19937 random(7);
   for (int round = 0; round < 25; ++round) {
      Turns writing;
      const unsigned seed = random();
      const pid_t writer = inChild([&] {
         PoolWriter pool(root.pool());
         TableWriter<FixedRow> fixed(pool, "fixed");
         TableWriter<VariableRow> variable(pool, "variable");
         std::mt19937 mine(seed);
         for (unsigned i = 0;; ++i) {
            if (i == 100)
               writing.give();
            const TestKey key{static_cast<U32>(mine() % (keys + 8)), 0};
            if (key.index < keys && mine() % 3 == 0) {
               fixed.del(key);
               variable.del(key);
            } else {
               fixed.is(FixedRow{key, mine() % 100});
               variable.is(VariableRow::make(key, mine() % 30, mine() % 100));
            }
         }
         return 0;
      });
      writing.await();
      // The kill comes after a number of changes, not of microseconds.
      {
         PoolReader pool(root.pool());
         const TableReader<FixedRow> fixed(pool, "fixed");
         const U64 until = fixed.changeCounter() + random() % 3000;
         while (fixed.changeCounter() < until)
            continue;
      }
      kill(writer, SIGKILL);
      EXPECT_EQ(statusOf(writer), -1);
      PoolWriter pool(root.pool());
      const TableWriter<FixedRow> fixed(pool, "fixed");
      const TableWriter<VariableRow> variable(pool, "variable");
      ASSERT_TRUE(isClean<FixedRow>(*root.pool(), "fixed"));
      ASSERT_TRUE(isClean<VariableRow>(*root.pool(), "variable"));
   }
   for (const pid_t reader : readers) {
      kill(reader, SIGTERM);
      EXPECT_EQ(statusOf(reader), 0);
   }
}

/// A sleeping reader is woken once for a burst, sees all of it, and sleeps on; it also wakes for a pool that
/// comes.
TEST(Process, SleepersAreWokenThroughADescriptor) {
   for (const bool inSharedMemory : {true, false}) {
      const TestRoot root;
      const auto folder = inSharedMemory ? root.pool() : privateFolder("p");
      PoolReader reader(folder);
      const TableReader<FixedRow> table(reader, "t");
      EXPECT_FALSE(isReadable(reader.descriptor(), 0));
      PoolWriter pool(folder);
      TableWriter<FixedRow> writer(pool, "t");
      EXPECT_TRUE(isReadable(reader.descriptor(), 5000));
      while (table.mountStatus() != MountStatus::mounted) {
         ASSERT_TRUE(isReadable(reader.descriptor(), 5000));
         reader.drain();
         reader.deliver(1);
      }
      EXPECT_FALSE(isReadable(reader.descriptor(), 0));
      for (U32 i = 0; i < 100; ++i)
         writer.is(FixedRow{{i, 0}, i});
      EXPECT_FALSE(isReadable(reader.descriptor(), 0)) << "woken before the end of the turn";
      pool.flush();
      pool.flush();
      EXPECT_TRUE(isReadable(reader.descriptor(), 5000));
      reader.drain();
      reader.deliver(1);
      EXPECT_FALSE(isReadable(reader.descriptor(), 0)) << "one wake-up for a burst";
      EXPECT_EQ(table.size(), 100u);
      for (U32 i = 0; i < 5000; ++i)
         writer.is(FixedRow{{i, 0}, i + 1});
      EXPECT_TRUE(isReadable(reader.descriptor(), 5000)) << "a long burst rings by itself";
   }
}

/// A folder in which something happens while a listener's doorbell is emptied.
class EventfulFolder : public PrivateFolder {
  public:
   EventfulFolder() : PrivateFolder("p") {}
   std::unique_ptr<Listener> listen() override {
      return std::make_unique<Bell>(*this, PrivateFolder::listen());
   }
   std::function<void()> before = [] {};
   std::function<void()> after = [] {};

  private:
   struct Bell : Listener {
      Bell(EventfulFolder& place, std::unique_ptr<Listener> quiet) : folder(place), inner(std::move(quiet)) {}
      int descriptor() const override { return inner->descriptor(); }
      bool drain() override {
         std::exchange(folder.before, [] {})();
         const bool isThere = inner->drain();
         std::exchange(folder.after, [] {})();
         return isThere;
      }
      EventfulFolder& folder;
      std::unique_ptr<Listener> inner;
   };
};

/// Whoever goes to sleep has been told of everything that was rung for.
TEST(Process, NoWakeUpIsLostWhileTheDoorbellIsEmptied) {
   for (const auto when : {&EventfulFolder::before, &EventfulFolder::after}) {
      const auto folder = std::make_shared<EventfulFolder>();
      PoolWriter pool(folder);
      TableWriter<FixedRow> writer(pool, "t");
      PoolReader reader(folder);
      const int descriptor = reader.descriptor();
      const TableReader<FixedRow> table(reader, "t");
      const TableReader<FixedRow> late(reader, "late");
      const auto wakeWith = [&](const std::function<void()>& event) {
         (*folder).*when = event;
         writer.is(FixedRow{{1, 0}, 1});
         pool.flush();
         for (int turn = 0; turn < 2 && isReadable(descriptor, 0); ++turn) {
            reader.drain();
            reader.deliver(100);
         }
         EXPECT_FALSE(isReadable(descriptor, 0));
      };
      wakeWith([&] {
         writer.is(FixedRow{{1, 0}, 2});
         pool.flush();
      });
      EXPECT_EQ(reader.position(), pool.logPosition());
      EXPECT_EQ(late.mountStatus(), MountStatus::unmounted);
      wakeWith([&] { TableWriter<FixedRow>(pool, "late"); });
      EXPECT_EQ(late.mountStatus(), MountStatus::mounted);
   }
}

TEST(Process, MountStatusSaysWhatIsWrong) {
   const TestRoot root;
   PoolReader early(root.pool());
   const TableReader<FixedRow> waiting(early, "t");
   EXPECT_EQ(waiting.mountStatus(), MountStatus::unmounted);
   EXPECT_FALSE(waiting.has({1, 0}));
   {
      PoolWriter pool(root.pool());
      TableWriter<FixedRow>(pool, "t").is(FixedRow{{1, 0}, 5});
   }
   early.deliver(0);
   EXPECT_EQ(waiting.lookup({1, 0}).value, 5u);
   PoolReader reader(root.pool());
   const TableReader<OtherFixedRow> other(reader, "t");
   EXPECT_EQ(other.mountStatus(), MountStatus::fingerprintMismatch);
   EXPECT_NE(other.mountText().find("declared otherwise"), std::string::npos);
   EXPECT_FALSE(other.has({1, 0}));
   // A writer with the other declaration starts the table anew, and each reader is told.
   PoolWriter pool(root.pool());
   TableWriter<OtherFixedRow>(pool, "t").is(OtherFixedRow());
   early.deliver(0);
   reader.deliver(0);
   EXPECT_EQ(waiting.mountStatus(), MountStatus::fingerprintMismatch);
   EXPECT_FALSE(waiting.has({1, 0}));
   EXPECT_EQ(other.mountStatus(), MountStatus::mounted);
   EXPECT_EQ(other.size(), 1u);

   const auto preambleIs = [&](std::size_t offset, U32 value) {
      const Descriptor file(open((root.path() + "/p/t.rows").c_str(), O_RDWR));
      EXPECT_EQ(pwrite(file.fd(), &value, sizeof value, static_cast<off_t>(offset)), 4);
      PoolReader fresh(root.pool());
      return TableReader<OtherFixedRow>(fresh, "t").mountStatus();
   };
   EXPECT_EQ(preambleIs(offsetof(Preamble, format), formatVersion + 1), MountStatus::versionMismatch);
   EXPECT_EQ(preambleIs(offsetof(Preamble, format), formatVersion), MountStatus::mounted);
   EXPECT_EQ(preambleIs(offsetof(Preamble, endian), 0x04030201), MountStatus::versionMismatch);
   EXPECT_EQ(preambleIs(0, 0), MountStatus::corrupted);
   chmod((root.path() + "/p/t.rows").c_str(), 0666);
   EXPECT_EQ(preambleIs(0, 0), MountStatus::permissionDenied);
}

TEST(Process, InPrivateMemoryAReaderMayLiveOnAnotherThread) {
   const auto folder = privateFolder("p");
   constexpr U64 last = 40;
   const std::jthread writing([&] {
      PoolWriter pool(folder, {.keyBytesMax = 8, .logEntriesLog2 = 6});
      TableWriter<VariableRow> table(pool, "t");
      for (U64 round = 0; round <= last; ++round) {
         for (U32 i = 0; i < 500; ++i)
            if (i % 7 == round % 7)
               table.del({i, 0});
            else
               table.is(VariableRow::make({i, 0}, i % 25, round));
         pool.flush();
      }
   });
   PoolReader pool(folder);
   const TableReader<VariableRow> table(pool, "t");
   const int descriptor = pool.descriptor();
   while (pool.deliver(64) == 64 || table.lookup({1, 0}).content() != std::pair(1u, last)) {
      for (const VariableRow& row : table)
         EXPECT_NE(row.content().first, 1000u);
      if (pool.position() == pool.logPosition()) {
         ASSERT_TRUE(isReadable(descriptor, 30000)) << "a wake-up was lost";
      }
      pool.drain();
   }
}

/// The first bytes of a file mean the same in every version, so that readers of another one are told as well.
TEST(Process, ReadersAreToldWhenAnotherVersionReplacesTheirFiles) {
   const TestRoot root;
   TableWriter<FixedRow>(*std::make_unique<PoolWriter>(root.pool()), "t").is(FixedRow{{1, 0}, 5});
   PoolReader reader(root.pool());
   const TableReader<FixedRow> table(reader, "t");
   EXPECT_EQ(table.lookup({1, 0}).value, 5u);
   for (const char* name : {"/p/control", "/p/t.rows"}) {
      const Descriptor file(open((root.path() + name).c_str(), O_RDWR));
      const U32 other = formatVersion + 1;
      ASSERT_EQ(pwrite(file.fd(), &other, sizeof other, offsetof(Preamble, format)), 4);
   }
   PoolWriter pool(root.pool());
   TableWriter<FixedRow> writer(pool, "t");
   reader.deliver(0);
   writer.is(FixedRow{{1, 0}, 6});
   EXPECT_EQ(table.lookup({1, 0}).value, 6u);
   EXPECT_EQ(reader.logPosition(), pool.logPosition());
}

} // namespace
} // namespace PooltabTest
