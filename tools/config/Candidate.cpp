#include "tools/config/Candidate.h"

#include "tools/common/Paths.h"

#include "Cli/EntityCopy.h"
#include "Mpls/MplsCopy.h"

namespace tools::config {

namespace {

/// The copier of one call, with the handlers that it needs.
struct Copier {
   Copier() {
      handlers.handlerIs(Mpls::RouteConfigInput::vokType(),
                         Mpls::copyHandlerDirFactory("copy")->copyHandlerIs());
   }
   Cli::HandlerRegistry handlers;
   Vok::Ptr<Cli::Session::EntityCopy> copy = Vok::make<Cli::Session::EntityCopy>(handlers);
};

} // namespace

void copyEntity(const Vok::Ptr<Vok::Entity>& to, const Vok::Ptr<const Vok::Entity>& from) {
   Copier().copy->copyEntity(to, from, from->fullName());
}

void copyEntries(const Vok::Ptr<Vok::Entity>& to, const Vok::Ptr<const Vok::Entity>& from,
                 const std::vector<Cli::Session::Entry>& entries) {
   const Copier copier;
   for (const Cli::Session::Entry& entry : entries)
      copier.copy->copyEntry(to, from, entry, from->fullName());
}

const std::vector<SessionPart>& sessionParts() {
   static const std::vector<SessionPart> parts = {{paths::routeInputCli, &Mpls::RouteConfigInput::vokType()},
                                                  {paths::vrfInputCli, &Mpls::VrfLabelConfigInput::vokType()},
                                                  {paths::config, &Mpls::Config::vokType()}};
   return parts;
}

Side Side::of(const Find& find) {
   const auto entity = [&](const SessionPart& part) {
      const auto found = find(part);
      return found ? found : part.type->make(part.path.substr(part.path.rfind('/') + 1));
   };
   const std::vector<SessionPart>& parts = sessionParts();
   return {Vok::ptrCast<Mpls::RouteConfigInput>(entity(parts[0])),
           Vok::ptrCast<Mpls::VrfLabelConfigInput>(entity(parts[1])),
           Vok::ptrCast<Mpls::Config>(entity(parts[2]))};
}

Side Side::empty() {
   return of([](const SessionPart&) { return nullptr; });
}

Side Side::copy() const {
   const Side made = empty();
   made.become(*this);
   return made;
}

void Side::become(const Side& other) const {
   const auto to = parts(), from = other.parts();
   for (std::size_t i = 0; i < to.size(); ++i)
      copyEntity(to[i], from[i]);
}

} // namespace tools::config
