#pragma once

#include "tools/config/Withheld.h"
#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/Connection.h"
#include "tools/mplsctl/verbs/RouteText.h"
#include "tools/mplsctl/verbs/Show.h"

/// What `mplsctl show` prints of the configuration.

namespace mplsctl {

/// What all sources configure, and what the agent has made of it.
struct Configuration {
   /// Mounts all of it. Raises Failure when it may not be read.
   explicit Configuration(Connection& connection);

   tools::config::Inputs inputs;
   Vok::Ptr<Mpls::RouteConfig> routes;       ///< null when nobody has merged yet
   Vok::Ptr<Mpls::VrfLabelConfig> vrfLabels; ///< null when nobody has merged yet
};

/// Declares `show sources`, `show merged` and `show conflicts`.
void declareShowConfig(Command show, const Session& session);

/// Conflicts in words, each with what to type to resolve it; as JSON, one object each in the array under way.
void printWithheld(tools::Output& out, const std::vector<tools::config::Withheld>& withheld);
void writeWithheld(tools::Json& json, const std::vector<tools::config::Withheld>& withheld);

/// What to type, one remedy below the other, indented by so many blanks; as JSON, "remedies" of the object
/// under way.
void printRemedies(tools::Output& out, const std::vector<tools::config::Withheld::Remedy>& remedies,
                   std::size_t indent);
void writeRemedies(tools::Json& json, const std::vector<tools::config::Withheld::Remedy>& remedies);

/// A configured via as the tables would show it; a next-hop group by its name.
void describe(const Mpls::Via& via, Hop& hop);

} // namespace mplsctl
