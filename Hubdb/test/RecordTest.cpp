// Trees that follow another tree through records: equal after every flush, whatever happened in between, and
// whatever arrives instead of records.

#include "Hubdb/Incoming.h"
#include "Hubdb/Outgoing.h"
#include "Hubdb/test/Dump.h"
#include "Hubdb/test/HubdbSample.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using namespace HubdbSample;
using HubdbTest::dump;

/// One root at "tree", as a manager would know it.
class OneRoot final : public Hubdb::References {
  public:
   void goes(const Vok::Entity& entity) override {
      Vok::NboAttrLog::Writer address;
      write(&entity, address);
      if (incoming)
         incoming->targetGoes(entity, address.buffer());
   }
   std::string_view pathOf(const Vok::Entity& entity) const override {
      return &entity == root.get() ? "tree" : "";
   }
   Vok::Ptr<Vok::Entity> rootAt(std::string_view path) const override {
      return path == "tree" ? root : nullptr;
   }

   Vok::Ptr<Tree> root;
   Hubdb::Incoming* incoming = nullptr;
};

/// An owner's tree that changes at random, and what it sends.
class Owner {
  public:
   explicit Owner(unsigned seed) : random_(seed) {
      references.root = tree;
      outgoing = std::make_unique<Hubdb::Outgoing>(tree, plans, references, [] {});
   }

   unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
   Place place() { return Place(Vok::U8(below(3)), below(2) ? "hall" : ""); }
   Vok::Name name() { return Vok::Name(std::string(1, char('a' + below(4)))); }

   void change() {
      switch (below(22)) {
      case 0:
         return tree->onIs(below(2));
      case 1:
         return tree->levelIs(Level(1 + below(5)));
      case 2:
         return tree->stretchIs(Stretch(below(500), below(500)));
      case 3:
         return tree->titleIs(std::string(below(20), 'x'));
      case 4:
         return tree->boxIs(box());
      case 5:
         tree->turnInc();
         return;
      case 6:
         return below(3) ? tree->rangeIs(name(), Stretch(below(9), 1)) : tree->rangeDel(name());
      case 7:
         return below(3) ? tree->sortedIs(place(), below(3)) : tree->sortedDel(place());
      case 8:
         tree->hitInc(below(2) ? red_ : green_);
         return;
      case 9:
         return tree->markIs(place(), below(2));
      case 10:
         return tree->sortedMarkIs(Level(1 + below(4)), below(2));
      case 11:
         return below(3) ? tree->boxesIs(box()) : tree->boxesDel(place());
      case 12:
      case 13:
         tree->branchIs(place(), 5);
         return;
      case 14:
         return below(4) ? tree->branchDel(place()) : tree->branchDelAll();
      case 15:
         tree->leafIs(name());
         return;
      case 16:
         return tree->leafDel(name());
      case 17:
         return below(3) ? void(tree->crown() ? tree->crown() : tree->crownIs(Level(1 + below(9))))
                         : tree->crownDel();
      case 18:
         return tree->favouriteIs(below(4) ? tree->branch(place()) : nullptr);
      case 19:
         if (auto leaf = tree->leaf(name()))
            return tree->borrowedIs(leaf);
         else
            return tree->borrowedDel(name());
      case 20:
         if (auto branch = tree->branch(place()))
            return tree->knownIs(Level(1 + below(3)), branch);
         return;
      default:
         return changeBelow();
      }
   }
   void changes(unsigned count) {
      for (unsigned i = 0; i < count; ++i)
         change();
   }

   /// A pointer to what has left the tree does not travel; let go of it, as an owner would.
   void letGo() {
      if (tree->favourite() && !tree->favourite()->vokParent())
         tree->favouriteIs(nullptr);
      for (const auto& entry : tree->borrowedEach())
         if (!entry.value->vokParent())
            tree->borrowedDel(entry.key);
      for (const auto& entry : tree->knownEach())
         if (!entry.value->vokParent())
            tree->knownDel(entry.key);
   }

   std::vector<Vok::U8> flush(std::size_t limit = ~std::size_t(0)) {
      letGo();
      Hubdb::RecordWriter writer;
      outgoing->flush(writer, limit);
      return {writer.bytes().begin(), writer.bytes().end()};
   }
   std::vector<Vok::U8> snapshot() {
      Hubdb::RecordWriter writer;
      outgoing->snapshotStart();
      while (!outgoing->snapshot(writer, writer.size() + 1)) {
      }
      return {writer.bytes().begin(), writer.bytes().end()};
   }

   Vok::Ptr<Tree> tree = treeFactory("oak");
   Hubdb::Plans plans;
   OneRoot references;
   std::unique_ptr<Hubdb::Outgoing> outgoing;

