#include "Mpls/MtiStatus.h"

#include <gtest/gtest.h>

namespace Mpls {
namespace {

TEST(MtiStatusTest, anInterfaceKeepsItsGeneration) {
   const auto dir = mtiStatusDirFactory("mti");
   const Kinet::IntfId intf("Mti1");
   const auto first = dir->mtiStatusIs(intf, 4);
   first->mtuIs(9000);
   EXPECT_EQ(dir->mtiStatusIs(intf, 4), first);
   try {
      dir->mtiStatusIs(intf, 5);
      ADD_FAILURE() << "made anew";
   } catch (const Vok::ReinstantiationError& error) {
      EXPECT_EQ(error.what(), "Reinstantiating the entity with fullName " + first->fullName() +
                                  " where constructor parameter attribute 'genId' has a different value of 5"
                                  " than the current value of 4 not allowed");
   }
   EXPECT_EQ(dir->mtiStatus(intf), first);
   EXPECT_EQ(first->genId(), 4u);
   EXPECT_EQ(first->mtu(), 9000u);
   dir->mtiStatusDel(intf);
   EXPECT_EQ(dir->mtiStatusIs(intf, 5)->genId(), 5u);
}

} // namespace
} // namespace Mpls
