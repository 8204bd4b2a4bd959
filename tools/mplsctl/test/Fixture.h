#pragma once

#include "tools/mplsctl/lfib/LfibTables.h"
#include "tools/mplsctl/test/Printed.h"

#include "Mpls/MplsLfibWriter.h"
#include "Pooltab/VokPooltab.h"

#include <gtest/gtest.h>

/// A writer and readers of one LFIB in private memory.

namespace mplsctl {

struct LfibFixture : testing::Test {
   struct Next {
      const char* hop;
      std::initializer_list<unsigned> topFirst = {};
      const char* interface = "";
   };

   explicit LfibFixture(unsigned logEntriesLog2 = 16)
       : mount(status, folder, Pooltab::PoolOptions{.logEntriesLog2 = logEntriesLog2}) {}

   static Mpls::RouteKey key(unsigned label) { return Mpls::RouteKey::fromLabel(Kinet::MplsLabel(label)); }

   void put(const Mpls::RouteKey& routeKey, std::initializer_list<Next> hops,
            Mpls::LFib::Source source = Mpls::LFib::Source::lfibSourceLdp) {
      Mpls::ConsolidatedLfibRoute route;
      route.keyIs(routeKey);
      route.sourceIs(source);
      route.viaTypeIs(Mpls::viaTypeMplsIp_);
      for (const Next& next : hops) {
         Kinet::BoundedMplsLabelStack stack;
         for (auto label = std::rbegin(next.topFirst); label != std::rend(next.topFirst); ++label)
            stack.push(Kinet::MplsLabel(*label));
         Mpls::LfibMplsVia via;
         if (*next.hop)
            via.nextHopIs(Kinet::IpGenAddr(next.hop));
         via.intfIs(Kinet::IntfId(next.interface));
         via.labelStackIs(Kinet::MplsLabelOperation(stack));
         via.labelActionIs(via.labelStack().labelAction());
         route.mplsViaIs(via);
      }
      writer->lfibRouteIs(route);
      mount.flush();
   }
   void put(unsigned label, std::initializer_list<Next> hops) { put(key(label), hops); }
   void del(unsigned label) {
      writer->lfibRouteDel(key(label));
      mount.flush();
   }

   std::shared_ptr<Pooltab::Folder> folder = Pooltab::privateFolder("lfib");
   Vok::Ptr<Mpls::LfibStatus> status = Mpls::lfibStatusFactory(Vok::Name("lfib"));
   VokPooltab::WriterMount mount;
   Vok::Ptr<Mpls::LfibWriter> writer = Mpls::lfibWriterFactory(status);
};

} // namespace mplsctl
