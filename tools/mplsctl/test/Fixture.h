#pragma once

#include "tools/common/Output.h"
#include "tools/mplsctl/lfib/LfibTables.h"

#include "Mpls/MplsLfibWriter.h"
#include "Pooltab/VokPooltab.h"

#include <functional>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

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

   /// What a function wrote.
   static std::string printed(const std::function<void(tools::Output&)>& print) {
      const int file = memfd_create("printed", 0);
      {
         tools::Output out(file);
         print(out);
         out.flush();
      }
      std::string text(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
      EXPECT_EQ(pread(file, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
      close(file);
      return text;
   }

   std::shared_ptr<Pooltab::Folder> folder = Pooltab::privateFolder("lfib");
   Vok::Ptr<Mpls::LfibStatus> status = Mpls::lfibStatusFactory(Vok::Name("lfib"));
   VokPooltab::WriterMount mount;
   Vok::Ptr<Mpls::LfibWriter> writer = Mpls::lfibWriterFactory(status);
};

} // namespace mplsctl
