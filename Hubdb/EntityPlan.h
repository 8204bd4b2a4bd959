#pragma once
// Hubdb::EntityPlan: how the entities of one type travel, with room to unpack what arrives.

#include "Hubdb/Record.h"

#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

namespace Hubdb {

/// Reads a whole log form. Raises Vok::LogError when bytes are missing or left over, Vok::RangeError for a
/// value outside its bounds; the value is then unspecified but valid.
void unpack(const Vok::Type& type, Bytes bytes, void* value);

class EntityPlan {
  public:
   static constexpr Vok::U16 nothingBelow = 0xffff;

   struct Attribute {
      const Vok::Attribute* declared;
      /// Shared tables do not travel, nor do members made from pointers.
      bool travels;
      /// members, child: the plan of what stands there.
      Vok::U16 below = nothingBelow;
      std::optional<Vok::AnyValue> key;     ///< scratch; none without keys
      std::optional<Vok::AnyValue> value;   ///< scratch; none where the values are entities
      std::optional<Vok::AnyValue> initial; ///< the default of a scalar, if its text can be read

      bool isBelow() const { return below != nothingBelow; }
   };

   explicit EntityPlan(const Vok::EntityType& type);
   EntityPlan(const EntityPlan&) = delete;
   EntityPlan& operator=(const EntityPlan&) = delete;

   const Vok::EntityType& type() const { return type_; }
   std::vector<Attribute>& attributes() { return attributes_; }
   /// Whether any attribute points to entities owned elsewhere.
   bool refers() const { return refers_; }

   /// Appends the key of a member record: every constructor parameter.
   void packParameters(const Vok::Entity& entity, Vok::NboAttrLog::Writer& log) const;
   /// The constructor parameters unpacked from it, for AttributeAccess::create; good until the next call.
   /// Raises as unpack() does.
   std::span<const void* const> unpackParameters(Bytes key);
   /// Whether the entity was made from the parameters unpacked last.
   bool madeFromThem(const Vok::Entity& entity) const;
   /// The entity's key in its owner's collection; null for a type without parameters.
   const void* keyOf(const Vok::Entity& entity) const;

  private:
   const Vok::EntityType& type_;
   std::vector<Attribute> attributes_;
   std::vector<Vok::AnyValue> parameters_;
   std::vector<const void*> unpacked_; ///< where parameters_ stand
   bool refers_ = false;
};

/// The plans of all types met so far; each has a number.
class Plans {
  public:
   Vok::U16 numberOf(const Vok::EntityType& type);
   EntityPlan& operator[](Vok::U16 number) { return *plans_[number]; }

  private:
   std::unordered_map<const Vok::EntityType*, Vok::U16> numbers_;
   std::vector<std::unique_ptr<EntityPlan>> plans_;
};

} // namespace Hubdb
