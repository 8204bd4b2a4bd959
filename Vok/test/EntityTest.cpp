#include "Vok/test/Watched.h"

#include "Vok/EntityType.h"
#include "Vok/Observer.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>

namespace VokSample {
namespace {

using Steps = std::vector<std::string>;

/// Writes what it is told into a diary, then acts.
class Watcher final : public Vok::Observer<Watcher, Watched> {
  public:
   Watcher(Vok::Ptr<const Watched> watched, std::string name, Steps& diary,
           std::function<void()> act = nullptr)
       : Observer(watched), name_(std::move(name)), diary_(diary), act_(std::move(act)) {}

   void onLevel() override { told("level " + std::to_string(watched().level())); }
   void onCount(Vok::U32 key) override { told("count", key, watched().countHas(key)); }
   void onHit(Vok::U32 key) override { told("hit", key, watched().hitHas(key)); }
   void onMark(Vok::U32 key) override { told("mark", key, watched().markHas(key)); }
   void onLeaf(Vok::U32 key) override { told("leaf", key, watched().leafHas(key)); }

  private:
   const Watched& watched() const { return static_cast<const Watched&>(*vokWatched()); }
   void told(const std::string& what, Vok::U32 key, bool has) {
      told(what + (has ? " +" : " -") + std::to_string(key));
   }
   void told(const std::string& what) {
      diary_.push_back(name_ + what);
      if (const auto act = std::exchange(act_, nullptr))
         act(); // may destroy this watcher
   }

   std::string name_;
   Steps& diary_;
   std::function<void()> act_;
};

class EntityTest : public testing::Test {
  protected:
   std::unique_ptr<Watcher> watch(const std::string& name, std::function<void()> act = nullptr) {
      return std::make_unique<Watcher>(entity, name, diary, std::move(act));
   }
   void expect(const Steps& expected) { EXPECT_EQ(std::exchange(diary, {}), expected); }

