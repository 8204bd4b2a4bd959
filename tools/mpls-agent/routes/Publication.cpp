#include "tools/mpls-agent/routes/Publication.h"

#include "Cli/EntityCopy.h"
#include "Vok/EntityType.h"

namespace agent {

Publication::Publication(const Vok::Ptr<const Vok::Entity>& from, Vok::Ptr<Vok::Entity> to)
    : Notifiee(from), to_(std::move(to)) {
   const Cli::HandlerRegistry noHandlers;
   Vok::make<Cli::Session::EntityCopy>(noHandlers)->copyEntity(to_, from, to_->fullName());
}

void Publication::vokOnChange(Vok::AttrId attr, const void* key) {
   const Vok::Entity& from = *vokWatched();
   const Vok::Attribute& attribute = *to_->vokEntityType().attribute(attr);
   const Vok::AttributeAccess& access = attribute.access;
   if (attribute.kind == Vok::AttributeKind::scalar)
      access.set(*to_, access.get(from));
   else if (const void* value = access.find(from, key); !value)
      access.erase(*to_, key);
   else if (attribute.kind == Vok::AttributeKind::references)
      access.refer(*to_, key, access.entity(from, key));
   else
      access.put(*to_, key, value);
}

} // namespace agent
