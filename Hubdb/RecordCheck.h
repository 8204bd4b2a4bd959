#pragma once
// Hubdb::RecordCheck: whether a record from the wire is one of its entity's type.

#include "Hubdb/EntityPlan.h"

namespace Hubdb {

/// Decodes records as their types say.
class RecordCheck {
  public:
   Vok::U16 planOf(const Vok::EntityType& type) { return plans_.numberOf(type); }

   /// Raises Vok::LogError or Vok::RangeError, naming type and attribute, unless the record can be one of an
   /// entity of this plan (for a member: of its parent's). Returns the part of the record's key that tells
   /// entries apart. Not for RecordOp::gone, which has no attribute.
   Bytes check(Vok::U16 plan, const Record& record);
   /// The plan of the entity that a checked member record makes.
   Vok::U16 planBelow(Vok::U16 plan, Vok::AttrId attr) { return plans_[plan].attributes()[attr].below; }
   /// "Mpls::RouteConfigInput::route", for messages.
   Vok::String attributeName(Vok::U16 plan, Vok::AttrId attr);

  private:
   Bytes checkMember(EntityPlan::Attribute& attribute, Bytes key);
   void checkValue(EntityPlan::Attribute& attribute, const Record& record);

   Plans plans_;
   Vok::NboAttrLog::Writer key_; ///< scratch
};

} // namespace Hubdb
