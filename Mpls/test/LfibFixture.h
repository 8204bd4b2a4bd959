#pragma once

#include "Mpls/MplsLfibWriter.h"
#include "Pooltab/PrivateFolder.h"
#include "Pooltab/VokPooltab.h"

#include <gtest/gtest.h>
#include <set>
#include <utility>
#include <vector>

/// LFIB tables in private memory with their writer, and rows to put into them.

namespace Mpls {

inline LfibMplsVia mplsVia(Vok::U32 number, Vok::U32 weight = 1) {
   LfibMplsVia via;
   via.nextHopIs(Kinet::IpGenAddr::fromIpv4(0x0a000000 + number));
   via.labelActionIs(Kinet::MplsLabelAction::swap);
   via.labelStackIs(Kinet::MplsLabelOperation(Kinet::MplsLabel(1000 + number)));
   via.weightIs(weight);
   return via;
}

inline LfibPwVia pwVia(Vok::U32 number) {
   LfibPwVia via;
   via.pwIntfIdIs(Kinet::IntfId("Pseudowire" + std::to_string(number)));
   return via;
}

inline RouteKey labelKey(Vok::U32 label) {
   return RouteKey::fromLabel(Kinet::MplsLabel(label));
}

inline ConsolidatedLfibRoute mplsRoute(Vok::U32 label, const std::vector<LfibMplsVia>& vias) {
   ConsolidatedLfibRoute route;
   route.keyIs(labelKey(label));
   route.sourceIs(LFib::Source::lfibSourceLdp);
   route.metricIs(RouteMetric(100));
   route.viaTypeIs(viaTypeMplsIp_);
   for (const LfibMplsVia& via : vias)
      route.mplsViaIs(via);
   return route;
}

/// Whether each route leads to a via set and each via key to a via.
inline testing::AssertionResult graphIsWhole(const LfibStatus& lfib) {
   for (const LfibRoute& route : lfib.lfibRouteEach())
      if (!lfib.viaSetHas(route.viaSetKey()))
         return testing::AssertionFailure() << route.key().stringValue() << " leads to no via set";
   for (const LfibViaSet& viaSet : lfib.viaSetEach())
      for (const auto [slot, key] : viaSet.viaKeyEach())
         if (!(key.viaType() == viaTypeMplsPseudowire_ ? lfib.pwViaHas(key) : lfib.mplsViaHas(key)))
            return testing::AssertionFailure() << "no via " << Vok::valueToStrep(key);
   return testing::AssertionSuccess();
}

/// Notes every row change in order, and holds the graph against its promise after each.
class RowWatch final : public LfibStatus::Notifiee {
  public:
   using LfibStatus::Notifiee::Notifiee;
   /// Such as "+via", "-set", "=route": come, gone, rewritten.
   std::vector<std::string> steps() { return std::exchange(steps_, {}); }

   void onLfibRoute(const RouteKey& key) override {
      note("route", status().lfibRouteHas(key), key.stringValue());
   }
   void onViaSet(const LfibViaSetKey& key) override {
      note("set", status().viaSetHas(key), Vok::valueToStrep(key));
   }
   void onMplsVia(const LfibViaKey& key) override {
      note("via", status().mplsViaHas(key), Vok::valueToStrep(key));
   }
   void onPwVia(const LfibViaKey& key) override {
      note("pw", status().pwViaHas(key), Vok::valueToStrep(key));
   }

  private:
   const LfibStatus& status() const { return static_cast<const LfibStatus&>(*vokWatched()); }
   void note(const std::string& kind, bool isThere, const std::string& key) {
      const bool wasThere = present_.contains(kind + key);
      steps_.push_back((!isThere ? "-" : wasThere ? "=" : "+") + kind);
      if (isThere)
         present_.insert(kind + key);
      else
         present_.erase(kind + key);
      EXPECT_TRUE(graphIsWhole(status())) << "after " << steps_.back();
   }

   std::set<std::string> present_;
   std::vector<std::string> steps_;
};

class LfibFixture : public testing::Test {
  protected:
   std::vector<LfibViaKey> viaKeysOf(Vok::U32 label) const {
      std::vector<LfibViaKey> keys;
      const LfibViaSet viaSet = lfib->viaSet(lfib->lfibRoute(labelKey(label)).viaSetKey());
      for (const auto [slot, key] : viaSet.viaKeyEach())
         keys.push_back(key);
      return keys;
   }

   const Vok::Ptr<LfibStatus> lfib = lfibStatusFactory("lfib");
   VokPooltab::WriterMount mount{lfib, std::make_shared<Pooltab::PrivateFolder>("lfib")};
   const Vok::Ptr<LfibWriter> writer = Vok::make<LfibWriter>(lfib);
};

} // namespace Mpls
