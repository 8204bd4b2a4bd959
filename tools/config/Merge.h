#pragma once

#include "tools/common/Database.h"

#include "Mpls/MplsRouteConfigMergeSm.h"
#include "Mpls/VrfLabelConfigMergeSm.h"

/// What the configuration of many sources comes to.

namespace tools::config {

/// What has to be mounted before a Merge: the inputs of all sources that there are, read-only.
std::vector<Database::Mount> inputMounts();
/// The command line's own inputs, which may have to be made first.
std::vector<Database::Mount> cliInputMounts();

/// The merge machines for routes and VRF labels, on outputs that nobody else sees. The agent publishes what
/// comes out; whoever asks "what if" runs another pair over other inputs of the command line.
class Merge {
  public:
   /// Everything in inputMounts() is mounted.
   Merge(const Vok::Ptr<Hubdb::EntityManager>& manager, const Vok::Ptr<Mpls::RouteConfigInput>& cliRoutes,
         const Vok::Ptr<Mpls::VrfLabelConfigInput>& cliVrfLabels);
   /// Over the command line's inputs as they stand.
   explicit Merge(const Vok::Ptr<Hubdb::EntityManager>& manager);

   const Vok::Ptr<Mpls::RouteConfig>& routes() const { return routes_; }
   const Vok::Ptr<Mpls::VrfLabelConfig>& vrfLabels() const { return vrfLabels_; }
   /// Whether all sources are merged, some turns after construction.
   bool isReady() const { return routes_->ready() && vrfLabels_->ready(); }

   const Mpls::RouteConfigMergeSm& routeMachine() const { return *routeMachine_; }
   const Mpls::VrfLabelConfigMergeSm& vrfMachine() const { return *vrfMachine_; }

  private:
   const Vok::Ptr<Mpls::RouteConfig> routes_;
   const Vok::Ptr<Mpls::VrfLabelConfig> vrfLabels_;
   Vok::Ptr<Mpls::RouteConfigMergeSm> routeMachine_;
   Vok::Ptr<Mpls::VrfLabelConfigMergeSm> vrfMachine_;
};

} // namespace tools::config
