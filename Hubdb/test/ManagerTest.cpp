// Entity managers: embedded, and as clients of a link that the test plays the server of.

#include "Hubdb/EntityManager.h"
#include "Hubdb/Link.h"
#include "Hubdb/MountGroup.h"
#include "Hubdb/Record.h"
#include "Hubdb/test/Dump.h"
#include "Hubdb/test/HubdbSample.h"

#include <gtest/gtest.h>

namespace {

using namespace HubdbSample;
using Hubdb::EntityManager;
using Hubdb::MountFilter;
using Hubdb::MountStatus;
using HubdbTest::dump;

constexpr const char* treeType = "HubdbSample::Tree";
constexpr const char* otherType = "HubdbSample::Other";

Hubdb::Catalogue catalogue() {
   return Hubdb::Catalogue({hubdbSampleEntityTypes()});
}

/// The entries of a directory as they come and go: "+a", "-a", "a" when the name alone is known.
class DirLog final : public Vok::Notifiee {
  public:
   explicit DirLog(Vok::Ptr<const Vok::Dir> dir) : Notifiee(dir), dir_(dir) {}
   void vokOnChange(Vok::AttrId, const void* key) override {
      const auto& name = *static_cast<const Vok::Name*>(key);
      const auto* sign = !dir_->entityPtrHas(name) ? "-" : dir_->entityPtr(name) ? "+" : "";
      text += sign + name.text() + " ";
   }
   std::string text;

  private:
   Vok::Ptr<const Vok::Dir> dir_;
};

class Managed : public testing::Test {
  protected:
   struct Wanted {
      const char* path;
      const char* type;
      MountFilter filter;
   };
   /// Appends the statuses with which the group completes to `outcome`.
   void mount(std::initializer_list<Wanted> wanted) {
      const auto group = manager->mountGroup();
      for (const Wanted& one : wanted)
         group->doMount(one.path, one.type, one.filter);
      group->close([this](MountStatus status, EntityManager& told) {
         EXPECT_EQ(manager.get(), &told);
         outcome += std::string(stringValue(status)) + " ";
      });
   }
   std::string turned() {
      while (activity.turn(0)) {
      }
      return std::exchange(outcome, "");
   }

