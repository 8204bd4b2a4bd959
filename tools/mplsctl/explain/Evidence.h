#pragma once

#include "tools/common/Failure.h"
#include "tools/config/Inputs.h"
#include "tools/mplsctl/labels/LabelState.h"
#include "tools/mplsctl/lfib/Chain.h"

#include "Mpls/MplsHardware.h"

#include <memory>
#include <optional>

/// All that is to be found about one label stack, from the sources of configuration to the hardware.

namespace mplsctl {

struct Connection;
struct Session;

/// What stands where at one moment. A part that could not be looked at has a Failure instead: why, and what
/// to do about it.
struct Evidence {
   Mpls::RouteKey key;

   std::optional<tools::Failure> noDatabase;
   tools::config::Inputs inputs;
   Vok::Ptr<const Mpls::RouteConfig> merged;             ///< null when nobody has merged yet
   Vok::Ptr<const Mpls::VrfLabelConfig> mergedVrfLabels; ///< null when nobody has merged yet

   std::optional<LabelState>
       labels; ///< nothing when no label manager has left its status, or nobody could look

   std::optional<tools::Failure> noLfib;
   bool lfibHasWriter = false; ///< some process has the right to write the LFIB
   std::optional<Chain> chain; ///< nothing when the LFIB has no such route
   std::size_t sharing = 0;    ///< routes that use its via set, itself among them

   std::optional<tools::Failure> noHardware;        ///< set whenever noDatabase is
   bool forwarderRuns = false;                      ///< some process reports to the pool of the hardware
   Vok::Ptr<const Mpls::Hardware::Status> hardware; ///< null when nobody has reported yet
   Mpls::RouteInfo refusal;                         ///< why it is not programmed; empty when nobody says

   std::shared_ptr<Connection> connection; ///< keeps what came from the database
};

/// Looks everywhere, once, from the sources down. Raises Failure( usage ) for a pool or a socket that cannot
/// be one, and for nothing that is missing or damaged.
Evidence gather(const Session& session, const Mpls::RouteKey& key);

} // namespace mplsctl
