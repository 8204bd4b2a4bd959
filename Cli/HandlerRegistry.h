#pragma once
// Cli::HandlerRegistry: which handler copies which type of entity.

#include "Cli/EntityCopyHandler.h"

#include <map>

namespace Cli {

/// Belongs to the activity thread.
class HandlerRegistry {
  public:
   /// Lets the handler copy entities of the type and of all types derived from it that have no handler of
   /// their own. Initializes the handler, unless it is registered for another type already. Raises
   /// Vok::RangeError for null, and for a type that has a handler.
   void handlerIs(const Vok::EntityType& type, const Vok::Ptr<EntityCopyHandler>& handler);
   void handlerDel(const Vok::EntityType& type) { handlers_.erase(&type); }
   /// The handler of the type or of its nearest base that has one; null when there is none.
   Vok::Ptr<EntityCopyHandler> handler(const Vok::EntityType& type) const;

  private:
   std::map<const Vok::EntityType*, Vok::Ptr<EntityCopyHandler>> handlers_;
};

} // namespace Cli