   Vok::Activity activity;
   Vok::Ptr<EntityManager> manager = Vok::make<EntityManager>(activity, catalogue());
   std::string outcome;
};

using EmbeddedTest = Managed;

TEST_F(EmbeddedTest, groupsCompleteOnceInEveryOrderOfCreation) {
   const std::string paths[] = {"a/x", "a/y", "b"};
   unsigned order[] = {0, 1, 2};
   do {
      manager = Vok::make<EntityManager>(activity, catalogue());
      mount({{"a/x", treeType, MountFilter::read()},
             {"a/y", treeType, MountFilter::read()},
             {"b", treeType, MountFilter::read()}});
      for (unsigned i = 0; i < 3; ++i) {
         EXPECT_EQ("", turned());
         mount({{paths[order[i]].c_str(), treeType, MountFilter::own()}});
         EXPECT_EQ("", outcome) << "never from within close()";
         EXPECT_EQ(i < 2 ? "success " : "success success ", turned());
      }
   } while (std::next_permutation(std::begin(order), std::end(order)));
   mount({});
   EXPECT_EQ("", outcome);
   EXPECT_EQ("success ", turned());
}

TEST_F(EmbeddedTest, ownersAndReadersHaveTheSameEntity) {
   mount({{"routing/oak", treeType, MountFilter::read()}, {"routing/", "Vok::Dir", MountFilter::entries()}});
   EXPECT_EQ("", turned());
   const auto dir = manager->get<Vok::Dir>("routing");
   DirLog log(dir);
   const auto oak = manager->own<Tree>("routing/oak");
   EXPECT_EQ("success ", turned());
   EXPECT_EQ(oak, manager->getEntity("routing/oak"));
   EXPECT_EQ(oak, manager->own<Tree>("routing/oak"));
   EXPECT_EQ("oak", oak->name().text());
   manager->own<Other>("routing/below/pine");
   EXPECT_TRUE(manager->get<Vok::Dir>("routing/below/")->entityPtrHas("pine"));
   manager->del("routing/oak");
   EXPECT_EQ(nullptr, manager->getEntity("routing/oak"));
   EXPECT_EQ("+oak +below -oak ", log.text);
   mount({{"routing/oak", treeType, MountFilter::read()}});
   EXPECT_EQ("", turned());
   EXPECT_NE(oak, manager->own<Tree>("routing/oak"));
   EXPECT_EQ("success ", turned());
}

TEST_F(EmbeddedTest, whatWaitsCanBeLetGoOf) {
   auto machine = std::make_shared<int>();
   const std::weak_ptr<int> alive = machine;
   const auto group = manager->mountGroup();
   for (const char* path : {"a", "b"})
      group->doMount(path, treeType, MountFilter::read());
   group->close([machine = std::move(machine), manager = manager](MountStatus, EntityManager&) { FAIL(); });
   EXPECT_FALSE(alive.expired());
   manager->waitingDelAll();
   EXPECT_TRUE(alive.expired());
   for (const char* path : {"a", "b"})
      manager->own<Tree>(path);
   turned();
}

TEST_F(EmbeddedTest, whatCannotBeIsRefused) {
   manager->own<Tree>("a/oak");
   mount({{"a/oak", otherType, MountFilter::read()}});
   mount({{"a/oak", otherType, MountFilter::own()}});
   mount({{"a", treeType, MountFilter::own()}, {"nobody", treeType, MountFilter::read()}});
   mount({{"a/oak/below", treeType, MountFilter::own()}});
   mount({{"a/oak/", "Vok::Dir", MountFilter::names()}});
   EXPECT_EQ("wrongType wrongType wrongType wrongType wrongType ", turned());
   mount({{"later", treeType, MountFilter::read()}});
   mount({{"later", otherType, MountFilter::own()}});
   EXPECT_EQ("wrongType success ", turned());
   const auto group = manager->mountGroup();
   for (const char* path : {"", "/", "/a", "a//b", "a/b//"})
      EXPECT_THROW(group->doMount(path, treeType, MountFilter::read()), Vok::RangeError) << path;
   EXPECT_THROW(group->doMount("a", "HubdbSample::None", MountFilter::read()), Vok::RangeError);
   EXPECT_THROW(group->doMount("a", "HubdbSample::Branch", MountFilter::read()), Vok::RangeError);
   EXPECT_THROW(manager->del("a"), Vok::Error);
   EXPECT_THROW(manager->own<Other>("a/oak"), Vok::Error);
   mount({{"waits/for/ever", treeType, MountFilter::read()}});
   group->close([](MountStatus, EntityManager&) { FAIL() << "the manager is gone"; });
   manager = nullptr;
   turned();
}

/// The server's side of a link, step by step.
struct Wire {
   std::string log; ///< what the manager asked for
   std::vector<std::vector<Vok::U8>> batches;
   bool writable = true;
   std::map<std::string, Hubdb::MountRequest> requests; ///< by path, the last
};

class TestLink final : public Hubdb::Link {
  public:
   explicit TestLink(Wire& wire) : wire_(wire) {}
   void mount(const Hubdb::MountRequest& request) override {
      constexpr const char* words[] = {"read", "own", "names", "entries"};
      wire_.requests[request.path] = request;
      wire_.log += std::string(words[int(request.filter.kind())]) + (request.resume ? "! " : " ") +
                   request.path + "; ";
   }
   void unmount(Hubdb::MountId) override { wire_.log += "unmount; "; }
   void del(Hubdb::MountId) override { wire_.log += "del; "; }
   void records(Hubdb::MountId, const Vok::U8* bytes, std::size_t size) override {
      wire_.batches.emplace_back(bytes, bytes + size);
      wire_.log += "records; ";
   }
   void snapshotBegin(Hubdb::MountId) override { wire_.log += "begin; "; }
   void snapshotEnd(Hubdb::MountId) override { wire_.log += "end; "; }
   void flush() override {}
   bool writable() const override { return wire_.writable; }

  private:
   Wire& wire_;
};

class LinkedTest : public Managed {
  protected:
   LinkedTest() { manager->linkIs(std::make_unique<TestLink>(wire)); }

