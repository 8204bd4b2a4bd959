#include "Mpls/SegmentRoutingTableInfo.h"
#include "Pooltab/PrivateFolder.h"
#include "Vok/TypeOf.h"

#include <gtest/gtest.h>

namespace Pooltab::SegmentRouting {
namespace {

using Mpls::SegmentRouting::AdjacencySegmentFlags;
using Mpls::SegmentRouting::PfxSegmentFlags;
using Mpls::SegmentRouting::SegmentIdentifier;

/// Reads the largest value and the one above it from a log, and the text form of the largest.
template <class Flags>
void checkFlags(Vok::U32 largest, const std::string& message, const std::string& text) {
   EXPECT_EQ(Vok::strepToValue<Flags>(text).value(), largest);
   Vok::NboAttrLog::Writer log;
   log.u32(largest);
   log.u32(largest + 1);
   Vok::NboAttrLog::Reader reader(log.buffer());
   Flags flags;
   Flags::vokType().readLog(reader, &flags);
   EXPECT_EQ(Vok::valueToStrep(flags), text);
   try {
      Flags::vokType().readLog(reader, &flags);
      ADD_FAILURE() << "read " << flags.value();
   } catch (const Vok::RangeError& error) {
      EXPECT_EQ(error.what(), message);
   }
   EXPECT_EQ(flags.value(), largest);
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

} // namespace
} // namespace Pooltab::SegmentRouting
