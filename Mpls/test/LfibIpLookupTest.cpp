#include "Mpls/LfibIpLookupSm.h"
#include "Mpls/test/ReadingFixture.h"
#include "Vok/Trace.h"

namespace Mpls {
namespace {

/// Writes down what is published: "+100 red ipv4", "-100 red ipv4".
class Published final : public LfibIpLookupStatus::Notifiee {
  public:
   using LfibIpLookupStatus::Notifiee::Notifiee;
   void onLabelVrfAf(const LfibIpLookupStatusLabelVrfAf& member) override {
      const auto& status = static_cast<const LfibIpLookupStatus&>(*vokWatched());
      steps.push_back((status.labelVrfAfHas(member) ? "+" : "-") + std::to_string(member.label().value()) +
                      " " + member.vrfName().text());
   }
   std::vector<std::string> taken() { return std::exchange(steps, {}); }
   std::vector<std::string> steps;
};

class LfibIpLookupTest : public ReadingFixture {
  protected:
   static LfibViaKey viaKey(Vok::U32 number) {
      return LfibViaKey(LFib::Source::lfibSourceLdp, viaTypeIpLookup_, number);
   }
   static LfibViaSetKey viaSetKey(Vok::U32 number, LfibViaType type = viaTypeIpLookup_) {
      return LfibViaSetKey(LFib::Source::lfibSourceLdp, number, type, LfibViaSetType::unicast);
   }
   void route(Vok::U32 label, const LfibViaSetKey& viaSet) const {
      lfib->lfibRouteIs(
          LfibRoute(labelKey(label), viaSet, LFib::Source::lfibSourceLdp, FwdEqvClass(), RouteMetric(0)));
   }
   /// A via into a VRF, and its via set.
   void lookup(Vok::U32 number, const std::string& vrf) const {
      LfibIpLookupVia via;
      via.keyIs(viaKey(number));
      via.payloadTypeIs(PayloadType::ipv4);
      via.vrfNameIs(L3::VrfName(vrf));
      lfib->ipLookupViaIs(via);
      LfibViaSet viaSet;
      viaSet.keyIs(viaSetKey(number));
      viaSet.viaKeyIs(LfibViaIndexRange(0), viaKey(number));
      lfib->viaSetIs(viaSet);
   }
   using Steps = std::vector<std::string>;

   const Vok::Ptr<LfibTrackingStatus> tracking = lfibTrackingStatusFactory("tracking");
   const Vok::Ptr<LfibTrackingSm> trackingSm =
       lfibTrackingSmFactory(seen, tracking, LfibTrackingMode::backlogRoutes_(), "test");
   const Vok::Ptr<LfibIpLookupStatus> status = lfibIpLookupStatusFactory("status");
   Published published{status};
};

TEST_F(LfibIpLookupTest, aLabelLeadsWhereItsRouteDoes) {
   lookup(1, "red");
   lookup(2, "blue");
   route(100, viaSetKey(1));
   deliver();
   status->labelVrfAfIs(LfibIpLookupStatusLabelVrfAf(Kinet::MplsLabel(7), L3::VrfName("stale"), {}));
   const auto sm = lfibIpLookupSmFactory(seen, tracking, status);
   EXPECT_EQ(published.taken(), (Steps{"+7 stale", "-7 stale", "+100 red"}));

   const struct {
      std::function<void()> act;
      Steps expected;
   } cases[] = {
       {[&] { route(100, viaSetKey(1)); }, {}},
       {[&] { route(100, viaSetKey(2)); }, {"-100 red", "+100 blue"}},
       {[&] { route(101, viaSetKey(2)); }, {"+101 blue"}},
       {[&] { route(100, viaSetKey(9, viaTypeMplsIp_)); }, {"-100 blue"}},
       {[&] { route(100, viaSetKey(9)); }, {}}, // no such via set
       {[&] { lookup(9, "green"); }, {"+100 green"}},
       {[&] {
           lfib->ipLookupViaDel(viaKey(9));
           route(100, viaSetKey(9));
        },
        {"-100 green"}},
       {[&] { lfib->lfibRouteDel(labelKey(101)); }, {"-101 blue"}},
       {[&] { lfib->lfibRouteDel(labelKey(100)); }, {}},
   };
   for (const auto& step : cases) {
      step.act();
      deliver();
      EXPECT_EQ(published.taken(), step.expected) << "case " << &step - cases;
      EXPECT_EQ(tracking->routeKeyBacklogs(), 0u);
      EXPECT_EQ(status->labelVrfAfs(), sm->vrfAfs());
   }
}

TEST_F(LfibIpLookupTest, tracesOfResultsAndTheAssertion) {
   lookup(1, "red");
   route(100, viaSetKey(1));
   deliver();
   const Vok::TraceCapture capture("LfibIpLookupSm/1");
   const auto sm = lfibIpLookupSmFactory(seen, tracking, status);
   sm->handleRouteKeyBacklog(labelKey(100));
   const auto lines = capture.lines();
   ASSERT_EQ(lines.size(), 2u);
   EXPECT_TRUE(lines[0].ends_with(" updating mapping label=100 vrfName=red af=ipv4")) << lines[0];
   EXPECT_TRUE(lines[1].ends_with(" no change for label=100")) << lines[1];
   EXPECT_NE(lines[1].find("handleRouteKeyBacklog("), std::string::npos) << lines[1];

   damage("ipLookupVia");
   trackingSm->handleLfibRoute(labelKey(100));
   EXPECT_EQ(published.taken(), (Steps{"+100 red", "-100 red"}));
   EXPECT_EQ(seen->ipLookupViaControl().corruptions(), 1u);

   LfibViaSet empty;
   empty.keyIs(viaSetKey(1));
   lfib->viaSetIs(empty);
   EXPECT_DEATH(deliver(), "assertion failed: viaSet.viaKeys\\(\\) == 1");
}

} // namespace
} // namespace Mpls