   Vok::Ptr<Watched> entity = watchedFactory("entity");
   Steps diary;
};

TEST_F(EntityTest, aChangeIsToldAfterItIsStoredAndAnEqualValueIsNone) {
   const auto watcher = watch("");
   entity->levelIs(3);
   entity->levelIs(4);
   entity->levelIs(4);
   entity->countIs(1, 0); // present with the default value is not absent
   entity->countIs(1, 0);
   entity->countIs(1, 5);
   entity->countDel(2);
   entity->countDel(1);
   entity->markIs(7);
   entity->markIs(7);
   entity->markDel(7);
   entity->leafIs(9, "red");
   entity->leafIs(9, "red");
   entity->leafDel(9);
   entity->leafDel(9);
   expect({"level 4", "count +1", "count +1", "count -1", "mark +7", "mark -7", "leaf +9", "leaf -9"});
}

TEST_F(EntityTest, countersGoRound) {
   const auto watcher = watch("");
   EXPECT_EQ(entity->hitInc(1, 255), 255u);
   EXPECT_EQ(entity->hitInc(1, 2), 1u);
   EXPECT_EQ(entity->hitInc(1, 0), 1u);
   expect({"hit +1", "hit +1"});
}

TEST_F(EntityTest, watchersAreToldInOrderOfAttachmentAndMayComeAndGoMeanwhile) {
   std::unique_ptr<Watcher> first, second, third, late;
   first = watch("a ", [&] {
      second = nullptr;
      late = watch("d ");
      first = nullptr;
   });
   second = watch("b ");
   third = watch("c ");
   entity->levelIs(5);
   expect({"a level 5", "c level 5"});
   entity->levelIs(6);
   expect({"c level 6", "d level 6"});
}

TEST_F(EntityTest, aChangeFromInsideIsToldAtOnceAndWholly) {
   const auto first = watch("a ", [&] { entity->levelIs(6); });
   const auto second = watch("b ");
   entity->levelIs(5);
   expect({"a level 5", "a level 6", "b level 6", "b level 6"});
}

TEST_F(EntityTest, theLastPointerMayGoFromInside) {
   std::unique_ptr<Watcher> only;
   only = watch("", [&] {
      entity = nullptr;
      only = nullptr;
   });
   Watched* const raw = entity.get();
   raw->levelIs(5);
   expect({"level 5"});
   EXPECT_EQ(entity, nullptr);
}

TEST_F(EntityTest, aDeliveryEndsWithWhoeverIsLeft) {
   std::unique_ptr<Watcher> first, second, third, late;
   first = watch("a ", [&] {
      third = nullptr; // the last one to be told
      late = watch("d ");
   });
   second = watch("b ");
   third = watch("c ");
   entity->levelIs(5);
   expect({"a level 5", "b level 5"});

   // A change inside a change; an error ends its delivery and no later one.
   late = watch("d ", [&] { second = nullptr; });
   first = watch("a ", [&] {
      entity->levelIs(7);
      throw std::runtime_error("raised by a watcher");
   });
   EXPECT_THROW(entity->levelIs(6), std::runtime_error);
   expect({"b level 6", "d level 6", "a level 6", "d level 7", "a level 7"});
   entity->levelIs(8);
   expect({"d level 8", "a level 8"});

   // Everybody goes, and the entity with them.
   second = watch("b ");
   late = watch("d ", [&] {
      first = nullptr;
      late = nullptr;
      entity = nullptr;
   });
   first = watch("a ");
   Watched* const raw = entity.get();
   second = nullptr;
   raw->levelIs(9);
   expect({"d level 9"});
}

TEST_F(EntityTest, removingAllTellsOfEachWhileTheCollectionChanges) {
   for (Vok::U32 key = 0; key < 5; ++key)
      entity->countIs(key, key);
   const auto watcher = watch("", [&] { entity->countDel(3); });
   entity->countDelAll();
   std::ranges::sort(diary);
   expect({"count -0", "count -1", "count -2", "count -3", "count -4"});

   // A walk goes on while everything under it is removed and the entity's last pointer goes.
   const auto walked = watchedFactory("walked");
   for (Vok::U32 key = 0; key < 5; ++key)
      walked->countIs(key, key);
   Vok::U32 seen = 0;
   for (const auto& item : walked->countEach()) {
      EXPECT_EQ(item.key, item.value);
      walked->countDelAll();
      ++seen;
   }
   EXPECT_EQ(seen, 1u);
}

TEST_F(EntityTest, membersStandInTheirOwnerUntilTheyAreRemoved) {
   const auto leaf = entity->leafIs(9, "red");
   EXPECT_EQ(leaf->fullName(), "entity.leaf/9");
   try {
      entity->leafIs(9, "blue");
      ADD_FAILURE();
   } catch (const Vok::ReinstantiationError& error) {
      EXPECT_NE(std::string(error.what()).find("entity.leaf/9"), std::string::npos) << error.what();
      EXPECT_NE(std::string(error.what()).find("'colour'"), std::string::npos) << error.what();
   }
   entity->leafDelAll();
   EXPECT_EQ(leaf->vokParent(), nullptr);
   EXPECT_NE(entity->leafIs(9, "blue"), leaf);
   const auto orphan = entity->leaf(9);
   entity = nullptr;
   EXPECT_EQ(orphan->vokParent(), nullptr);
}

TEST_F(EntityTest, aReplayThroughReflectionGivesTheSameEntity) {
   entity->levelIs(8);
   for (Vok::U32 key = 0; key < 20; ++key) {
      entity->countIs(key, key * key);
      entity->hitInc(key % 7, 100);
      entity->markIs(key * 3);
   }
   entity->countDel(4);
   const Vok::EntityType& type = entity->vokEntityType();
   const Vok::Ptr<Vok::Entity> made = type.make("made");
   const auto copy = [&](const Vok::Attribute& attribute) {
      if (attribute.access.set)
         attribute.access.set(*made, attribute.access.get(*entity));
      else if (attribute.access.put)
         attribute.access.walk(
             *entity, [&](const void* key, const void* value) { attribute.access.put(*made, key, value); });
   };
   const Watched& replayed = static_cast<const Watched&>(*made);
   const Watcher watcher(Vok::Ptr<const Watched>(&replayed), "", diary);
   for (const Vok::Attribute& attribute : type.attributes())
      copy(attribute);
   EXPECT_EQ(diary.size(), 1u + 19 + 7 + 20);
   for (const Vok::Attribute& attribute : type.attributes())
      copy(attribute); // tells nothing more
   EXPECT_EQ(diary.size(), 1u + 19 + 7 + 20);
   EXPECT_EQ(replayed.level(), 8u);
   EXPECT_EQ(replayed.counts(), 19u);
   EXPECT_EQ(replayed.hits(), 7u);
   EXPECT_EQ(replayed.marks(), 20u);
   for (Vok::U32 key = 0; key < 20; ++key) {
      EXPECT_EQ(replayed.count(key), entity->count(key));
      EXPECT_EQ(replayed.hit(key), entity->hit(key));
      EXPECT_TRUE(replayed.markHas(key * 3));
   }
   EXPECT_EQ(type.attribute("absent"), nullptr);
}

} // namespace
} // namespace VokSample
