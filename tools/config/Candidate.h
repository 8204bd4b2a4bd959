#pragma once

#include "tools/common/Database.h"

#include "Mpls/Mpls.h"
#include "Mpls/VrfLabelConfigMergeSm.h"

/// Configuration sessions: copies of what the command line configures, which are edited apart and take the
/// place of the originals in one step.

namespace tools::config {

/// Makes one entity of the configuration equal to another of its type.
void copyEntity(const Vok::Ptr<Vok::Entity>& to, const Vok::Ptr<const Vok::Entity>& from);

/// What a session holds a copy of.
struct SessionPart {
   std::string_view path; ///< of the original
   const Vok::EntityType* type;
};
const std::vector<SessionPart>& sessionParts();

} // namespace tools::config
