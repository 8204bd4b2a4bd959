#include "tools/config/Merge.h"
#include "tools/mpls-agent/Agent.h"
#include "tools/mpls-agent/routes/LfibRoutes.h"
#include "tools/mpls-agent/routes/Publication.h"

namespace agent {

namespace {

namespace paths = tools::paths;

/// What this agent owns.
std::vector<tools::Database::Mount> outputs() {
   return {
       {std::string(paths::routeConfig), Mpls::RouteConfig::vokType().name(), Hubdb::MountFilter::own()},
       {std::string(paths::vrfConfig), Mpls::VrfLabelConfig::vokType().name(), Hubdb::MountFilter::own()}};
}

void serveRoutes(const Options& options, const std::string& pool) {
   Process process(options, "mpls-agent routes");
   process.makeExist(tools::config::cliInputMounts());
   // Inputs before outputs: the merged routes of an earlier run lead to the inputs' entities.
   process.mount(tools::config::inputMounts());
   process.mount(outputs());
   const tools::config::Merge merge(process.manager());
   process.waitUntil([&] { return merge.isReady(); });
   const Publication routes(merge.routes(), process.manager()->getEntity(paths::routeConfig));
   const Publication vrfLabels(merge.vrfLabels(), process.manager()->getEntity(paths::vrfConfig));
   // Last, for an agent that stands by must not hold the tables.
   const auto lfib = tools::openWriter(pool);
   const LfibRoutes lfibRoutes(process.activity(), merge, *lfib);
   process.sayReady();
   process.serve();
}

} // namespace

void routesVerb(tools::Command program, const Options& options) {
   auto pool = std::make_shared<std::string>(tools::pools::lfib);
   program.verb("routes", "Merge the static routes and VRF labels of all sources, and write them to the LFIB")
       .option("--pool", *pool, "Pool of the LFIB's tables")
       .does([&options, pool] { serveRoutes(options, *pool); });
}

} // namespace agent
