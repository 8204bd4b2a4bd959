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

/// Who configured a route, merged or not: the source in whose input it lives; "-" when it lives in none.
std::string sourceOf(const Mpls::Route& route);
/// The source of a merged VRF label: the first that gives the same.
std::string sourceOf(const Inputs& inputs, const Mpls::VrfLabel& merged);

/// Visits the routes of a label stack in an input or in merged configuration, by rising metric. There are few
/// metrics: each is looked up.
template <class Config, class Visit>
void eachMetric(const Config& config, const Mpls::RouteKey& key, Visit&& visit) {
   for (unsigned metric = Mpls::RouteMetric::null; metric <= Mpls::RouteMetric::max; ++metric)
      if (const auto route = config.route(Mpls::RouteKeyAndMetric::fromKey(key, Mpls::RouteMetric(metric))))
         visit(*route);
}

/// Where a source's own input stands. Raises Failure( usage ) for a name that cannot be one.
std::string routeInputPath(const std::string& source);
std::string vrfInputPath(const std::string& source);

} // namespace tools::config