   Hubdb::LinkClient& client() { return manager->linkClient(); }
   Hubdb::MountId id(const char* path) { return wire.requests.at(path).mount; }
   std::string asked() { return std::exchange(wire.log, ""); }
   /// Grants a mount with this state.
   void grant(const char* path, const Hubdb::RecordWriter& state = {}) {
      client().onMountStatus(id(path), MountStatus::success, "");
      client().onSnapshotBegin(id(path));
      if (state.size() > 0)
         client().onRecords(id(path), state.bytes().data(), state.size());
      client().onSnapshotEnd(id(path));
   }
   void list(const char* path, std::initializer_list<const char*> names, const char* type = otherType) {
      client().onSnapshotBegin(id(path));
      for (const char* name : names)
         client().onEntry(id(path), name, true, type);
      client().onSnapshotEnd(id(path));
   }
   static Hubdb::RecordWriter level(Vok::U32 value) {
      Hubdb::RecordWriter records;
      records.set(0, Other::levelAttr, Vok::typeOf<Vok::U32>(), &value);
      return records;
   }

   Wire wire;
};

TEST_F(LinkedTest, anOwnerTakesOverSendsAndResumes) {
   mount({{"a/oak", otherType, MountFilter::own()}, {"a/elm", otherType, MountFilter::read()}});
   EXPECT_EQ("", asked());
   client().onConnected();
   EXPECT_EQ("own a/oak; read a/elm; ", asked());
   EXPECT_EQ(Hubdb::fingerprint(Other::vokType()), wire.requests["a/oak"].fingerprint);
   grant("a/oak", level(7));
   EXPECT_EQ("", turned());
   EXPECT_EQ(nullptr, manager->getEntity("a/elm"));
   grant("a/elm", level(8));
   EXPECT_EQ("success ", turned());
   const auto oak = manager->get<Other>("a/oak");
   EXPECT_EQ(7u, oak->level());
   EXPECT_EQ("", asked()) << "nothing changed here";
   oak->levelIs(9);
   oak->levelIs(10);
   turned();
   EXPECT_EQ("records; ", asked());
   EXPECT_TRUE(std::ranges::equal(level(10).bytes(), wire.batches.back()));
   wire.writable = false;
   oak->levelIs(11);
   turned();
   EXPECT_EQ("", asked());
   wire.writable = true;
   client().onWritable();
   EXPECT_EQ("records; ", asked());

   client().onDisconnected();
   oak->levelIs(12);
   turned();
   client().onConnected();
   turned();
   EXPECT_EQ("own! a/oak; read a/elm; ", asked()) << "nothing is sent before the server agrees";
   client().onMountStatus(id("a/oak"), MountStatus::success, "");
   turned();
   EXPECT_EQ("begin; records; end; records; ", asked());
   EXPECT_TRUE(std::ranges::equal(level(12).bytes(), wire.batches.back()));
   const auto elm = manager->get<Other>("a/elm");
   grant("a/elm");
   EXPECT_EQ(elm, manager->getEntity("a/elm"));
   EXPECT_EQ(0u, elm->level());
   manager->del("a/oak");
   EXPECT_EQ("del; ", asked());
   client().onGone(id("a/elm"));
   EXPECT_EQ(0u, manager->get<Vok::Dir>("a")->entityPtrs());
   EXPECT_EQ("", turned());
}

TEST_F(LinkedTest, refusalsEndTheMountAndAReaderThatMayNotOwnGoesOnReading) {
   client().onConnected();
   mount({{"oak", otherType, MountFilter::own()}, {"elm", otherType, MountFilter::read()}});
   client().onMountStatus(id("oak"), MountStatus::owned, "by process 7");
   EXPECT_EQ("owned ", turned());
   grant("elm", level(3));
   EXPECT_EQ("", turned()) << "completes once";
   const auto elm = manager->get<Other>("elm");
   asked();
   mount({{"elm", otherType, MountFilter::own()}});
   EXPECT_EQ("unmount; own elm; ", asked());
   client().onMountStatus(id("elm"), MountStatus::forbidden, "");
   EXPECT_EQ("forbidden ", turned());
   EXPECT_EQ("read elm; ", asked()) << "the server knows the refused mount no longer";
   grant("elm", level(4));
   EXPECT_EQ(elm, manager->get<Other>("elm"));
   EXPECT_EQ(4u, elm->level());
   mount({{"elm", otherType, MountFilter::own()}});
   grant("elm", level(5));
   EXPECT_EQ("success ", turned());
   elm->levelIs(6);
   turned();
   EXPECT_EQ("unmount; own elm; records; ", asked());
}

TEST_F(LinkedTest, aDirectoryOfNamesFillsSilently) {
   client().onConnected();
   mount({{"d/", "Vok::Dir", MountFilter::names()}});
   list("d", {"a", "b"});
   EXPECT_EQ("success ", turned());
   const auto dir = manager->get<Vok::Dir>("d");
   DirLog log(dir);
   EXPECT_TRUE(dir->entityPtrHas("a"));
   EXPECT_EQ(nullptr, dir->entityPtr("a"));
   mount({{"d/a", otherType, MountFilter::read()}, {"d/c", otherType, MountFilter::read()}});
   grant("d/a");
   grant("d/c");
   EXPECT_EQ("success ", turned());
   EXPECT_EQ("", log.text);
   EXPECT_EQ(manager->getEntity("d/a"), dir->entityPtr("a"));
   EXPECT_FALSE(dir->entityPtrHas("c")) << "until the server tells of it";
   client().onEntry(id("d"), "c", true, otherType);
   client().onEntry(id("d"), "e", true, otherType);
   client().onDisconnected();
   client().onConnected();
   list("d", {"a", "c", "f"});
   EXPECT_EQ("+c e f -b -e ", log.text);
   EXPECT_THROW(client().onEntry(id("d"), "a/b", true, otherType), Vok::Error);
   EXPECT_THROW(client().onRecords(id("d"), nullptr, 0), Vok::Error);
   EXPECT_THROW(client().onRecords(99, nullptr, 0), Vok::Error);
}

TEST_F(LinkedTest, aDirectoryOfEntriesTellsOfWholeEntities) {
   client().onConnected();
   mount({{"d", otherType, MountFilter::entries()}});
   list("d", {"a", "b"});
   client().onEntry(id("d"), "tree", true, treeType);
   EXPECT_EQ("entries d; read d/a; read d/b; ", asked());
   const auto dir = manager->get<Vok::Dir>("d");
   DirLog log(dir);
   grant("d/b", level(2));
   EXPECT_EQ("", turned());
   client().onMountStatus(id("d/a"), MountStatus::forbidden, "");
   EXPECT_EQ("success ", turned());
   EXPECT_EQ("+b a ", log.text);
   client().onEntry(id("d"), "c", true, otherType);
   client().onEntry(id("d"), "c", false, "");
   client().onEntry(id("d"), "b", false, "");
   EXPECT_EQ("+b a -b ", log.text);
   EXPECT_EQ("read d/c; unmount; unmount; ", asked());
   EXPECT_EQ(nullptr, manager->getEntity("d/b"));
   client().onGone(id("d/b"));
}

TEST_F(LinkedTest, aDirectoryOfEntriesIsMountedAgainForAnotherType) {
   client().onConnected();
   mount({{"d", otherType, MountFilter::entries()}});
   list("d", {"a"});
   client().onEntry(id("d"), "oak", true, treeType);
   grant("d/a");
   EXPECT_EQ("success ", turned());
   const auto dir = manager->get<Vok::Dir>("d");
   EXPECT_TRUE(dir->entityPtrHas("oak"));
   DirLog log(dir);
   asked();
   mount({{"d", treeType, MountFilter::entries()}});
   client().onEntry(id("d"), "elm", true, treeType);
   client().onEntry(id("d"), "b", true, otherType);
   EXPECT_EQ("read d/oak; read d/elm; read d/b; ", asked());
   for (const char* path : {"d/oak", "d/elm", "d/b"}) {
      EXPECT_EQ("", turned()) << path << " is not there";
      grant(path);
   }
   EXPECT_EQ("success ", turned());
   EXPECT_EQ("+elm +b ", log.text) << "the name of oak was there";
   EXPECT_EQ(manager->getEntity("d/oak"), dir->entityPtr("oak"));
   mount({{"d", otherType, MountFilter::entries()}, {"d", treeType, MountFilter::entries()}});
   EXPECT_EQ("success ", turned());
   EXPECT_EQ("", asked());
}

/// Acts at every change of an entity.
class Acts final : public Vok::Notifiee {
  public:
   Acts(const Vok::Ptr<Vok::Entity>& entity, std::function<void()> act)
       : Notifiee(entity), act_(std::move(act)) {}
   void vokOnChange(Vok::AttrId, const void*) override { act_(); }

