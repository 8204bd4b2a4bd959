#pragma once

#include "tools/config/Preview.h"
#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/verbs/ShowConfig.h"

/// `mplsctl config session`: configuration that is edited apart and takes effect in one step.

namespace mplsctl {

void declareConfigSession(Command config, const Session& session);

/// What a commit would do, in words and as JSON.
void printPreview(tools::Output& out, const tools::config::Preview& preview);
void writePreview(tools::Json& json, const tools::config::Preview& preview);

} // namespace mplsctl
