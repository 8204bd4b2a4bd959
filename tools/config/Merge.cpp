#include "tools/config/Merge.h"

#include "tools/common/Paths.h"

namespace tools::config {

using Hubdb::MountFilter;

std::vector<Database::Mount> cliInputMounts() {
   return {{std::string(paths::routeInputCli), Mpls::RouteConfigInput::vokType().name()},
           {std::string(paths::vrfInputCli), Mpls::VrfLabelConfigInput::vokType().name()}};
}

std::vector<Database::Mount> inputMounts() {
   std::vector<Database::Mount> mounts = cliInputMounts();
   mounts.push_back(
       {std::string(paths::routeInputs), Mpls::RouteConfigInput::vokType().name(), MountFilter::entries()});
   mounts.push_back(
       {std::string(paths::vrfInputs), Mpls::VrfLabelConfigInput::vokType().name(), MountFilter::entries()});
   return mounts;
}

Merge::Merge(const Vok::Ptr<Hubdb::EntityManager>& manager, const Vok::Ptr<Mpls::RouteConfigInput>& cliRoutes,
             const Vok::Ptr<Mpls::VrfLabelConfigInput>& cliVrfLabels)
    : routes_(Mpls::routeConfigFactory("merged")), vrfLabels_(Mpls::vrfLabelConfigFactory("merged")),
      routeMachine_(Mpls::routeConfigMergeSmFactory(routes_, manager->get<Vok::Dir>(paths::routeInputs),
                                                    cliRoutes, manager)),
      vrfMachine_(Mpls::vrfLabelConfigMergeSmFactory(vrfLabels_, manager->get<Vok::Dir>(paths::vrfInputs),
                                                     cliVrfLabels, manager)) {}

Merge::Merge(const Vok::Ptr<Hubdb::EntityManager>& manager)
    : Merge(manager, manager->get<Mpls::RouteConfigInput>(paths::routeInputCli),
            manager->get<Mpls::VrfLabelConfigInput>(paths::vrfInputCli)) {}

} // namespace tools::config
