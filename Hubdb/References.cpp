#include "Hubdb/References.h"

#include "Hubdb/Path.h"

namespace Hubdb {

void References::write(const Vok::Entity* entity, Vok::NboAttrLog::Writer& log) const {
   if (entity)
      writeSteps(*entity, log);
}

/// Writes nothing and returns false when the entity stands below no root.
bool References::writeSteps(const Vok::Entity& entity, Vok::NboAttrLog::Writer& log) const {
   const Vok::Entity* parent = entity.vokParent();
   if (!parent) {
      const std::string_view path = pathOf(entity);
      if (path.empty())
         return false;
      log.u16(static_cast<Vok::U16>(path.size()));
      log.bytes(path.data(), path.size());
      return true;
   }
   if (!writeSteps(*parent, log))
      return false;
   const Vok::Attribute& attribute = *parent->vokEntityType().attribute(entity.vokParentAttr());
   log.u16(attribute.id);
   const std::size_t sizeAt = log.size();
   log.u16(0);
   if (attribute.keyType)
      attribute.keyType->writeLog(entity.vokEntityType().parameters().front().get(entity), log);
   log.u16At(sizeAt, static_cast<Vok::U16>(log.size() - sizeAt - sizeof(Vok::U16)));
   return true;
}

Vok::Ptr<Vok::Entity> References::find(Bytes address, Plans& plans) const {
   if (address.empty())
      return nullptr;
   Vok::NboAttrLog::Reader log(address.data(), address.size());
   const auto counted = [&] {
      const std::size_t size = log.u16();
      if (size > log.left())
         throw Vok::LogError("an address of " + std::to_string(address.size()) + " bytes ends inside a step");
      const Bytes bytes = address.subspan(address.size() - log.left(), size);
      log.skip(size);
      return bytes;
   };
   const Bytes path = counted();
   if (path.size() > maxPathSize)
      throw Vok::LogError("an address whose path has " + std::to_string(path.size()) + " bytes");
   Vok::Ptr<Vok::Entity> found = rootAt({reinterpret_cast<const char*>(path.data()), path.size()});
   while (log.left() > 0) {
      const Vok::AttrId attr = log.u16();
      const Bytes key = counted();
      if (!found)
         continue;
      EntityPlan& plan = plans[plans.numberOf(found->vokEntityType())];
      if (attr >= plan.attributes().size() || plan.attributes()[attr].below == EntityPlan::nothingBelow)
         throw Vok::LogError("an address with a step that '" + Vok::String(plan.type().name()) +
                             "' does not have");
      EntityPlan::Attribute& step = plan.attributes()[attr];
      if (step.key)
         unpack(step.key->type(), key, step.key->data());
      found = step.declared->access.entity(*found, step.key ? step.key->data() : nullptr);
   }
   return found;
}

} // namespace Hubdb
