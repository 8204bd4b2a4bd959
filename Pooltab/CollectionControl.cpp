#include "Pooltab/CollectionControl.h"

#include "Vok/EntityType.h"
#include "Vok/Trace.h"

namespace Pooltab {

namespace {

constinit Vok::TraceFacility trace("Pooltab");

} // namespace

void CollectionControl::corruptionDetected(const std::string& message) const {
   ++corruptions_;
   if (corruption_)
      corruption_(message);
   else if (auto line = trace.at(0))
      line << "corruption detected: " << message;
}

void CollectionControl::notWritable() const {
   std::string name = "a table";
   if (owner_) {
      const Vok::Attribute* attribute = owner_->vokEntityType().attribute(attr_);
      name = owner_->fullName() + (attribute ? "::" + std::string(attribute->name) : "");
   }
   throw Vok::Error(name + ": is not mounted for writing (mount it with a PoolWriter first)");
}

} // namespace Pooltab
