#include "tools/mplsctl/Connection.h"

#include "tools/config/Candidate.h"

#include "Vok/EntityType.h"

namespace mplsctl {

using Hubdb::MountFilter;

Vok::Ptr<Vok::Entity> Connection::present(const std::string& path, const Vok::EntityType& type) {
   database.mount({{tools::paths::directoryOf(path), type.name(), MountFilter::entries()}});
   const auto entity = manager()->getEntity(path);
   return entity && entity->vokEntityType().isA(type) ? entity : nullptr;
}

Vok::Ptr<Vok::Entity> Connection::input(const std::string& path, const Vok::EntityType& type, bool dryRun) {
   if (!dryRun) {
      database.mount({{path, type.name(), MountFilter::own()}});
      return manager()->getEntity(path);
   }
   const auto copy = type.make(path.substr(path.rfind('/') + 1));
   if (const auto entity = present(path, type))
      tools::config::copyEntity(copy, entity);
   return copy;
}

} // namespace mplsctl
