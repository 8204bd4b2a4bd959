#include "tools/mpls-agent/forward/Programmer.h"
#include "tools/common/AdjacencyIndex.h"
#include "tools/mpls-agent/forward/HardwareReport.h"

#include "Mpls/test/ReadingFixture.h"

#include <map>
#include <optional>

namespace agent {

namespace {

using namespace Mpls;
using ReturnCode = ForwardingTable::ReturnCode;

/// A forwarding table over the tables, with what it reports; may die and leave its report behind.
struct ProgrammerTest : ReadingFixture {
   struct Agent {
      Agent(ProgrammerTest& test, std::size_t capacity)
          : report(test.status, test.rows), table(capacity, report), programmer(test.seen, table) {
         programmer.settle();
         report.forgetAllBut(table);
      }
      HardwareReport report;
      ForwardingTable table;
      Programmer programmer;
   };

   ProgrammerTest() { agent.emplace(*this, capacity); }

   unsigned pick(unsigned limit) { return std::uniform_int_distribution<unsigned>(0, limit - 1)(random); }

   LfibViaSet viaSetOf(unsigned label) const {
      return lfib->viaSet(lfib->lfibRoute(labelKey(label)).viaSetKey());
   }
   /// Any one change, also such as no orderly writer makes.
   void changeSomething() {
      const unsigned label = 16 + pick(12);
      const LfibViaSet viaSet = viaSetOf(label);
      if (!viaSet) // the writer stops on a route that leads nowhere
         lfib->lfibRouteDel(labelKey(label));
      switch (pick(9)) {
      case 0:
         return writer->lfibRouteDel(labelKey(label));
      case 1:
         return lfib->viaSetDel(viaSet.key());
      case 2: // a via goes, and may come again under its key
         if (!!viaSet) {
            const LfibViaKey key = viaSet.viaKey(LfibViaIndexRange(0));
            gone.push_back(lfib->mplsVia(key));
            lfib->mplsViaDel(key);
         }
         return;
      case 3:
         if (!gone.empty() && !!gone.back())
            lfib->mplsViaIs(gone.back());
         return gone.clear();
      case 4: // two routes share a via set
         if (LfibRoute route = lfib->lfibRoute(labelKey(label)); !!route) {
            route.keyIs(labelKey(16 + pick(12)));
            lfib->lfibRouteIs(route);
         }
         return;
      case 5:
         capacity = pick(14);
         return agent->table.capacityIs(capacity);
      default:
         writer->lfibRouteIs(mplsRoute(label, {mplsVia(pick(5)), mplsVia(5 + pick(3))}));
      }
   }

   /// What has to be reported, from a walk over all rows.
   void expectReported() {
      std::map<RouteKey, ReturnCode> wanted;
      std::size_t room = capacity;
      std::map<RouteKey, LfibRoute> routes;
      std::map<LfibViaSetKey, bool> isWhole;
      for (const LfibRoute& row : lfib->lfibRouteEach())
         routes.emplace(row.key(), row);
      for (const auto& [key, row] : routes) {
         bool& whole = isWhole[row.viaSetKey()] = lfib->viaSetHas(row.viaSetKey());
         const LfibViaSet viaSet = lfib->viaSet(row.viaSetKey());
         for (const auto [slot, viaKey] : viaSet.viaKeyEach())
            whole &= lfib->mplsViaHas(viaKey);
         wanted[key] = !whole      ? ReturnCode::adjacencyNotProgrammed
                       : room == 0 ? ReturnCode::routeNotProgrammed
                                   : (--room, ReturnCode::programmed);
      }
      ASSERT_EQ(status->routes(), wanted.size());
      ASSERT_EQ(status->adjacencys(), isWhole.size());
      std::size_t unprogrammed = 0;
      for (const auto& [key, code] : wanted) {
         const Hardware::Route route = status->route(key);
         const LfibViaSetKey viaSetKey = routes.at(key).viaSetKey();
         EXPECT_EQ(route.unprogrammed(), code != ReturnCode::programmed) << key.stringValue();
         EXPECT_EQ(tools::viaSetKeyOf(route.adjBaseKey().index()), viaSetKey);
         const auto adjacency = status->adjacency(route.adjBaseKey().index());
         ASSERT_TRUE(adjacency);
         EXPECT_EQ(adjacency->unprogrammed(), !isWhole.at(viaSetKey));
         EXPECT_EQ(agent->table.forward(key) != nullptr, code == ReturnCode::programmed);
         EXPECT_EQ(rows->unprogrammedRoute(key).returnCode(), code);
         unprogrammed += code != ReturnCode::programmed;
         expectVias(*adjacency, viaSetKey);
      }
      EXPECT_EQ(rows->unprogrammedRoutes(), unprogrammed);
   }
   void expectVias(const Hardware::Adjacency& adjacency, const LfibViaSetKey& viaSetKey) {
      std::set<Kinet::MplsLabel> labels, wanted;
      for (const Hardware::Via& via : adjacency.viaEach())
         labels.insert(via.l2Via().outLabel());
      const LfibViaSet viaSet = lfib->viaSet(viaSetKey);
      for (const auto [slot, key] : viaSet.viaKeyEach())
         if (const LfibMplsVia via = lfib->mplsVia(key); !!via)
            wanted.insert(via.labelStack().topLabel());
      EXPECT_EQ(labels, wanted);
   }

