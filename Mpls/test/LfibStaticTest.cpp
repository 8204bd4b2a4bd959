#include "Mpls/MplsLfibStatic.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

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
   return log.buffer();
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

template <class T>
std::string hex(const T& value) {
   std::ostringstream text;
   for (const Vok::U8 byte : written(value))
      text << std::hex << std::setw(2) << std::setfill('0') << unsigned(byte);
   EXPECT_EQ(readBack<T>(written(value)), value);
   return text.str();
}

TEST(LfibStaticTest, logFormsAreTheDocumentedOnes) {
   EXPECT_EQ(hex(LfibHubdbVlanVia(MplsLabel(100), Bridging::VlanId(4094), LfibFlag(1))), "00000064"
                                                                                         "0ffe"
                                                                                         "00000001");
   EXPECT_EQ(hex(LfibHubdbVlanFloodVia(MplsLabel(100), Bridging::VlanId(1), LfibFlag())), "00000064"
                                                                                          "0001"
                                                                                          "00000000");
   EXPECT_EQ(hex(LfibHubdbIpLookupVia(MplsLabel(100), "red", PayloadType::ipv6)), "00000064"
                                                                                  "00000003726564"
                                                                                  "00000003");
   EXPECT_EQ(hex(LfibHubdbExtFecVia(MplsLabel(100), Pooltab::Fib::FecId(7), Kinet::MplsLabelAction::swap,
                                    PayloadType::ipv4)),
             "00000064"
             "0000000000000007"
             "00000002"
             "00000002");
   hex(LfibHubdbEthernetSegmentFilterVia(MplsLabel(100), Kinet::IntfId("Ethernet1")));
   EXPECT_EQ(hex(slot(7)), "07");
}

TEST(LfibStaticTest, badValuesInTheLogAreRefusedByName) {
   const auto vlan = [](Vok::U32 label, Vok::U16 vlanId, Vok::U32 flag) {
      Vok::NboAttrLog::Writer log;
      log.u32(label);
      log.u16(vlanId);
      log.u32(flag);
      return refusal<LfibHubdbVlanVia>(log.buffer());
   };
   EXPECT_EQ(vlan(0x800000, 4094, 1), "");
   EXPECT_EQ(vlan(0x800001, 4094, 1),
             "MplsLabel::value < MplsLabel::min or > MplsLabel::luWithdraw not allowed");
   EXPECT_EQ(vlan(100, 4095, 1), "VlanId::value < 1 or > 4094 not allowed");
   EXPECT_EQ(vlan(100, 0, 1), "VlanId::value < 1 or > 4094 not allowed");
   EXPECT_EQ(vlan(100, 1, 2), "LfibFlag::value > 0x1 not allowed");
   Vok::NboAttrLog::Writer lookup;
   lookup.u32(100);
   lookup.string(std::string(101, 'v'));
   EXPECT_EQ(refusal<LfibHubdbIpLookupVia>(lookup.buffer()),
             "VrfName::bytes > VrfName::maxLength not allowed");
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
   EXPECT_DEATH(viaSet.mplsViaDel(slot(7) + 1), "assertion failed: offsetIsValid\\( off \\)");
   EXPECT_DEATH(Vok::strepToValue<LfibHubdbStaticMldpViaSet>(Vok::valueToStrep(viaSet)),
                "!\"No String constructor for LfibHubdbStaticMldpViaSet - has collection\"");
   EXPECT_EQ(LfibHubdbStaticMldpViaSet::vokType().textForm(),
             "Value('Mpls::LfibHubdbStaticMldpViaSet', ** {'label': %s, 'viaCount_': %s, 'mplsVia': %s})");
   EXPECT_EQ(branch(1).labelAction(), Kinet::MplsLabelAction::swap);
}

TEST(LfibStaticTest, theStatusHoldsOneViaOfAKindUnderItsLabel) {
   const Vok::Ptr<LfibHubdbStatus> status = lfibHubdbStatusFactory("static");
   const LfibHubdbVlanVia via(MplsLabel(100), Bridging::VlanId(5), LfibFlag());
   status->vlanViaIs(via);
   status->vlanViaIs(LfibHubdbVlanVia(MplsLabel(100), Bridging::VlanId(6), LfibFlag()));
   EXPECT_EQ(status->vlanVias(), 1u);
   EXPECT_EQ(status->vlanVia(MplsLabel(100)).vlanId().value(), 6);
   status->vlanViaDelAll();
   EXPECT_TRUE(!status->vlanVia(MplsLabel(100)));
}

} // namespace
} // namespace Mpls
