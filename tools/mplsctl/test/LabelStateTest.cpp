#include "tools/mplsctl/labels/LabelState.h"

#include <gtest/gtest.h>

using namespace mplsctl;

namespace {

Mpls::LabelRange rangeOf(Vok::U32 base, Vok::U32 size) {
   return Mpls::LabelRange(Kinet::MplsLabel(base), size);
}

struct LabelStateTest : testing::Test {
   LabelStateTest() { state.config = config; }

   /// So many requests of one client, of which the first few are granted.
   void requestsAre(unsigned count, unsigned granted) {
      const auto client = Mpls::clientLabelRequestFactory("ldp");
      state.clients = {client};
      status->labelBlockAllocationDelAll();
      for (unsigned i = 0; i < count; ++i) {
         client->labelRequestIs(Mpls::LabelRequest("r" + std::to_string(i)));
         if (i < granted)
            status->labelBlockAllocationIs("ldp")->blockIs(
                "r" + std::to_string(i),
                Mpls::LabelBlock(Kinet::MplsLabel(state.dynamicRange().baseValue() + i * 16384)));
      }
   }

   const Vok::Ptr<Mpls::Config> config = Mpls::configFactory("global");
   const Vok::Ptr<Mpls::Api::Status> status = Mpls::Api::statusFactory("api");
   LabelState state;
};

TEST_F(LabelStateTest, SaysWhyARequestWaits) {
   const struct {
      bool routing, hasRun;
      Mpls::LabelRange range;
      unsigned requests, granted;
      Vok::U32 blocks, free;
      const char* why;
      const char* next;
   } cases[] = {
       {false, false, rangeOf(0, 0), 1, 0, 16, 16, "MPLS routing is off", "switch it on"},
       {true, true, rangeOf(16, 16383), 1, 0, 0, 0,
        "the dynamic range 16-16398 holds no block of 16384 labels", "widen it"},
       {true, true, rangeOf(16, 0), 1, 0, 0, 0, "the dynamic range - holds no block of 16384 labels",
        "widen it"},
       {true, false, rangeOf(0, 0), 1, 0, 16, 16, "no label manager has run yet",
        "start 'mpls-agent labels'"},
       {true, true, rangeOf(0, 0), 2, 1, 16, 15, "no label manager answers", "start 'mpls-agent labels'"},
       {true, true, rangeOf(16, 16384), 2, 1, 1, 0,
        "the dynamic range 16-16399 is exhausted: its blocks, 1 in number, are granted, and 1 request waits",
        "release a block"},
       {true, true, rangeOf(0, 0), 20, 16, 16, 0,
        "the dynamic range 100000-362143 is exhausted: its blocks, 16 in number, are granted, and 4 requests "
        "wait",
        "release a block"},
   };
   for (const auto& given : cases) {
      SCOPED_TRACE(given.why);
      config->mplsRoutingIs(given.routing);
      config->labelRangeIs("dynamic", given.range);
      requestsAre(given.requests, given.granted);
      state.status = given.hasRun ? status : nullptr;
      EXPECT_EQ(state.blocks(), given.blocks);
      EXPECT_EQ(state.freeBlocks(), given.free);
      EXPECT_EQ(state.whyWaiting().why, given.why);
      EXPECT_TRUE(state.whyWaiting().next.starts_with(given.next));
   }
}

TEST_F(LabelStateTest, RangesAreTheConfiguredOnesElseTheDefaults) {
   config->labelRangeIs("bgp-sr", rangeOf(400000, 10));
   config->labelRangeIs("srlb", rangeOf(500000, 10));
   config->labelRangeDefaultIs("static", rangeOf(20, 10));
   config->labelRangeIs("dynamic", rangeOf(0, 0)); // as good as none
   std::string text;
   for (const LabelState::Range& range : state.ranges())
      text += range.name + " " + rangeText(range.labels) + (range.configured ? " configured\n" : "\n");
   EXPECT_EQ(text, "static 20-29\ndynamic 100000-362143\nbgp-sr 400000-400009 configured\n"
                   "srlb 500000-500009 configured\nisis-sr 900000-965535\nl2evpn 1036288-1048575\n");
   for (const auto& [label, isHeld] : {std::pair(19u, false), {20, true}, {29, true}, {30, false}})
      EXPECT_EQ(isIn(rangeOf(20, 10), Kinet::MplsLabel(label)), isHeld);
}

TEST_F(LabelStateTest, RequestsAndBlocksStandTogether) {
   requestsAre(2, 1);
   state.status = status;
   status->labelBlockAllocationIs("bgp")->blockIs("old", Mpls::LabelBlock(Kinet::MplsLabel(200000)));
   std::string text;
   for (const LabelState::Request& request : state.requests())
      text += request.client + " " + request.name + " " + (request.block ? rangeText(*request.block) : "-") +
              (request.withdrawn ? " withdrawn\n" : "\n");
   EXPECT_EQ(text, "bgp old 200000-216383 withdrawn\nldp r0 100000-116383\nldp r1 -\n");
   EXPECT_EQ(state.block("ldp", "r0"), rangeOf(100000, 16384));
   EXPECT_FALSE(state.block("ldp", "r1") || state.block("isis", "r0"));
}

} // namespace
