#include "Mpls/MplsHardware.h"
#include "Vok/EntityType.h"
#include "Vok/TypeOf.h"

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

TEST(HardwareStatusTest, aSetOfRewritesTravelsAndHasNoText) {
   L2ViaSet sent, received;
   for (const Vok::U32 vlan : {30, 10, 20}) {
      L2Via via;
      via.vlanIdIs(vlan);
      via.macAddrIs(Kinet::EthAddr("02:00:00:00:00:01"));
      via.skipEgressAclIs(vlan == 20);
      sent.l2ViaIs(via);
   }
   Vok::NboAttrLog::Writer log;
   L2ViaSet::vokType().writeLog(&sent, log);
   Vok::NboAttrLog::Reader reader(log.buffer());
   L2ViaSet::vokType().readLog(reader, &received);
   EXPECT_EQ(received, sent);
   EXPECT_EQ(received.l2Vias(), 3u);
   EXPECT_EQ(reader.left(), 0u);
   EXPECT_DEATH(Vok::strepToValue<L2ViaSet>("{}"),
                "!\"No String constructor for L2ViaSet - has collection\"");
}

} // namespace
} // namespace Mpls::Hardware
