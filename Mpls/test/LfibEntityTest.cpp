#include "Mpls/Mpls.h"
#include "Vok/Errors.h"

#include <gtest/gtest.h>

namespace Mpls {
namespace {

ViaSet viaSetOf(std::string_view hop) {
   ViaSet viaSet;
   viaSet.viaIs(Via(Kinet::IpGenAddr(hop), Kinet::MplsLabelAction::swap, Kinet::MplsLabel(17), false), 2);
   return viaSet;
}

TEST(LfibEntityTest, lookupsGoByTheKindOfTheKey) {
   const Vok::Ptr<Status> lfib = statusFactory("lfib");
   for (const AdjacencyType type : {mplsIp_, mplsPseudowire_, mplsExternalFec_, mplsMulticast_})
      EXPECT_EQ(lfib->getAdjacencyBase(AdjacencyKey(1, type)), nullptr);
   lfib->lfibAdjacencyIs(1, viaSetOf("10.0.0.1"));
   lfib->lfibPwAdjacencyIs(1, PwVia());
   lfib->lfibExtFecAdjacencyIs(1, {}, Kinet::MplsLabelAction::pop);
   lfib->lfibMulticastAdjacencyIs(1, viaSetOf("10.0.0.2"));
   for (const AdjacencyType type : {mplsIp_, mplsPseudowire_, mplsExternalFec_, mplsMulticast_})
      EXPECT_EQ(lfib->getAdjacencyBase(AdjacencyKey(1, type))->adjType(), type);
   EXPECT_EQ(lfib->getMulticastAdjacency(AdjacencyKey(1, mplsMulticast_))->viaSet(), viaSetOf("10.0.0.2"));
   EXPECT_EQ(lfib->getExtFecAdjacency(AdjacencyKey(1, mplsExternalFec_))->payloadType(), autoDecide_);

   const AdjacencyKey unknown(1, mplsUnknown_);
   EXPECT_DEATH(lfib->getAdjacencyBase(unknown), "0 && \"Invalid adjType: mplsUnknown\"");
   EXPECT_DEATH(lfib->getAdjacency(unknown), "adjKey.adjType\\(\\) == mplsIp_");
   EXPECT_DEATH(lfib->getPwAdjacency(unknown), "adjKey.adjType\\(\\) == mplsPseudowire_");
   EXPECT_DEATH(lfib->getExtFecAdjacency(unknown), "adjKey.adjType\\(\\) == mplsExternalFec_");
   EXPECT_DEATH(lfib->getMulticastAdjacency(unknown), "adjKey.adjType\\(\\) == mplsMulticast_");
}

TEST(LfibEntityTest, anAdjacencyKeepsWhatItWasMadeOf) {
   const Vok::Ptr<Status> lfib = statusFactory("lfib");
   const auto raised = [](auto act) -> std::string {
      try {
         act();
      } catch (const Vok::ReinstantiationError& error) {
         return error.what();
      }
      return "no error";
   };
   const auto adjacency = lfib->lfibAdjacencyIs(1, viaSetOf("10.0.0.1"));
   EXPECT_EQ(lfib->lfibAdjacencyIs(1, viaSetOf("10.0.0.1")), adjacency);
   lfib->lfibPwAdjacencyIs(1, PwVia());
   lfib->lfibExtFecAdjacencyIs(1, {}, Kinet::MplsLabelAction::pop);
   PwVia other;
   other.controlWordPresentIs(true);
   using Action = Kinet::MplsLabelAction;
   const std::pair<std::string, const char*> cases[] = {
       {raised([&] { lfib->lfibAdjacencyIs(1, viaSetOf("10.0.0.2")); }), "'viaSet'"},
       {raised([&] { lfib->lfibPwAdjacencyIs(1, other); }), "'via'"},
       {raised([&] { lfib->lfibExtFecAdjacencyIs(1, Pooltab::Fib::FecId(2), Action::pop); }), "'fecId'"},
       {raised([&] { lfib->lfibExtFecAdjacencyIs(1, {}, Action::swap); }), "'labelAction'"}};
   for (const auto& [text, parameter] : cases) {
      EXPECT_TRUE(text.starts_with("Reinstantiating the entity with fullName ")) << text;
      EXPECT_NE(text.find(std::string(" where constructor parameter attribute ") + parameter +
                          " has a different value of "),
                std::string::npos)
          << text;
   }
   EXPECT_EQ(lfib->lfibAdjacency(1)->viaSet(), viaSetOf("10.0.0.1"));
}

/// `text` with every line behind `indent` blanks.
std::string indented(const std::string& text, std::size_t indent) {
   std::string result;
   for (std::size_t at = 0; at < text.size();) {
      const std::size_t end = text.find('\n', at) + 1;
      result.append(indent, ' ').append(text, at, end - at);
      at = end;
   }
   return result;
}

TEST(LfibEntityTest, dumps) {
   const Vok::Ptr<Status> lfib = statusFactory("lfib");
   const Vok::Ptr<ProtocolLfib> protocol = protocolLfibFactory("protocol");
   const std::string empty = "nexthopResolutionAllowDefaultRoute: False\n"
                             "lfibAdjacencies #0\n\n"
                             "lfibPwAdjacencies #0\n\n"
                             "lfibExtFecAdjacencies #0\n\n"
                             "lfibRoutes #0\n\n";
   EXPECT_EQ(lfib->dumpState(0), empty);
   EXPECT_EQ(protocol->dumpState(3), indented(empty, 3));

   lfib->nexthopResolutionAllowDefaultRouteIs(true);
   lfib->agentEnabledIs(true);
   lfib->lfibAdjacencyIs(5, viaSetOf("10.0.0.1"));
   lfib->lfibPwAdjacencyIs(6, PwVia(Kinet::IntfId("Pw1"), true, Pseudowire::PseudowireType::ethernet));
   lfib->lfibExtFecAdjacencyIs(7, Pooltab::Fib::FecId(9), Kinet::MplsLabelAction::pop);
   lfib->lfibMulticastAdjacencyIs(8, viaSetOf("10.0.0.2"));
   const LFib::Route route(RouteKey::fromLabel(Kinet::MplsLabel(16)), RouteMetric(100),
                           AdjacencyKey(5, mplsIp_), LFib::Source::lfibSourceLdp,
                           FwdEqvClass(Kinet::IpGenPrefix("10.1.0.0/16")));
   lfib->lfibRouteIs(route);
   const std::string full =
       "nexthopResolutionAllowDefaultRoute: True\n"
       "lfibAdjacencies #1\n"
       "  index: 5, adjType: mplsIp\n"
       "  viaSet:\n"
       "    nextHop: 10.0.0.1, nexthopGroup: , labelAction: swap, outLabel: 17, intf: , payloadType: "
       "undefinedPayload, skipEgressAcl: 0, ttlMode:undefinedTtlMode, weight: 1, count: 2\n"
       "\n"
       "lfibPwAdjacencies #1\n"
       "  index: 6, adjType: mplsPseudowire\n"
       "  via: pwIntfId: Pw1, controlWordPresent: 1, pwType: ethernet\n"
       "\n"
       "lfibExtFecAdjacencies #1\n"
       "  index: 7, fecId: 9, labelAction: pop, payloadType: autoDecide, adjType: mplsExternalFec\n"
       "\n"
       "lfibRoutes #1\n"
       "  labelStack: TOP ( 16 ) BOTTOM, metric: 100, adjKey: (index: 5, type: mplsIp), source: "
       "lfibSourceLdp, "
       "fec: 10.1.0.0/16\n"
       "\n";
   EXPECT_EQ(lfib->dumpState(0), full);
   EXPECT_EQ(lfib->dumpState(3), indented(full, 3));

   protocol->lfibRouteIs(RouteKeyAndMetric(route.routeKey(), RouteMetric(7)),
                         LFib::ProtocolRoute(route.routeKey(), route.adjKey(), route.source(), route.fec()));
   EXPECT_NE(
       protocol->dumpState(0).find("lfibRoutes #1\n  labelStack: TOP ( 16 ) BOTTOM, adjKey: (index: 5, "),
       std::string::npos);
}

} // namespace
} // namespace Mpls
