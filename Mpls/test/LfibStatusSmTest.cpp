#include "Mpls/LfibStatusSm.h"
#include "Mpls/test/ReadingFixture.h"

#include <map>

namespace Mpls {
namespace {

class LfibStatusSmTest : public ReadingFixture {
  protected:
   using Translation = std::map<std::pair<Vok::U32, Vok::U32>, Vok::U32>; // (index, tag) to VLAN

   static LfibDot1qTagToVlanKey entryKey(Vok::U32 index) {
      return LfibDot1qTagToVlanKey(LFib::Source::lfibSourceLdp, index);
   }
   void map(Vok::U32 index, Vok::U32 tag, Vok::U32 vlan) const {
      lfib->dot1qTagToVlanCollIs(entryKey(index))
          ->dot1qTagToVlanIdIs(Bridging::VlanId(tag), Bridging::VlanIdOrNone(vlan));
   }
   static Translation translation(const LfibStatus& status) {
      Translation found;
      for (const auto& [key, entry] : status.dot1qTagToVlanCollEach()) {
         EXPECT_NE(entry->dot1qTagToVlanIds(), 0u) << key.index();
         for (const auto& [tag, vlan] : entry->dot1qTagToVlanIdEach())
            found[{key.index(), tag.value()}] = vlan.value();
      }
      return found;
   }
};

TEST_F(LfibStatusSmTest, whatTheProducerHoldsTheConsumerHolds) {
   auto producer = lfibStatusProducerSmFactory(lfib);
   auto consumer = lfibStatusConsumerSmFactory(seen);
   Translation model;
   for (int step = 0; step < 3000; ++step) {
      const Vok::U32 index = random() % 4, tag = 1 + random() % 8, vlan = random() % 4;
      const auto entry = lfib->dot1qTagToVlanColl(entryKey(index));
      if (random() % 16 == 0 && entry) {
         entry->dot1qTagToVlanIdDelAll();
         lfib->dot1qTagToVlanCollDel(entryKey(index));
         std::erase_if(model, [&](const auto& mapping) { return mapping.first.first == index; });
      } else if (random() % 4 == 0 && entry) {
         entry->dot1qTagToVlanIdDel(Bridging::VlanId(tag));
         model.erase({index, tag});
      } else {
         map(index, tag, vlan);
         model.erase({index, tag});
         if (vlan != 0)
            model[{index, tag}] = vlan;
      }
      if (random() % 40 == 0)
         producer = lfibStatusProducerSmFactory(lfib);
      if (random() % 40 == 0) {
         seen->dot1qTagToVlanCollDelAll();
         consumer = lfibStatusConsumerSmFactory(seen);
      }
      if (random() % 8 != 0)
         continue; // so that several changes come at once, or too many
      deliver();
      ASSERT_EQ(translation(*seen), model) << "step " << step;
      ASSERT_EQ(seen->dot1qTagToVlanComposites(), model.size());
   }
}

TEST_F(LfibStatusSmTest, rowsOfARemovedEntryGoWhenTheNextProducerStarts) {
   auto producer = lfibStatusProducerSmFactory(lfib);
   map(1, 10, 100);
   map(2, 20, 200);
   lfib->dot1qTagToVlanCollDel(entryKey(1));
   EXPECT_EQ(lfib->dot1qTagToVlanComposites(), 2u);
   producer = nullptr;
   map(2, 21, 201);
   EXPECT_EQ(lfib->dot1qTagToVlanComposites(), 2u);
   producer = lfibStatusProducerSmFactory(lfib);
   const auto consumer = lfibStatusConsumerSmFactory(seen);
   EXPECT_EQ(translation(*seen), (Translation{{{2, 20}, 200}, {{2, 21}, 201}}));
   EXPECT_DEATH(lfibStatusConsumerSmFactory(seen), "!lfibStatus\\(\\)->dot1qTagToVlanColls\\(\\) && .*"
                                                   "This sm should not have been created with a filled "
                                                   "dot1qTagToVlanColl");
}

} // namespace
} // namespace Mpls
