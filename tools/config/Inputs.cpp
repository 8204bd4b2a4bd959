#include "tools/config/Inputs.h"

#include "tools/common/Failure.h"
#include "tools/common/Paths.h"

namespace tools::config {

namespace {

template <class Input>
void collect(const Hubdb::EntityManager& manager, std::string_view directory,
             std::map<std::string, Vok::Ptr<const Input>>& inputs) {
   if (const auto dir = manager.get<Vok::Dir>(directory))
      for (const auto& entry : dir->entityPtrEach())
         if (const auto input = Vok::ptrCast<const Input>(Vok::Ptr<const Vok::Entity>(entry.value)))
            inputs[entry.key.text()] = input;
}

std::string inputPath(const std::string& source, std::string_view cli, std::string_view directory) {
   if (source.empty() || source.find('/') != std::string::npos)
      throw Failure(Outcome::usage, "'" + source + "' cannot be the name of a source",
                    "give a word without '/', such as bgp; cli is the command line's own");
   return source == cliSource ? std::string(cli) : paths::entry(directory, source);
}

} // namespace

std::vector<Database::Mount> presentInputMounts() {
   using Hubdb::MountFilter;
   const auto routes = Mpls::RouteConfigInput::vokType().name();
   const auto vrfLabels = Mpls::VrfLabelConfigInput::vokType().name();
   return {{paths::directoryOf(paths::routeInputCli), routes, MountFilter::entries()},
           {std::string(paths::routeInputs), routes, MountFilter::entries()},
           {paths::directoryOf(paths::vrfInputCli), vrfLabels, MountFilter::entries()},
           {std::string(paths::vrfInputs), vrfLabels, MountFilter::entries()}};
}

Inputs presentInputs(const Hubdb::EntityManager& manager) {
   Inputs inputs;
   collect(manager, paths::directoryOf(paths::routeInputCli), inputs.routes);
   collect(manager, paths::routeInputs, inputs.routes);
   collect(manager, paths::directoryOf(paths::vrfInputCli), inputs.vrfLabels);
   collect(manager, paths::vrfInputs, inputs.vrfLabels);
   return inputs;
}

std::string sourceOf(const Mpls::Route& route) {
   return route.vokParent() ? route.vokParent()->vokName().text() : std::string("-");
}

std::string sourceOf(const Inputs& inputs, const Mpls::VrfLabel& merged) {
   for (const auto& [name, input] : inputs.vrfLabels)
      if (input->vrfLabel(merged.label()) == merged)
         return name;
   return "-";
}

std::string routeInputPath(const std::string& source) {
   return inputPath(source, paths::routeInputCli, paths::routeInputs);
}

std::string vrfInputPath(const std::string& source) {
   return inputPath(source, paths::vrfInputCli, paths::vrfInputs);
}

} // namespace tools::config
