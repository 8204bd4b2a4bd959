#include "Mpls/MplsHardware.h"
#include "Vok/EntityType.h"

#include <gtest/gtest.h>

namespace Mpls::Hardware {
namespace {

TEST(HardwareStatusTest, adjacenciesAreFoundByTypeAndIndex) {
   const auto status = statusFactory("hardware");
   const Vok::Ptr<AdjacencyBase> made[] = {status->adjacencyIs(7), status->pwAdjacencyIs(7),
                                           status->extFecAdjacencyIs(7), status->multicastAdjacencyIs(7)};
   const AdjacencyType types[] = {AdjacencyType::mplsIp, AdjacencyType::mplsPseudowire,
                                  AdjacencyType::mplsExternalFec, AdjacencyType::mplsMulticast};
   for (int i = 0; i < 4; ++i) {
      const AdjacencyBaseKey key(7, types[i]);
      EXPECT_EQ(made[i]->adjKey(), key);
      EXPECT_EQ(status->adjacencyBase(key), made[i]);
      EXPECT_EQ(status->adjacencyBase(AdjacencyBaseKey(8, types[i])), nullptr);
   }
   for (const int unknown : {5, 255})
      EXPECT_EQ(status->adjacencyBase(AdjacencyBaseKey(7, static_cast<AdjacencyType>(unknown))), nullptr);
   EXPECT_DEATH(status->adjacencyBase(AdjacencyBaseKey(7, AdjacencyType::mplsUnknown)),
                "0 && \"Invalid adjType: mplsUnknown\"");
   EXPECT_EQ(adjacencySetFactory(9, AdjacencyType::mplsMulticast)->adjKey(),
             AdjacencyBaseKey(9, AdjacencyType::mplsMulticast));
}

TEST(HardwareStatusTest, hardwareCanDoNothingUntilItSays) {
   int counts = 0;
   for (const Vok::Attribute& attribute : Capability::vokType().attributes()) {
      const bool isCount = attribute.name == "mplsLookupLabelMaxCount";
      EXPECT_EQ(attribute.defaultText, isCount ? "1" : "False") << attribute.name;
      counts += isCount;
   }
   EXPECT_EQ(Capability::vokType().attributes().size(), 11u);
   EXPECT_EQ(counts, 1);
}

} // namespace
} // namespace Mpls::Hardware
