#pragma once

#include "tools/common/Database.h"

#include "Cli/EntityCompare.h"
#include "Mpls/Mpls.h"
#include "Mpls/VrfLabelConfigMergeSm.h"

#include <functional>

/// Configuration sessions: copies of what the command line configures, which are edited apart and take the
/// place of the originals in one step.

namespace tools::config {

/// Makes one entity of the configuration equal to another of its type; some entries of it.
void copyEntity(const Vok::Ptr<Vok::Entity>& to, const Vok::Ptr<const Vok::Entity>& from);
void copyEntries(const Vok::Ptr<Vok::Entity>& to, const Vok::Ptr<const Vok::Entity>& from,
                 const std::vector<Cli::Session::Entry>& entries);

/// What a session holds a copy of.
struct SessionPart {
   std::string_view path; ///< of the original
   const Vok::EntityType* type;
};
const std::vector<SessionPart>& sessionParts();

/// What the command line configures, all parts of it: as it holds, or as a session has it.
struct Side {
   using Find = std::function<Vok::Ptr<Vok::Entity>(const SessionPart& part)>;

   /// Of the entities that are found; null stands for one that is empty.
   static Side of(const Find& find);
   /// One that nobody sees, empty or with all that this has.
   static Side empty();
   Side copy() const;
   /// Makes all parts equal to those of the other.
   void become(const Side& other) const;
   /// In the order of sessionParts().
   std::vector<Vok::Ptr<Vok::Entity>> parts() const { return {routes, vrfLabels, settings}; }

   Vok::Ptr<Mpls::RouteConfigInput> routes;
   Vok::Ptr<Mpls::VrfLabelConfigInput> vrfLabels;
   Vok::Ptr<Mpls::Config> settings;
};

} // namespace tools::config
