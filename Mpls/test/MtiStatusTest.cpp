#include "Mpls/MtiStatus.h"
#include "Vok/EntityType.h"

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

TEST(MtiStatusTest, attributesStandInOrder) {
   const auto namesOf = [](const Vok::EntityType& type) {
      std::string names;
      for (const Vok::Attribute& attribute : type.attributes())
         names.append(names.empty() ? "" : " ").append(attribute.name);
      return names;
   };
   EXPECT_EQ(namesOf(MtiStatus::vokType()), "intfConfig deviceName forwardingModel mtu maxMtu operStatus "
                                            "operStatusChange active activeStatusChanges "
                                            "addr routedAddr rawLinkStatus debouncedLinkStatus linkStatus "
                                            "lastLinkStatusChangeTime linkStatusChanges "
                                            "portId l2Mtu macRxRemoteFault macRxRemoteFaultChanges");
   EXPECT_EQ(namesOf(MtiStatusDir::vokType()), "genIdMarker mtiStatus");
}

} // namespace
} // namespace Mpls