   const Vok::Ptr<LfibWriter> writer = lfibWriterFactory(lfib);
   const Vok::Ptr<Hardware::Status> status = Hardware::statusFactory("hardware");
   const Vok::Ptr<LfibHwStatus> rows = lfibHwStatusFactory("hardware");
   VokPooltab::WriterMount rowsMount{rows, Pooltab::privateFolder("hardware"), Pooltab::PoolOptions{}};
   std::vector<LfibMplsVia> gone;
   std::size_t capacity = 6;
   std::optional<Agent> agent;
};

TEST_F(ProgrammerTest, ReportsWhatAWalkOverTheTablesGives) {
   for (int step = 0; step < 4000 && !HasFailure(); ++step) {
      SCOPED_TRACE(step);
      // A burst now and then overtakes the reader, whose log is short.
      for (unsigned changes = pick(10) ? 1 : 40; changes > 0; --changes)
         changeSomething();
      if (pick(50) == 0) { // killed, and started again over what it left
         agent.reset();
         deliver();
         agent.emplace(*this, capacity);
      }
      mount.flush();
      deliver();
      agent->programmer.settle();
      expectReported();
   }
}

TEST_F(ProgrammerTest, EveryKindOfViaHasAnAdjacency) {
   const auto viaSetIs = [&](unsigned label, const LfibViaKey& via, LfibViaSetType type) {
      LfibViaSet viaSet;
      viaSet.keyIs({via.source(), label, via.viaType(), type});
      viaSet.viaKeyIs(LfibViaIndexRange(0), via);
      lfib->viaSetIs(viaSet);
      lfib->lfibRouteIs(
          LfibRoute(labelKey(label), viaSet.key(), via.source(), FwdEqvClass(), RouteMetric(0)));
   };
   const auto key = [](LfibViaType type) { return LfibViaKey(LFib::Source::lfibSourceDebug, type, 7); };
   LfibPwVia pw = pwVia(3);
   pw.keyIs(key(LfibPwVia::viaType));
   lfib->pwViaIs(pw);
   viaSetIs(16, pw.key(), LfibViaSetType::unicast);
   LfibIpLookupVia ipLookup(key(LfibIpLookupVia::viaType), PayloadType::ipv4);
   lfib->ipLookupViaIs(ipLookup);
   viaSetIs(17, ipLookup.key(), LfibViaSetType::unicast);
   LfibExtFecVia extFec(key(LfibExtFecVia::viaType), Pooltab::Fib::FecId(12), Kinet::MplsLabelAction::pop,
                        PayloadType::ipv6);
   lfib->extFecViaIs(extFec);
   viaSetIs(18, extFec.key(), LfibViaSetType::unicast);
   LfibMplsVia mpls = mplsVia(4);
   mpls.keyIs(key(LfibMplsVia::viaType));
   lfib->mplsViaIs(mpls);
   viaSetIs(19, mpls.key(), LfibViaSetType::multicast);
   mount.flush();
   deliver();
   agent->programmer.settle();

   const auto adjacencyOf = [&](unsigned label) {
      return status->adjacencyBase(status->route(labelKey(label)).adjBaseKey());
   };
   const auto as = [&]<class Kind>(unsigned label) { return Vok::ptrCast<const Kind>(adjacencyOf(label)); };
   EXPECT_EQ(as.operator()<Hardware::PwAdjacency>(16)->via().pwIntfId(), pw.pwIntfId());
   EXPECT_EQ((*as.operator()<Hardware::Adjacency>(17)->viaEach().begin()).l2Via().payloadType(),
             PayloadType::ipv4);
   EXPECT_EQ(as.operator()<Hardware::ExtFecAdjacency>(18)->fecId(), Pooltab::Fib::FecId(12));
   EXPECT_EQ((*as.operator()<Hardware::MulticastAdjacency>(19)->viaSet().viaEach().begin()).key.nextHop(),
             mpls.nextHop());
   for (const unsigned label : {16, 17, 18, 19})
      EXPECT_FALSE(status->route(labelKey(label)).unprogrammed());
   pw.pwIntfIdIs(Kinet::IntfId("Pseudowire9")); // under its key
   lfib->pwViaIs(pw);
   writer->lfibRouteDel(labelKey(17));
   mount.flush();
   deliver();
   agent->programmer.settle();
   EXPECT_EQ(as.operator()<Hardware::PwAdjacency>(16)->via().pwIntfId(), pw.pwIntfId());
   EXPECT_EQ(status->adjacencys(), 0u);
}

} // namespace

} // namespace agent