  private:
   const std::function<void()> act_;
};

TEST_F(LinkedTest, whoIsToldMayTakeTheEntityOver) {
   client().onConnected();
   for (const bool inSnapshot : {true, false}) {
      const char* path = inSnapshot ? "oak" : "elm";
      mount({{path, otherType, MountFilter::read()}});
      grant(path, level(3));
      EXPECT_EQ("success ", turned());
      const auto entity = manager->get<Other>(path);
      std::optional<Acts> acts(std::in_place, entity, [&] {
         mount({{path, otherType, MountFilter::own()}});
      });
      asked();
      if (inSnapshot)
         grant(path); // the level goes back at its end
      else
         client().onRecords(id(path), level(4).bytes().data(), level(4).size());
      EXPECT_EQ(std::string("unmount; own ") + path + "; ", asked());
      acts.reset();
      grant(path, level(5));
      EXPECT_EQ("success ", turned());
      entity->levelIs(6);
      turned();
      EXPECT_EQ("records; ", asked());
   }
}

TEST_F(LinkedTest, whoIsToldMayDropTheManager) {
   for (int what = 0; what < 4; ++what) {
      SCOPED_TRACE(what);
      manager = Vok::make<EntityManager>(activity, catalogue());
      manager->linkIs(std::make_unique<TestLink>(wire));
      client().onConnected();
      mount({{"d", "Vok::Dir", MountFilter::names()}, {"d/elm", otherType, MountFilter::read()}});
      list("d", {"elm"});
      grant("d/elm", level(3));
      EXPECT_EQ("success ", turned());
      const Acts acts(manager->getEntity(what < 2 ? "d/elm" : "d"), [&] { manager = nullptr; });
      Hubdb::LinkClient& told = client();
      switch (what) {
      case 0:
         told.onRecords(id("d/elm"), level(4).bytes().data(), level(4).size());
         break;
      case 1:
         told.onSnapshotBegin(id("d/elm"));
         told.onSnapshotEnd(id("d/elm"));
         break;
      default:
         told.onEntry(id("d"), what == 2 ? "oak" : "elm", what == 2, what == 2 ? otherType : "");
      }
      EXPECT_EQ(nullptr, manager);
   }
}

/// The merged configuration may arrive before the sources that it points into, and outlive them.
TEST_F(LinkedTest, referencesWaitForTheirTargets) {
   Hubdb::RecordWriter sources, merged;
   const std::vector<Vok::U8> key{0, 0, 0, 1, 'x'};
   sources.member(1, 0, Tree::leafAttr, key);
   const std::vector<Vok::U8> address{0, 1, 's', 0, Tree::leafAttr, 0, 5, 0, 0, 0, 1, 'x'};
   merged.put(0, Other::leafAttr, key, address);
   client().onConnected();
   mount({{"m", otherType, MountFilter::read()}, {"s", treeType, MountFilter::read()}});
   grant("m", merged);
   const auto reader = manager->get<Other>("m");
   EXPECT_EQ(0u, reader->leafs());
   grant("s", sources);
   turned();
   const auto tree = manager->get<Tree>("s");
   EXPECT_EQ(tree->leaf("x"), reader->leaf("x"));
   Hubdb::RecordWriter replaced;
   replaced.gone(1);
   client().onRecords(id("s"), replaced.bytes().data(), replaced.size());
   EXPECT_EQ(0u, reader->leafs());
   client().onRecords(id("s"), sources.bytes().data(), sources.size());
   turned();
   EXPECT_NE(nullptr, tree->leaf("x"));
   EXPECT_EQ(tree->leaf("x"), reader->leaf("x"));
   client().onGone(id("s"));
   EXPECT_EQ(0u, reader->leafs());
}

} // namespace
