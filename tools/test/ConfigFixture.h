#pragma once

#include "tools/common/Lfib.h"
#include "tools/common/Paths.h"
#include "tools/config/Inputs.h"
#include "tools/config/Merge.h"
#include "tools/config/RouteProducer.h"

#include "Hubdb/MountGroup.h"
#include "Pooltab/VokPooltab.h"

#include <gtest/gtest.h>

#include <random>

/// A database in one process with a few sources, and an LFIB in private memory.

namespace tools::config {

class PrivateLfib final : public Lfib {
  public:
   const Vok::Ptr<Mpls::LfibStatus>& status() const override { return status_; }
   void publish() override { mount_.flush(); }

  private:
   const Vok::Ptr<Mpls::LfibStatus> status_ = Mpls::lfibStatusFactory(Vok::Name("lfib"));
   VokPooltab::WriterMount mount_{status_, Pooltab::privateFolder("lfib"), Pooltab::PoolOptions{}};
};

struct ConfigFixture : testing::Test {
   ConfigFixture() {
      for (const std::string& source : sources) {
         manager->own<Mpls::RouteConfigInput>(routeInputPath(source));
         manager->own<Mpls::VrfLabelConfigInput>(vrfInputPath(source));
      }
      manager->own<Mpls::Config>(paths::config);
      bool mounted = false;
      const auto group = manager->mountGroup();
      for (const Database::Mount& mount : inputMounts())
         group->doMount(mount.path, mount.typeName, mount.filter);
      group->close([&](Hubdb::MountStatus, Hubdb::EntityManager&) { mounted = true; });
      turnUntil([&] { return mounted; });
   }

   void turnUntil(const std::function<bool()>& done) {
      while (!done())
         activity.turn(0);
   }
   /// One turn with an end, in which what changed is settled.
   void turn() {
      activity.post([] {});
      activity.turn(0);
   }

   Vok::Ptr<Mpls::RouteConfigInput> routes(const std::string& source) {
      return manager->get<Mpls::RouteConfigInput>(routeInputPath(source));
   }
   Vok::Ptr<Mpls::VrfLabelConfigInput> vrfLabels(const std::string& source) {
      return manager->get<Mpls::VrfLabelConfigInput>(vrfInputPath(source));
   }

   unsigned pick(unsigned limit) { return std::uniform_int_distribution<unsigned>(0, limit - 1)(random); }

   static Mpls::RouteKey key(unsigned label) { return Mpls::RouteKey::fromLabel(Kinet::MplsLabel(label)); }
   static Mpls::RouteKeyAndMetric key(unsigned label, unsigned metric) {
      return Mpls::RouteKeyAndMetric::fromLabel(Kinet::MplsLabel(label), Mpls::RouteMetric(metric));
   }

   /// A via of few possible ones, some of which the tables cannot hold.
   Mpls::Via anyVia() {
      Mpls::Via via(Kinet::IpGenAddr(pick(2) ? "10.0.0.1" : "10.0.0.2"),
                    pick(3) ? Kinet::MplsLabelAction::swap : Kinet::MplsLabelAction::pop,
                    pick(4) ? Kinet::MplsLabel(100 + pick(3)) : Kinet::MplsLabel(), false);
      if (pick(6) == 0)
         via.nexthopGroupIs("group");
      return via;
   }

   /// Changes one thing in a source, among few labels, so that sources meet.
   void changeSomething(Mpls::RouteConfigInput& input, Mpls::VrfLabelConfigInput& labels) {
      const unsigned label = 16 + pick(6);
      const Mpls::RouteKeyAndMetric routeKey = key(label, pick(3) ? 100 : 50);
      switch (pick(6)) {
      case 0:
         return input.routeDel(routeKey);
      case 1:
         return labels.vrfLabelDel(Kinet::MplsLabel(label));
      case 2:
         return labels.vrfLabelIs(
             {Kinet::MplsLabel(label), L3::VrfName(pick(2) ? "red" : "blue"), pick(2) == 0});
      default: {
         const auto route = input.routeIs(routeKey);
         const Mpls::Via via = anyVia();
         route->viaIs(via, !route->viaHas(via));
      }
      }
   }
   void changeSomething() {
      const std::string& source = sources[pick(sources.size())];
      changeSomething(*routes(source), *vrfLabels(source));
   }

   const std::vector<std::string> sources{"cli", "alpha", "zulu"};
   Vok::Activity activity;
   Vok::Ptr<Hubdb::EntityManager> manager = Vok::make<Hubdb::EntityManager>(activity, databaseCatalogue());
   std::mt19937 random{1};
};

} // namespace tools::config
