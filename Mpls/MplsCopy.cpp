#include "Mpls/MplsCopy.h"

#include "Cli/EntityCopy.h"
#include "Mpls/Mpls.h"
#include "Vok/Trace.h"

namespace Mpls {

static constinit Vok::TraceFacility trace("MplsCopy");

void MplsConfigCopyHandler::initialize() {
   filteredAttributeIs()->attributeIs("route");
}

bool MplsConfigCopyHandler::handleEntity(const Vok::Ptr<Cli::Session::EntityCopy>& entityCopy,
                                         const Vok::Ptr<Vok::Entity>& dst,
                                         const Vok::Ptr<const Vok::Entity>& src, const Vok::String& path) {
   if (auto line = trace.at(8))
      line << "handleEntity"
           << " " << src->fullName() << "-->" << dst->fullName();
   const auto to = Vok::ptrCast<RouteConfigInput>(dst);
   const auto from = Vok::ptrCast<const RouteConfigInput>(src);
   if (!to || !from)
      return false;
   entityCopy->copyAttributes(to, from, filteredAttribute(), path);
   for (const auto& entry : to->routeEach())
      if (!from->routeHas(entry.key))
         to->routeDel(entry.key);
   for (const auto& entry : from->routeEach()) {
      if (auto line = trace.at(8))
         line << "Copying route";
      const Vok::String routePath = from->fullName() + ".route/" + entry.key.stringValue();
      entityCopy->copyEntity(to->routeIs(entry.key), entry.value, routePath);
   }
   return true;
}

} // namespace Mpls