  private:
   Box box() {
      Box made;
      made.placeIs(place());
      made.weightIs(below(9));
      made.levelIs(Level(1 + below(9)));
      return made;
   }
   void changeBelow() {
      auto branch = tree->branch(place());
      if (tree->crown() && below(2)) {
         tree->crown()->goldIs(below(2));
         branch = tree->crown()->branchIs(place(), 6);
      }
      if (!branch)
         return;
      branch->colourIs(below(2) ? red_ : blue_);
      branch->noteIs(name(), "note");
      auto leaf = branch->leafIs(name());
      leaf->greenIs(below(2));
      leaf->markIs(place(), below(2));
      if (below(3) == 0)
         branch->leafDel(name());
   }

   std::mt19937 random_;
};

class Reader {
  public:
   Reader() {
      references.root = tree;
      references.incoming = &incoming;
   }
   void snapshot(const std::vector<Vok::U8>& bytes) {
      incoming.snapshotBegin();
      incoming.apply(bytes);
      incoming.snapshotEnd();
      incoming.resolve();
   }
   void apply(const std::vector<Vok::U8>& bytes) {
      incoming.apply(bytes);
      incoming.resolve();
   }

   Vok::Ptr<Tree> tree = treeFactory("oak");
   Hubdb::Plans plans;
   OneRoot references;
   Hubdb::Incoming incoming{tree, plans, references};
};

TEST(RecordTest, aReaderEqualsItsOwnerAfterEveryFlush) {
   for (unsigned seed = 0; seed < 30; ++seed) {
      Owner owner(seed);
      owner.changes(seed * 10);
      Reader reader;
      reader.snapshot(owner.snapshot());
      for (unsigned turn = 0; turn < 40; ++turn) {
         owner.changes(owner.below(60));
         reader.apply(owner.flush());
         ASSERT_EQ(dump(*owner.tree), dump(*reader.tree)) << "seed " << seed << ", turn " << turn;
         ASSERT_EQ(owner.outgoing->entities(), reader.incoming.entities());
      }
   }
}

TEST(RecordTest, aReconnectionKeepsTheEntitiesAndTellsOnlyDifferences) {
   struct Counter final : Tree::Notifiee {
      using Tree::Notifiee::Notifiee;
      void vokOnChange(Vok::AttrId, const void*) override { ++changes; }
      unsigned changes = 0;
   };
   for (unsigned seed = 0; seed < 30; ++seed) {
      Owner owner(seed);
      Reader reader;
      owner.changes(150);
      owner.letGo();
      owner.flush();
      reader.snapshot(owner.snapshot());
      owner.tree->leafIs("stays")->greenIs(false);
      reader.apply(owner.flush());
      ASSERT_EQ(dump(*owner.tree), dump(*reader.tree)) << "seed " << seed;
      const auto leaf = reader.tree->leaf("stays");
      Counter counter(reader.tree);
      reader.snapshot(owner.snapshot());
      EXPECT_EQ(0u, counter.changes) << "seed " << seed;

      owner.tree->leafIs("stays");
      owner.changes(150);
      owner.tree->leafIs("stays");
      owner.flush(); // the reader is away
      reader.snapshot(owner.snapshot());
      ASSERT_EQ(dump(*owner.tree), dump(*reader.tree)) << "seed " << seed;
      EXPECT_EQ(leaf, reader.tree->leaf("stays"));
      owner.changes(30);
      reader.apply(owner.flush());
      ASSERT_EQ(dump(*owner.tree), dump(*reader.tree)) << "seed " << seed;
   }
}

template <class... Values>
std::vector<Vok::U8> logOf(const Values&... values) {
   Vok::NboAttrLog::Writer log;
   (Vok::typeOf<Values>().writeLog(&values, log), ...);
   return {log.buffer().begin(), log.buffer().end()};
}

