#include "Mpls/SegmentRoutingTableInfo.h"
#include "Pooltab/PrivateFolder.h"
#include "Vok/TypeOf.h"

#include <gtest/gtest.h>

namespace Pooltab::SegmentRouting {
namespace {

using Mpls::SegmentRouting::AdjacencySegmentFlags;
using Mpls::SegmentRouting::FrrProtectionMode;
using Mpls::SegmentRouting::PfxSegmentFlags;
using Mpls::SegmentRouting::SegmentIdentifier;

/// Takes what stands in the log, and returns what it raises: "" for nothing.
template <class Flags>
std::string raisedByLog(Vok::U32 number, Flags& flags) {
   Vok::NboAttrLog::Writer log;
   log.u32(number);
   Vok::NboAttrLog::Reader reader(log.buffer());
   try {
      Flags::vokType().readLog(reader, &flags);
   } catch (const Vok::RangeError& error) {
      return error.what();
   }
   return "";
}

template <class Flags>
void checkFlags(Vok::U32 largest, const std::string& message, std::string text) {
   Flags flags;
   EXPECT_EQ(raisedByLog(largest, flags), "");
   EXPECT_EQ(flags.value(), largest);
   EXPECT_EQ(Vok::strepToValue<Flags>(text), flags);
   EXPECT_EQ(raisedByLog(largest + 1, flags), message);
   EXPECT_EQ(flags.value(), largest);
   EXPECT_EQ(Vok::valueToStrep(flags), text);
}

TEST(SegmentRoutingTest, flagsHaveALargestValue) {
   checkFlags<PfxSegmentFlags>(
       0x3f, "PfxSegmentFlags::value > 0x3f not allowed",
       "Value('Mpls::SegmentRouting::PfxSegmentFlags', ** {'explicitNull': True, 'noPhp': "
       "True, 'node': True, 'proxy': True, 'reAdvert': True, 'isLocal': True})");
   checkFlags<AdjacencySegmentFlags>(
       0x1f, "AdjacencySegmentFlags::value > 0x1f not allowed",
       "Value('Mpls::SegmentRouting::AdjacencySegmentFlags', ** {'isIpv6': True, "
       "'backup': True, 'isValue': True, 'isLocal': True, 'isSet': True})");
   PfxSegmentFlags flags;
   flags.proxy_(true);
   EXPECT_EQ(flags.value(), 0x8u);
}

TEST(SegmentRoutingTest, neighboursOfAnAdjacencySegmentFitItsRow) {
   const auto tables = statusFactory("sr");
   const VokPooltab::WriterMount mount(tables, std::make_shared<Pooltab::PrivateFolder>("sr"));
   for (const unsigned neighbours : {0u, 1u, 256u}) {
      AdjacencySegment segment;
      segment.keyIs(AdjacencySegmentKey(SegmentIdentifier(neighbours, true), Mpls::RouterId(1, 0)));
      for (unsigned i = 0; i < neighbours; ++i)
         segment.ngbIdIs(AdjSegmentNbrIdx(i), Mpls::RouterId(i + 1, 0));
      tables->v6AdjSegmentIs(segment);
      EXPECT_EQ(tables->v6AdjSegment(segment.key()), segment) << neighbours;
      EXPECT_EQ(tables->v6AdjSegment(segment.key()).ngbIds(), neighbours);
   }
   EXPECT_EQ(tables->v4AdjSegments(), 0u);
   EXPECT_THROW(AdjSegmentNbrIdx(256), Vok::RangeError);
   EXPECT_DEATH(Vok::strepToValue<AdjacencySegment>("x"),
                "!\"No String constructor for AdjacencySegment - has collection\"");
}

TEST(SegmentRoutingTest, rowsDerive) {
   const Mpls::RouterId router(0x01010101, 0);
   const GlobalBlock block(router, Mpls::LabelRange(Kinet::MplsLabel(900000), 65536));
   EXPECT_EQ(block.routerId(), router);
   EXPECT_EQ(block.base(), 900000u);
   EXPECT_EQ(block.size(), 65536u);
   EXPECT_EQ(block.mplsLabel(), Kinet::MplsLabel(900000));

   PrefixSegment segment;
   segment.keyIs(Kinet::IpGenPrefix(Kinet::IpGenAddr::fromIpv4(0x0a000000), 8));
   EXPECT_EQ(segment.prefix(), segment.key());
   const std::pair<FrrProtectionMode, bool> modes[] = {{FrrProtectionMode::disabled, false},
                                                       {FrrProtectionMode::link, true},
                                                       {FrrProtectionMode::node, true}};
   for (const auto& [mode, isNeeded] : modes) {
      segment.protectionModeIs(mode);
      EXPECT_EQ(segment.needProtection(), isNeeded);
   }
}

} // namespace
} // namespace Pooltab::SegmentRouting
