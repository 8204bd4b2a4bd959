#include "Mpls/LfibIpLookupSm.h"
#include "Mpls/test/ReadingFixture.h"
#include "Vok/Trace.h"

namespace Mpls {
namespace {

/// Writes down what is published, in order: "+100 red -100 red ".
class Published final : public LfibIpLookupStatus::Notifiee {
  public:
   using LfibIpLookupStatus::Notifiee::Notifiee;
   void onLabelVrfAf(const LfibIpLookupStatusLabelVrfAf& member) override {
      const auto& status = static_cast<const LfibIpLookupStatus&>(*vokWatched());
      text += (status.labelVrfAfHas(member) ? "+" : "-") + std::to_string(member.label().value()) + " " +
              member.vrfName().text() + " ";
   }
   std::string text;
};

class LfibIpLookupTest : public ReadingFixture {
  protected:
   static constexpr auto source = LFib::Source::lfibSourceLdp;
   static LfibViaKey viaKey(Vok::U32 number, LfibViaType type = viaTypeIpLookup_) {
      return {source, type, number};
   }
   void route(Vok::U32 label, Vok::U32 viaSet, LfibViaType type = viaTypeIpLookup_) const {
      const LfibViaSetKey key(source, viaSet, type, LfibViaSetType::unicast);
      lfib->lfibRouteIs({labelKey(label), key, source, FwdEqvClass(), RouteMetric(0)});
   }
   void viaSet(Vok::U32 number, Vok::U32 vias = 1, LfibViaType type = viaTypeIpLookup_) const {
      LfibViaSet row;
      row.keyIs({source, number, type, LfibViaSetType::unicast});
      for (Vok::U32 slot = 0; slot < vias; ++slot)
         row.viaKeyIs(LfibViaIndexRange(slot), viaKey(number + slot, type));
      lfib->viaSetIs(row);
   }
   void via(Vok::U32 number, const std::string& vrf) const {
      LfibIpLookupVia row;
      row.keyIs(viaKey(number));
      row.payloadTypeIs(PayloadType::ipv4);
      row.vrfNameIs(L3::VrfName(vrf));
      lfib->ipLookupViaIs(row);
   }
};

TEST_F(LfibIpLookupTest, aLabelLeadsWhereItsRouteDoes) {
   const auto tracking = lfibTrackingStatusFactory("tracking");
   const auto trackingSm = lfibTrackingSmFactory(seen, tracking, LfibTrackingMode::backlogRoutes_(), "test");
   const auto status = lfibIpLookupStatusFactory("status");
   status->labelVrfAfIs(LfibIpLookupStatusLabelVrfAf(Kinet::MplsLabel(7), L3::VrfName("stale"), {}));
   Published published(status);
   via(1, "red"), via(2, "blue");
   viaSet(1), viaSet(2);
   route(100, 1);
   deliver();
   const Vok::TraceCapture capture("LfibIpLookupSm/1");
   const auto sm = lfibIpLookupSmFactory(seen, tracking, status);
   EXPECT_EQ(std::exchange(published.text, ""), "-7 stale +100 red ");
   sm->handleRouteKeyBacklog(labelKey(100));
   const std::string signature = "void Mpls::LfibIpLookupSm::handleRouteKeyBacklog(const Mpls::RouteKey&)";
   EXPECT_EQ(capture.lines(),
             (std::vector<std::string>{signature + " updating mapping label=100 vrfName=red af=ipv4",
                                       signature + " no change for label=100"}));

   const std::pair<std::function<void()>, const char*> cases[] = {
       {[&] { route(100, 2); }, "-100 red +100 blue "},
       {[&] { route(101, 2); }, "+101 blue "},
       {[&] { viaSet(9, 2, viaTypeMplsIp_), route(100, 9, viaTypeMplsIp_); }, "-100 blue "},
       {[&] { route(100, 9); }, ""}, // without a via set
       {[&] { viaSet(9); }, ""},     // without a via
       {[&] { via(9, "green"), route(100, 9); }, "+100 green "},
       {[&] { lfib->ipLookupViaDel(viaKey(9)), route(100, 9); }, "-100 green "},
       {[&] { lfib->lfibRouteDel(labelKey(101)); }, "-101 blue "},
   };
   for (const auto& [act, expected] : cases) {
      act();
      deliver();
      EXPECT_EQ(std::exchange(published.text, ""), expected);
      EXPECT_EQ(tracking->routeKeyBacklogs(), 0u);
      EXPECT_EQ(status->labelVrfAfs(), sm->vrfAfs());
      for (const LfibIpLookupStatusLabelVrfAf& mapping : status->labelVrfAfEach())
         EXPECT_EQ(sm->vrfAf(mapping.label()), mapping);
   }
   viaSet(9, 0);
   EXPECT_DEATH(deliver(), "assertion failed: viaSet.viaKeys\\(\\) == 1");
}

} // namespace
} // namespace Mpls