/// What a snapshot leaves of a branch with the notes a and b, in whatever order its records stand.
TEST(RecordTest, aSnapshotRemovesJustWhatItDoesNotMention) {
   using Writer = Hubdb::RecordWriter;
   const auto branch = [](Writer& w) {
      w.member(1, 0, Tree::branchAttr, logOf(Place(7, "hall"), Vok::U32(2)));
   };
   const auto note = [](Writer& w, const char* name) {
      w.put(1, Branch::noteAttr, logOf(Vok::Name(name)), logOf(Vok::String("note")));
   };
   const auto root = [](Writer& w) { w.set(0, Tree::onAttr, logOf(false)); };
   struct Case {
      std::function<void(Writer&)> write;
      std::string_view left;
   };
   const Case cases[] = {
       {[&](auto& w) { branch(w), note(w, "b"), note(w, "a"); }, "ab"},
       {[&](auto& w) { branch(w), note(w, "a"), root(w), note(w, "b"); }, "ab"},
       {[&](auto& w) { branch(w), note(w, "b"), note(w, "b"), root(w); }, "b"},
       {[&](auto& w) { branch(w), note(w, "a"), w.erase(1, Branch::noteAttr, logOf(Vok::Name("a"))); }, ""},
       {[&](auto& w) { branch(w), note(w, "a"), note(w, "b"), w.gone(1), branch(w), note(w, "b"); }, "b"},
       {[&](auto& w) { root(w); }, "no branch"},
       {[&](auto& w) { branch(w), w.member(2, 0, Tree::branchAttr, logOf(Place(7, "hall"), Vok::U32(2))); },
        "refused"},
   };
   for (const Case& c : cases) {
      Reader reader;
      Writer first;
      branch(first), note(first, "a"), note(first, "b");
      reader.snapshot(std::vector<Vok::U8>(first.bytes().begin(), first.bytes().end()));
      Writer second;
      c.write(second);
      std::string left;
      try {
         reader.snapshot(std::vector<Vok::U8>(second.bytes().begin(), second.bytes().end()));
         const auto kept = reader.tree->branch(Place(7, "hall"));
         for (const char* name : {"a", "b"})
            left += kept && kept->noteHas(Vok::Name(name)) ? name : "";
         left = kept ? left : "no branch";
      } catch (const Vok::LogError&) {
         left = "refused";
      }
      EXPECT_EQ(c.left, left) << &c - cases;
   }
}

TEST(RecordTest, theNextOwnerGoesOnWithTheNumbers) {
   Owner owner(7);
   owner.changes(400);
   owner.flush();
   const auto state = owner.snapshot();
   Reader next, reader;
   next.snapshot(state);
   reader.snapshot(state);
   Owner heir(8);
   heir.outgoing = nullptr;
   heir.tree = heir.references.root = next.tree;
   heir.outgoing = std::make_unique<Hubdb::Outgoing>(next.tree, next.incoming.release(), heir.plans,
                                                     heir.references, [] {});
   for (unsigned turn = 0; turn < 40; ++turn) {
      heir.changes(50);
      reader.apply(heir.flush());
      ASSERT_EQ(dump(*heir.tree), dump(*reader.tree)) << "turn " << turn;
   }
}

TEST(RecordTest, aValueSetManyTimesTravelsOnceAndInPieces) {
   Owner owner(1);
   unsigned firstMarks = 0;
   owner.outgoing =
       std::make_unique<Hubdb::Outgoing>(owner.tree, owner.plans, owner.references, [&] { ++firstMarks; });
   for (unsigned i = 1; i <= 1000; ++i) {
      owner.tree->turnIs(i);
      owner.tree->rangeIs("a", Stretch(i % 7, i % 5));
      owner.tree->leafIs("passing");
      owner.tree->leafDel("passing");
   }
   EXPECT_EQ(1u, firstMarks);
   Hubdb::RecordWriter writer;
   EXPECT_FALSE(owner.outgoing->flush(writer, 1));
   owner.tree->turnIs(1); // was written already, so it is written again, behind the rest
   EXPECT_TRUE(owner.outgoing->flush(writer, 10000));
   std::vector<Hubdb::RecordOp> ops;
   Hubdb::RecordReader records(writer.bytes());
   for (Hubdb::Record record; records.next(record);)
      ops.push_back(record.op);
   using enum Hubdb::RecordOp;
   EXPECT_EQ((std::vector{set, put, set}), ops);
}

