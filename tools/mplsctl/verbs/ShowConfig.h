#pragma once

#include "tools/config/Withheld.h"
#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/verbs/RouteText.h"
#include "tools/mplsctl/verbs/Show.h"

/// What `mplsctl show` prints of the configuration.

namespace mplsctl {

/// Declares `show sources`, `show merged` and `show conflicts`.
void declareShowConfig(CLI::App& show, const Session& session);

/// Conflicts in words, each with what to type to resolve it; as JSON, one object each in the array under way.
void printWithheld(tools::Output& out, const std::vector<tools::config::Withheld>& withheld);
void writeWithheld(tools::Json& json, const std::vector<tools::config::Withheld>& withheld);

/// A configured via as the tables would show it; a next-hop group by its name.
void describe(const Mpls::Via& via, Hop& hop);

} // namespace mplsctl
