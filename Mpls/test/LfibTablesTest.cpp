#include "Mpls/test/LfibFixture.h"

#include "Mpls/LfibIndexAllocator.h"

#include <sstream>

namespace Mpls {
namespace {

using LFib::Source;

class LfibTablesTest : public LfibFixture {};

template <class Act>
std::string internalError(Act act) {
   try {
      act();
   } catch (const Vok::InternalError& error) {
      return error.what();
   }
   return "no error";
}

void expectEnds(const std::string& text, const std::string& end) {
   EXPECT_TRUE(text.ends_with(end)) << text;
}

TEST_F(LfibTablesTest, rowsOfTheWrongKindAreToldAndStay) {
   const LfibViaKey vlanKey(Source::lfibSourceLdp, viaTypeVlan_, 1);
   const LfibViaKey mplsKey(Source::lfibSourceLdp, viaTypeMplsIp_, 1);
   const std::string mismatch = ": via key and via coll type mismatch";
   LfibMplsVia mpls;
   mpls.keyIs(vlanKey);
   expectEnds(internalError([&] { lfib->mplsViaIs(mpls); }),
              "assertion failed(key.viaType() == viaTypeMplsIp_)" + mismatch);
   EXPECT_TRUE(lfib->mplsViaHas(vlanKey));
   LfibVlanVia vlan;
   vlan.keyIs(mplsKey);
   expectEnds(internalError([&] { lfib->vlanViaIs(vlan); }),
              "assertion failed(key.viaType() == viaTypeVlan_)" + mismatch);
   LfibExtFecVia fec;
   fec.keyIs(mplsKey);
   expectEnds(internalError([&] { lfib->extFecViaIs(fec); }),
              "assertion failed(key.viaType() == viaTypeExternalFec_)" + mismatch);
}

TEST_F(LfibTablesTest, routesAndViaSetsOfEvpnKinds) {
   for (Vok::U32 number = 1; number <= 10; ++number) {
      const auto viaType = static_cast<LfibViaType>(number);
      const bool isEvpn = number >= 3 && number <= 8;
      LfibRoute route;
      route.keyIs(labelKey(number));
      route.viaSetKeyIs(LfibViaSetKey(Source::lfibSourceBgpL2Evpn, 1, viaType, LfibViaSetType::unicast));
      EXPECT_EQ(internalError([&] { lfib->lfibRouteIs(route); }), "no error");
      route.metricIs(RouteMetric(1));
      expectEnds(internalError([&] { lfib->lfibRouteIs(route); }),
                 isEvpn ? ": EVPN lfib routes must have metric set to 0" : "no error");
      EXPECT_EQ(lfib->lfibRoute(route.key()).metric(), RouteMetric(1));

      LfibViaSet viaSet;
      viaSet.keyIs(route.viaSetKey());
      viaSet.viaKeyIs(LfibViaIndexRange(0), LfibViaKey(Source::lfibSourceLdp, viaType, 1));
      EXPECT_EQ(internalError([&] { lfib->viaSetIs(viaSet); }), "no error");
      viaSet.viaKeyIs(LfibViaIndexRange(1), LfibViaKey(Source::lfibSourceLdp, viaType, 2));
      expectEnds(internalError([&] { lfib->viaSetIs(viaSet); }),
                 isEvpn ? ": EVPN via sets must contain at most 1 via key" : "no error");
      viaSet.viaKeyIs(LfibViaIndexRange(0), LfibViaKey(Source::lfibSourceLdp, viaTypeNexthopGroup_, 1));
      if (viaType != viaTypeNexthopGroup_)
         expectEnds(internalError([&] { lfib->viaSetIs(viaSet); }),
                    "assertion failed(viaKeyType == viaType): Vias in a viaSet must always be homogeneous");
   }
}

TEST_F(LfibTablesTest, aVrfNameFillsItsBuffer) {
   LfibIpLookupVia via;
   for (const std::string& name :
        {std::string(), std::string("red"), std::string(100, 'v'), std::string("blue")}) {
      via.vrfNameIs(L3::VrfName(name));
      via.keyIs(LfibViaKey(Source::lfibSourceBgpL3Vpn, viaTypeIpLookup_, 1));
      lfib->ipLookupViaIs(via);
      EXPECT_EQ(lfib->ipLookupVia(via.key()).vrfName().text(), name);
   }
}

TEST_F(LfibTablesTest, keysAreNewAndNextFit) {
   const auto allocator = Vok::make<LfibViaIndexAllocator>(Source::lfibSourceLdp, lfib);
   const auto setIndex = [&](LfibViaSetType type) {
      return allocator->getViaSetKey(viaTypeMplsIp_, type).index();
   };
   EXPECT_EQ(setIndex(LfibViaSetType::unicast), 1u);
   EXPECT_EQ(setIndex(LfibViaSetType::unicast), 2u);
   LfibViaSet viaSet;
   viaSet.keyIs(LfibViaSetKey(Source::lfibSourceLdp, 3, viaTypeMplsIp_, LfibViaSetType::unicast));
   lfib->viaSetIs(viaSet);
   EXPECT_EQ(setIndex(LfibViaSetType::unicast), 4u);
   EXPECT_EQ(setIndex(LfibViaSetType::multicast), 1u);

   // The counter goes round through 0, past what is in use, and each kind probes its own table.
   LfibPwVia via;
   for (const Vok::U32 index : {0u, 1u}) {
      via.keyIs(LfibViaKey(Source::lfibSourceLdp, viaTypeMplsPseudowire_, index));
      lfib->pwViaIs(via);
   }
   for (const auto& [viaType, next] :
        {std::pair(viaTypeMplsPseudowire_, 2u), std::pair(viaTypeMplsIp_, 0u)}) {
      allocator->viaKeyIndexIs(viaType, 0xfffffffe);
      EXPECT_EQ(allocator->getViaKey(viaType), LfibViaKey(Source::lfibSourceLdp, viaType, 0xffffffff));
      EXPECT_EQ(allocator->getViaKey(viaType), LfibViaKey(Source::lfibSourceLdp, viaType, next));
   }
}

/// Both kinds of row with a variable part: what serialize() writes reads back, and nothing shorter does.
template <class Row>
void variablePartReadsBack(const Row& row) {
   std::vector<Vok::U8> bytes(row.serializeLen());
   row.serialize(bytes.data());
   const auto size = static_cast<Vok::U32>(bytes.size());
   EXPECT_EQ(Row::deserializeLen(bytes.data(), size), size);
   Row read;
   read.keyIs(row.key());
   ASSERT_TRUE(read.deserialize(bytes.data(), size));
   EXPECT_EQ(Vok::valueToStrep(read), Vok::valueToStrep(row));
   for (Vok::U32 shorter = 0; shorter < size; ++shorter)
      EXPECT_EQ(Row::deserializeLen(bytes.data(), shorter), 0u) << shorter;
}

TEST(LfibRows, variablePartsSerialize) {
   LfibViaSet viaSet;
   variablePartReadsBack(viaSet);
   for (const int slot : {0, 1, 5, 127}) {
      viaSet.viaKeyIs(LfibViaIndexRange(slot),
                      LfibViaKey(Source::lfibSourceLdp, LfibViaType::viaTypeMplsIp, 1000u + slot));
      variablePartReadsBack(viaSet);
   }
   LfibIpLookupVia via;
   via.vrfNameIs(L3::VrfName("red"));
   variablePartReadsBack(via);
   std::vector<Vok::U8> tooMany{129, 0};
   EXPECT_FALSE(viaSet.deserialize(tooMany.data(), 2));
}

TEST(LabelRangeStream, writesTheTextForm) {
   std::ostringstream out;
   out << LabelRange(Kinet::MplsLabel(16), 99984);
   EXPECT_EQ(out.str(), "Value('Mpls::LabelRange', ** {'base': 16, 'size': 99984})");
}

TEST(LfibIndexAllocatorTest, adjacencyIndexes) {
   const Vok::Ptr<Status> lfib = statusFactory("lfib");
   const auto allocator = Vok::make<MplsHelper::LfibGenAdjIdxAllocator>(lfib);
   const Source ldp = Source::lfibSourceLdp;
   const auto next = [&] { return allocator->getAdjacencyIndex(ldp); };
   EXPECT_EQ(next(), 0x7000000000000000u);
   EXPECT_EQ(next(), 0x7000000000000000u);
   lfib->lfibAdjacencyIs(next(), ViaSet());
   lfib->lfibPwAdjacencyIs(next(), PwVia());
   lfib->lfibMulticastAdjacencyIs(next(), ViaSet());
   lfib->lfibExtFecAdjacencyIs(next(), {}, {});
   EXPECT_EQ(next(), 0x7000000000000004u);
   allocator->useAdjacencyIndex(ldp, 0x7000000000000041);
   EXPECT_EQ(next(), 0x7000000000000042u);
   allocator->resetAdjacencyIndex(ldp);
   lfib->lfibAdjacencyDelAll();
   lfib->lfibPwAdjacencyDelAll();
   EXPECT_EQ(next(), 0x7000000000000001u);
   // Within its 60 bits the counter goes round.
   allocator->useAdjacencyIndex(ldp, 0x7ffffffffffffffe);
   lfib->lfibAdjacencyIs(0x7fffffffffffffff, ViaSet());
   EXPECT_EQ(next(), 0x7000000000000000u);
   EXPECT_EQ(allocator->getAdjacencyIndex(Source::lfibSourceSrTePolicy), 0u);
}

} // namespace
} // namespace Mpls
