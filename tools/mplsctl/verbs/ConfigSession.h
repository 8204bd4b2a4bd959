#pragma once

#include "tools/config/Preview.h"
#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/verbs/ShowConfig.h"

/// `mplsctl config session`: configuration that is edited apart and takes effect in one step.

namespace mplsctl {

void declareConfigSession(Command config, const Session& session);

/// What a commit would do, in words; as fields of the JSON object under way.
void printPreview(tools::Output& out, const tools::config::Preview& preview);
void writePreview(tools::Json& json, const tools::config::Preview& preview);

/// What distinguishes two sides: in words, with `which` in the titles; as a JSON object; the first of it on
/// one line, and how much more there is.
void printChanges(tools::Output& out, const tools::config::Changes& changes, std::string_view which);
void writeChanges(tools::Json& json, const tools::config::Changes& changes);
std::string listed(const tools::config::Changes& changes);

} // namespace mplsctl
