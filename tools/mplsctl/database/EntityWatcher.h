#pragma once

#include "Vok/Entity.h"

#include <functional>
#include <memory>
#include <unordered_map>

namespace mplsctl {

/// One change, in words.
struct EntityChange {
   std::string entity; ///< full name
   std::string_view attribute;
   std::string key;   ///< of an entry; empty for a single value
   bool gone = false; ///< the entry is no more
   std::string value; ///< as it now stands; empty for members, whose own changes follow
};

/// Tells of every change of an entity and of all members below it, those that come later included.
class EntityWatcher {
  public:
   using Told = std::function<void(const EntityChange&)>;

   EntityWatcher(const Vok::Ptr<const Vok::Entity>& entity, Told told);
   ~EntityWatcher();
   EntityWatcher(const EntityWatcher&) = delete;

  private:
   class Watch;

   void watch(const Vok::Ptr<const Vok::Entity>& entity);
   void changed(const Vok::Entity& entity, Vok::AttrId attr, const void* key);

   void forgetGone();

   const Vok::Entity* const root_;
   Told told_;
   std::size_t gone_ = 0; ///< members that went and may still be watched
   std::unordered_map<const Vok::Entity*, std::unique_ptr<Watch>> watches_;
};

} // namespace mplsctl
