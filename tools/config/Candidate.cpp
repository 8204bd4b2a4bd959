#include "tools/config/Candidate.h"

#include "tools/common/Paths.h"

#include "Cli/EntityCopy.h"
#include "Mpls/MplsCopy.h"

namespace tools::config {

namespace {

Cli::HandlerRegistry makeHandlers() {
   Cli::HandlerRegistry handlers;
   handlers.handlerIs(Mpls::RouteConfigInput::vokType(),
                      Mpls::copyHandlerDirFactory("copy")->copyHandlerIs());
   return handlers;
}

} // namespace

void copyEntity(const Vok::Ptr<Vok::Entity>& to, const Vok::Ptr<const Vok::Entity>& from) {
   const Cli::HandlerRegistry handlers = makeHandlers();
   Vok::make<Cli::Session::EntityCopy>(handlers)->copyEntity(to, from, from->fullName());
}

const std::vector<SessionPart>& sessionParts() {
   static const std::vector<SessionPart> parts = {{paths::routeInputCli, &Mpls::RouteConfigInput::vokType()},
                                                  {paths::vrfInputCli, &Mpls::VrfLabelConfigInput::vokType()},
                                                  {paths::config, &Mpls::Config::vokType()}};
   return parts;
}

} // namespace tools::config
