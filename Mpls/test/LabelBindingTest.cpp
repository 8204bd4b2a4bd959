#include "Mpls/MplsLabelBinding.h"

#include <gtest/gtest.h>

#include <limits>

namespace Mpls {
namespace {

const FwdEqvClass fec; // which class it is makes no difference here

TEST(LabelBindingTest, unusedIsWhatSaysNothing) {
   const auto table = labelBindingTableFactory(RouterId());
   EXPECT_TRUE(table->isUnused());
   const auto labels = table->bindingIs(fec);
   EXPECT_EQ(labels->vokName(), Vok::Name());
   constexpr double infinity = std::numeric_limits<double>::infinity();
   const std::pair<double, bool> cases[] = {
       {0.0, true},        {-0.0, true},
       {infinity, true},   {std::numeric_limits<double>::max(), false},
       {-infinity, false}, {std::numeric_limits<double>::quiet_NaN(), false},
       {1.5, false}};
   for (const auto& [time, unused] : cases) {
      SCOPED_TRACE(time);
      labels->lastUpdateIs(time);
      EXPECT_EQ(labels->isUnused(), unused);
      labels->mplsLabelIs(Kinet::MplsLabel(100), true);
      EXPECT_FALSE(labels->isUnused());
      labels->mplsLabelDel(Kinet::MplsLabel(100));
   }
   EXPECT_FALSE(table->isUnused());
   table->filteredFecIs(fec, true);
   table->bindingDelAll();
   EXPECT_FALSE(table->isUnused());
   table->filteredFecDel(fec);
   EXPECT_TRUE(table->isUnused());
}

TEST(LabelBindingTest, aChangeIsSignalledWhenClassAndLabelAreInPlace) {
   struct Consumer : LabelBindingTable::Notifiee {
      using Notifiee::Notifiee;
      void onChangeCnt() override {
         ++changes;
         labels += static_cast<const LabelBindingTable*>(vokWatched())->lastLabel().value();
      }
      int changes = 0;
      Vok::U32 labels = 0;
   };
   const auto table = labelBindingTableFactory(RouterId());
   Consumer consumer(table);
   for (Vok::U32 label = 1; label <= 256; ++label)
      table->updateProducer(fec, Kinet::MplsLabel(label));
   EXPECT_EQ(consumer.changes, 256);
   EXPECT_EQ(consumer.labels, 256u * 257 / 2);
   EXPECT_EQ(table->changeCnt(), 0);
}

} // namespace
} // namespace Mpls
