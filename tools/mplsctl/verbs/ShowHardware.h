#pragma once

#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/Connection.h"

#include "Mpls/MplsHardware.h"
#include "Mpls/MplsLfib.h"
#include "Pooltab/VokPooltab.h"

#include <memory>
#include <string>
#include <vector>

/// What `mplsctl show` prints of forwarding.

namespace mplsctl {

/// What forwarding reports, at this moment.
struct HardwareView {
   /// Mounts the report. Raises Failure when it may not be read.
   explicit HardwareView(Connection& connection);

   std::vector<Mpls::RouteKey> keys() const; ///< of all routes, in order
   std::size_t unprogrammed() const;
   std::size_t programmed() const { return status->routes() - unprogrammed(); }
   /// Why a route is not programmed.
   std::string reason(const Mpls::RouteKey& key) const;

   Vok::Ptr<Mpls::Hardware::Status> status; ///< null when nobody has reported yet
   Vok::Ptr<Mpls::LfibHwStatus> refusals;
   std::unique_ptr<VokPooltab::ReaderMount> refusalTables;
};

/// Declares `show hardware` and `show ip-lookup`.
void declareShowHardware(Command show, const Session& session);

} // namespace mplsctl
