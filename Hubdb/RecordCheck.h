#pragma once
// Hubdb::RecordCheck: whether a record from the wire is one of its entity's type.

#include "Hubdb/Record.h"

#include <deque>
#include <memory>
#include <unordered_map>

namespace Hubdb {

/// What is known of one attribute, with room to decode its keys and values in.
struct AttributePlan {
   const Vok::Attribute* attribute = nullptr;
   std::vector<Vok::AnyValue*> keys; ///< what a key is made of, in order; of a member its parameters
   Vok::AnyValue* value = nullptr;   ///< null where there is none, or it names an entity
};

struct TypePlan {
   Vok::U32 number = 0; ///< from 1, in the order in which types were met
   const Vok::EntityType* type = nullptr;
   std::vector<AttributePlan> attributes;
};

/// Decodes records as their type says. Plans are made once a type and live as long as the check.
class RecordCheck {
  public:
   const TypePlan& plan(const Vok::EntityType& type);
   const TypePlan& plan(Vok::U32 number) const { return plans_[number - 1]; }

   /// Raises Vok::LogError or Vok::RangeError, naming type and attribute, unless the record can be one of an
   /// entity of this type (for a member: of its parent's). Returns the part of the key that tells entries
   /// apart. Not for RecordOp::gone, which has no attribute.
   Bytes check(const TypePlan& plan, const Record& record) const;

  private:
   Vok::AnyValue* scratch(const Vok::Type& type);

   std::unordered_map<const Vok::EntityType*, Vok::U32> numbers_;
   std::deque<TypePlan> plans_;
   std::unordered_map<const Vok::Type*, std::unique_ptr<Vok::AnyValue>> scratch_;
};

} // namespace Hubdb
