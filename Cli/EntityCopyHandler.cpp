#include "Cli/EntityCopyHandler.h"

#include "Vok/EntityType.h"

namespace Cli {

const Vok::EntityType& EntityCopyHandler::vokType() {
   static const Vok::EntityType type("Cli::EntityCopyHandler", Vok::Kind::entity,
                                     "Takes over the copying of one type of entity.", nullptr, {}, {});
   return type;
}

} // namespace Cli
