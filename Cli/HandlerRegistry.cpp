#include "Cli/HandlerRegistry.h"

#include "Vok/EntityType.h"
#include "Vok/Errors.h"

#include <algorithm>

namespace Cli {

void HandlerRegistry::handlerIs(const Vok::EntityType& type, const Vok::Ptr<EntityCopyHandler>& handler) {
   const Vok::String typeName(type.name());
   if (!handler)
      throw Vok::RangeError("null handler for copies of " + typeName + " not allowed");
   if (handlers_.contains(&type))
      throw Vok::RangeError("a second handler for copies of " + typeName +
                            " not allowed; remove the first one with handlerDel()");
   const bool known =
       std::ranges::any_of(handlers_, [&](const auto& entry) { return entry.second == handler; });
   if (!known)
      handler->initialize();
   handlers_.emplace(&type, handler);
}

Vok::Ptr<EntityCopyHandler> HandlerRegistry::handler(const Vok::EntityType& type) const {
   for (const Vok::EntityType* candidate = &type; candidate; candidate = candidate->base())
      if (const auto found = handlers_.find(candidate); found != handlers_.end())
         return found->second;
   return nullptr;
}

} // namespace Cli
