#include "tools/mplsctl/labels/LabelState.h"

#include <gtest/gtest.h>

using namespace mplsctl;

namespace {

Mpls::LabelRange rangeOf(Vok::U32 base, Vok::U32 size) {
   return Mpls::LabelRange(Kinet::MplsLabel(base), size);
}

TEST(LabelState, SaysWhyRequestsWait) {
   const struct {
      bool routing, hasRun;
      Mpls::LabelRange range;
      unsigned requests, granted;
      Vok::U32 free;
      const char* why;
   } cases[] = {
       {false, false, rangeOf(0, 0), 1, 0, 16, "MPLS routing is off"},
       {true, true, rangeOf(16, 16383), 1, 0, 0, "the dynamic range 16-16398 holds no block of 16384 labels"},
       {true, true, rangeOf(16, 0), 1, 0, 0, "the dynamic range - holds no block of 16384 labels"},
       {true, false, rangeOf(0, 0), 1, 0, 16, "no label manager has run yet"},
       {true, true, rangeOf(0, 0), 2, 1, 15, "no label manager answers"},
       {true, true, rangeOf(16, 16384), 2, 1, 0,
        "the dynamic range 16-16399 is exhausted: all blocks (1) are granted, and 1 request waits"},
       {true, true, rangeOf(0, 0), 20, 16, 0,
        "the dynamic range 100000-362143 is exhausted: all blocks (16) are granted, and 4 requests wait"},
   };
   for (const auto& given : cases) {
      const auto config = Mpls::configFactory("global");
      const auto client = Mpls::clientLabelRequestFactory("ldp");
      const auto status = Mpls::Api::statusFactory("api");
      config->mplsRoutingIs(given.routing);
      config->labelRangeIs("dynamic", given.range);
      for (unsigned i = 0; i < given.requests; ++i)
         client->labelRequestIs(Mpls::LabelRequest(std::to_string(i)));
      for (unsigned i = 0; i < given.granted; ++i)
         status->labelBlockAllocationIs("ldp")->blockIs(
             std::to_string(i), Mpls::LabelBlock(Kinet::MplsLabel(100000 + i * 16384)));
      const LabelState state{config, {client}, given.hasRun ? status : nullptr};
      EXPECT_EQ(state.freeBlocks(), given.free) << given.why;
      EXPECT_EQ(state.whyWaiting().why, given.why);
   }
}

TEST(LabelState, RangesAreTheConfiguredOnesElseTheDefaults) {
   const auto config = Mpls::configFactory("global");
   config->labelRangeIs("bgp-sr", rangeOf(400000, 10));
   config->labelRangeIs("srlb", rangeOf(500000, 10));
   config->labelRangeDefaultIs("static", rangeOf(20, 10));
   config->labelRangeIs("dynamic", rangeOf(0, 0)); // as good as none
   std::string text;
   for (const LabelState::Range& range : LabelState{config, {}, nullptr}.ranges())
      text += range.name + " " + rangeText(range.labels) + (range.configured ? " configured\n" : "\n");
   EXPECT_EQ(text, "static 20-29\ndynamic 100000-362143\nbgp-sr 400000-400009 configured\n"
                   "srlb 500000-500009 configured\nisis-sr 900000-965535\nl2evpn 1036288-1048575\n");
}

} // namespace
