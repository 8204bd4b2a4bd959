#pragma once

#include "Vok/Entity.h"

namespace agent {

/// Keeps an entity in the database equal to one of this process. What an earlier run left there is corrected
/// entry by entry, so that readers see no more than what differs.
class Publication : private Vok::Notifiee {
  public:
   /// Both of one type, whose attributes are values, collections of values and references.
   Publication(const Vok::Ptr<const Vok::Entity>& from, Vok::Ptr<Vok::Entity> to);

  private:
   void vokOnChange(Vok::AttrId attr, const void* key) override;

   const Vok::Ptr<Vok::Entity> to_;
};

} // namespace agent
