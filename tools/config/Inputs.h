#pragma once

#include "tools/common/Database.h"

#include "Mpls/Mpls.h"
#include "Mpls/VrfLabelConfigMergeSm.h"

#include <map>

/// What every source configures.

namespace tools::config {

/// The name of the command line among the sources.
constexpr std::string_view cliSource = "cli";

/// The inputs by the names of their sources, which is the order in which sources are compared. A source need
/// not have both kinds.
struct Inputs {
   std::map<std::string, Vok::Ptr<const Mpls::RouteConfigInput>> routes;
   std::map<std::string, Vok::Ptr<const Mpls::VrfLabelConfigInput>> vrfLabels;
};

/// What mounts the inputs that there are, whether or not the command line has made its own.
std::vector<Database::Mount> presentInputMounts();

/// All that presentInputMounts() has brought.
Inputs presentInputs(const Hubdb::EntityManager& manager);

/// Where a source's own input stands. Raises Failure( usage ) for a name that cannot be one.
std::string routeInputPath(const std::string& source);
std::string vrfInputPath(const std::string& source);

} // namespace tools::config
