#include "Mpls/MplsLfibStatic.h"

#include <gtest/gtest.h>

namespace Mpls {
namespace {

using Kinet::MplsLabel;

LfibHubdbMplsVia branch(Vok::U32 number) {
   return LfibHubdbMplsVia(MplsLabel(number), Kinet::IpGenAddr("10.0.0.1"),
                           Kinet::MplsLabelOperation(MplsLabel(17)));
}

LfibHubdbViaIndexRange slot(Vok::U32 number) {
   return LfibHubdbViaIndexRange(number);
}

template <class T>
std::vector<Vok::U8> written(const T& value) {
   Vok::NboAttrLog::Writer log;
   T::vokType().writeLog(&value, log);
   return {log.buffer().begin(), log.buffer().end()};
}

template <class T>
T readBack(const std::vector<Vok::U8>& bytes) {
   Vok::NboAttrLog::Reader log(bytes);
   T value;
   T::vokType().readLog(log, &value);
   EXPECT_EQ(log.left(), 0u);
   return value;
}

template <class T>
std::string refusal(const std::vector<Vok::U8>& bytes) {
   try {
      readBack<T>(bytes);
   } catch (const Vok::RangeError& error) {
      return error.what();
   }
   return "";
}

/// Also reads the value back.
template <class T>
std::string hex(const T& value) {
   std::string text;
   for (const Vok::U8 byte : written(value))
      for (const unsigned digit : {byte >> 4, byte & 15})
         text += "0123456789abcdef"[digit];
   EXPECT_EQ(readBack<T>(written(value)), value);
   return text;
}

TEST(LfibStaticTest, logFormsAreTheDocumentedOnes) {
   EXPECT_EQ(hex(LfibHubdbVlanVia(MplsLabel(100), Bridging::VlanId(4094), LfibFlag(1))),
             "000000640ffe00000001");
   EXPECT_EQ(hex(LfibHubdbIpLookupVia(MplsLabel(100), "red", PayloadType::ipv6)),
             "000000640000000372656400000003");
   EXPECT_EQ(hex(LfibHubdbExtFecVia(MplsLabel(100), Pooltab::Fib::FecId(7), Kinet::MplsLabelAction::swap,
                                    PayloadType::ipv4)),
             "0000006400000000000000070000000200000002");
   hex(LfibHubdbEthernetSegmentFilterVia(MplsLabel(100), Kinet::IntfId("Ethernet1")));
   EXPECT_EQ(hex(slot(7)), "07");
}

TEST(LfibStaticTest, badValuesInTheLogAreRefusedByName) {
   const auto vlan = [](Vok::U32 label, Vok::U32 vlanId, Vok::U32 flag) {
      return refusal<LfibHubdbVlanVia>({Vok::U8(label >> 24), Vok::U8(label >> 16), Vok::U8(label >> 8),
                                        Vok::U8(label), Vok::U8(vlanId >> 8), Vok::U8(vlanId), 0, 0, 0,
                                        Vok::U8(flag)});
   };
   EXPECT_EQ(vlan(0x800000, 4094, 1), "");
   EXPECT_EQ(vlan(0x800001, 4094, 1),
             "MplsLabel::value < MplsLabel::min or > MplsLabel::luWithdraw not allowed");
   EXPECT_EQ(vlan(100, 4095, 1), "VlanId::value < 1 or > 4094 not allowed");
   EXPECT_EQ(vlan(100, 0, 1), "VlanId::value < 1 or > 4094 not allowed");
   EXPECT_EQ(vlan(100, 1, 2), "LfibFlag::value > 0x1 not allowed");
   auto lookup = written(LfibHubdbIpLookupVia(MplsLabel(100), std::string(100, 'v'), PayloadType::ipv4));
   EXPECT_EQ(refusal<LfibHubdbIpLookupVia>(lookup), "");
   ++lookup[7]; // the length of the name
   EXPECT_EQ(refusal<LfibHubdbIpLookupVia>(lookup), "VrfName::bytes > VrfName::maxLength not allowed");
   const std::string index = "LfibHubdbViaIndexRange::value < LfibHubdbViaIndexRange::min or > "
                             "LfibHubdbViaIndexRange::max not allowed";
   EXPECT_EQ(refusal<LfibHubdbViaIndexRange>({8}), index);
   EXPECT_EQ(refusal<LfibHubdbStaticMldpViaSet>({0, 0, 0, 100, 9}), index);
}

TEST(LfibStaticTest, aViaSetCountsItsBranchesAndNeverForgetsThem) {
   LfibHubdbStaticMldpViaSet viaSet(MplsLabel(100));
   EXPECT_EQ(viaSet.getViaCount(), 0);
   for (Vok::U32 i = 0; i < 3; ++i) {
      viaSet.mplsViaIs(slot(i), branch(i));
      EXPECT_EQ(viaSet.getViaCount(), i + 1);
      viaSet.mplsViaIs(slot(i), branch(i));
      EXPECT_EQ(viaSet.getViaCount(), i + 1);
   }
   // Read back, a set with an unset via in its middle or at its end is the same.
   for (const Vok::U32 gone : {1u, 2u, 0u}) {
      viaSet.mplsViaDel(slot(gone));
      EXPECT_EQ(viaSet.getViaCount(), 3);
      EXPECT_TRUE(!viaSet.mplsVia(slot(gone)));
      EXPECT_EQ(written(viaSet)[4], 3);
      EXPECT_EQ(readBack<LfibHubdbStaticMldpViaSet>(written(viaSet)), viaSet);
   }
}

TEST(LfibStaticTest, misuseOfAViaSetStopsTheProcess) {
   LfibHubdbStaticMldpViaSet viaSet(MplsLabel(100));
   viaSet.mplsViaIs(slot(0), branch(1));
   viaSet.mplsViaIs(slot(1), branch(2));
   EXPECT_DEATH(viaSet.mplsViaIs(slot(3), branch(3)), "assertion failed: idx < viaCount_\\(\\)");
   EXPECT_DEATH(viaSet.mplsViaIs(slot(7) + 1, branch(3)), "assertion failed: offsetIsValid\\( off \\)");
   EXPECT_DEATH(Vok::strepToValue<LfibHubdbStaticMldpViaSet>(Vok::valueToStrep(viaSet)),
                "!\"No String constructor for LfibHubdbStaticMldpViaSet - has collection\"");
}

} // namespace
} // namespace Mpls