/// Whatever is cut off or changed: an error, or another valid state; and the reader goes on.
/// Large enough that what a batch puts there is looked for before it is applied.
TEST(RecordTest, aLargeCollectionTakesABatchInOrderUpToWhatIsWrong) {
   Owner owner(1);
   const auto key = [](unsigned number) { return Vok::Name("n" + std::to_string(number)); };
   for (unsigned number = 0; number < 20'000; ++number)
      owner.tree->rangeIs(key(number), Stretch(number % 900, 1));
   Reader reader;
   reader.snapshot(owner.snapshot());
   owner.flush();
   for (unsigned number = 0; number < 100; ++number) {
      owner.tree->rangeIs(key(number * 199), Stretch(number, 2));
      owner.tree->rangeDel(key(number * 199 + 1));
      owner.tree->rangeIs(key(20'000 + number), Stretch(number, 3));
   }
   const auto good = owner.flush();
   auto batch = good;
   Hubdb::RecordWriter wrong;
   wrong.put(0, Tree::rangeAttr, std::vector<Vok::U8>{0, 0, 0, 9, 'n'}, std::vector<Vok::U8>(8));
   batch.insert(batch.end(), wrong.bytes().begin(), wrong.bytes().end());
   batch.insert(batch.end(), good.begin(), good.begin() + 100);
   try {
      reader.apply(batch);
      ADD_FAILURE() << "accepted";
   } catch (const Vok::LogError& error) {
      EXPECT_EQ(std::string(error.what()).find("record at byte " + std::to_string(good.size()) + " of"), 0u)
          << error.what();
   }
   EXPECT_EQ(dump(*owner.tree), dump(*reader.tree));
}

TEST(RecordTest, hostileRecordsChangeNothingHalf) {
   Owner owner(3);
   owner.changes(300);
   owner.letGo();
   const auto state = owner.snapshot();
   Reader whole;
   whole.snapshot(state);
   std::vector<std::size_t> ends{0};
   Hubdb::RecordReader records(state);
   for (Hubdb::Record record; records.next(record);)
      ends.push_back(records.offset() + record.whole.size());
   for (std::size_t size = 0; size < state.size(); ++size) {
      Reader reader;
      reader.incoming.snapshotBegin();
      const std::vector<Vok::U8> cut(state.begin(), state.begin() + std::ptrdiff_t(size));
      if (std::ranges::binary_search(ends, size))
         EXPECT_NO_THROW(reader.incoming.apply(cut));
      else
         EXPECT_THROW(reader.incoming.apply(cut), Vok::LogError) << size;
   }
   unsigned refused = 0;
   for (std::size_t bit = 0; bit < state.size() * 8; ++bit) {
      auto damaged = state;
      damaged[bit / 8] = static_cast<Vok::U8>(damaged[bit / 8] ^ (1 << bit % 8));
      Reader reader;
      try {
         reader.snapshot(damaged);
      } catch (const Vok::Error&) {
         ++refused;
      }
      reader.snapshot(state);
      ASSERT_EQ(dump(*whole.tree), dump(*reader.tree)) << "bit " << bit;
   }
   EXPECT_GT(refused, state.size() * 4);
}

TEST(RecordTest, refusalsSayWhatAndWhere) {
   Reader reader;
   reader.incoming.snapshotBegin();
   const auto u32 = [](Vok::U32 value) {
      std::vector<Vok::U8> bytes(4);
      for (int i = 0; i < 4; ++i)
         bytes[i] = static_cast<Vok::U8>(value >> (24 - 8 * i));
      return bytes;
   };
   struct Case {
      std::function<void(Hubdb::RecordWriter&)> write;
      std::string_view text;
   };
   const std::vector<Vok::U8> name{0, 0, 0, 1, 'x'};
   const Case cases[] = {
       {[&](auto& w) { w.set(5, Tree::levelAttr, u32(1)); }, "there is no entity 5"},
       {[&](auto& w) { w.set(0, 99, u32(1)); }, "'HubdbSample::Tree' has no attribute 99"},
       {[&](auto& w) { w.set(0, Tree::branchAttr, u32(1)); }, "'branch' is no single value"},
       {[&](auto& w) { w.set(0, Tree::levelAttr, u32(1 << 16)); },
        "bytes left over behind a HubdbSample::Level: 2"},
       {[&](auto& w) {
           w.set(0, Tree::levelAttr, std::vector<Vok::U8>{0, 0});
        },
        "Level::value < 1 or > 4094 not allowed"},
       {[&](auto& w) {
           w.set(0, Tree::stretchAttr, std::vector<Vok::U8>{0, 0, 0, 9, 0, 0, 4, 0});
        },
        "Stretch::size > what is left not allowed"},
       {[&](auto& w) { w.put(0, Tree::levelAttr, name, u32(1)); }, "'level' has no entries"},
       {[&](auto& w) {
           w.put(0, Tree::markAttr, std::vector<Vok::U8>{1, 0, 0, 0, 0}, u32(1));
        },
        "a value for the set 'mark'"},
       {[&](auto& w) { w.member(Hubdb::maxEntities, 0, Tree::leafAttr, name); }, "too large"},
       {[&](auto& w) { w.member(0, 0, Tree::leafAttr, name); }, "the number 0 is taken"},
       {[&](auto& w) { w.member(1, 0, Tree::rangeAttr, name); }, "no entities stand in 'range'"},
       {[&](auto& w) { w.gone(0); }, "the root does not go"},
       {[&](auto& w) {
           w.set(0, Tree::favouriteAttr, std::vector<Vok::U8>{0, 9, 'x'});
        },
        "ends inside a step"},
   };
   const auto before = dump(*reader.tree);
   for (const Case& bad : cases) {
      Hubdb::RecordWriter writer;
      bad.write(writer);
      try {
         reader.incoming.apply(writer.bytes());
         ADD_FAILURE() << "accepted: " << bad.text;
      } catch (const Vok::Error& error) {
         const std::string text = error.what();
         EXPECT_NE(std::string::npos, text.find(bad.text)) << text;
         EXPECT_EQ(0u, text.find("record at byte 0 of a batch of ")) << text;
      }
      EXPECT_EQ(before, dump(*reader.tree));
   }
}

} // namespace
