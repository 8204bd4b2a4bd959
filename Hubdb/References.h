#pragma once
// Hubdb::References: how pointers between entities travel, as addresses in the database.

#include "Hubdb/EntityPlan.h"

namespace Hubdb {

/// Writes and resolves addresses. An address is the path of a root as a counted text (its length in two
/// bytes), then for each step down from it the attribute (two bytes) and the counted key (two bytes and the
/// key's log form; empty for an optional child). An empty address is null.
class References {
  public:
   virtual ~References() = default;

   /// Appends the address; nothing for null and for an entity that stands in no root that is mounted here.
   void write(const Vok::Entity* entity, Vok::NboAttrLog::Writer& log) const;
   /// The entity there; null when there is none. Raises Vok::LogError for bytes that are no address.
   Vok::Ptr<Vok::Entity> find(Bytes address, Plans& plans) const;

   /// Incoming tells that an entity goes, before it does.
   virtual void goes(const Vok::Entity& entity) = 0;

  protected:
   /// The path of a root; empty when it is none.
   virtual std::string_view pathOf(const Vok::Entity& root) const = 0;
   virtual Vok::Ptr<Vok::Entity> rootAt(std::string_view path) const = 0;

  private:
   bool writeSteps(const Vok::Entity& entity, Vok::NboAttrLog::Writer& log) const;
};

} // namespace Hubdb
