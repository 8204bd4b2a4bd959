#pragma once

#include "tools/mplsctl/formats/RouteFile.h"
#include "tools/mplsctl/ldp/LdpPublication.h"

#include <map>
#include <optional>
#include <set>

/// What the files of `mplsctl ldp load` say of one router, in the JSON forms of `show mpls ldp binding`,
/// `show mpls ldp neighbor detail` and `show ip route`.

namespace mplsctl {

/// What a router says of a FEC. This router stands in the place of the peer 0.0.0.0:0, as in the files.
using LdpPlace = Ldp::LdpPooltab::LdpIdentifierFecKey;

inline bool isLocal(const LdpPlace& place) {
   return place.ldpIdentifier() == Ldp::LdpIdentifier();
}

struct LdpBinding {
   Kinet::MplsLabel label;    ///< unset when the router has bound none
   std::optional<bool> inUse; ///< of a peer's; after settleUse() it is known
};

/// What the neighbours' file says of one of them beyond its row.
struct LdpSession {
   LdpNeighbor row;
   std::optional<std::int64_t> mappings; ///< labels advertised to it: mapping messages less withdrawals
};

struct LdpRouteHop {
   Kinet::IpGenAddr address;
   Kinet::IntfId intf;
};

/// A bad line and its file.
struct LdpBadLine {
   std::string file;
   BadLine line;
};

struct LdpFiles {
   std::vector<std::string> names;
   bool hasBindings = false, hasNeighbors = false, hasRoutes = false;
   bool broken = false; ///< a file ends inside its syntax
   std::map<LdpPlace, LdpBinding> bindings;
   std::map<Ldp::LdpIdentifier, LdpSession> neighbors;
   std::map<Kinet::IpGenPrefix, std::vector<LdpRouteHop>> hops; ///< of the routes in force
   std::set<Mpls::FwdEqvClass> badFecs; ///< of bad lines, as far as they could be read
   std::set<Ldp::LdpIdentifier> badNeighbors;
   std::vector<LdpBadLine> badLines;
   std::vector<Remark> remarks;
};

/// Adds a file of any of the forms, recognised by its content; errors and remarks are in `files`.
void readLdpText(LdpFiles& files, const std::string& name, std::string_view text);

/// Reads files, "-" for standard input, and settles what is in use. Raises Failure( usage ) for one that
/// cannot be read.
LdpFiles readLdpFiles(const std::vector<std::string>& paths);

/// Finds out what is in use where the bindings do not say: the bindings of those neighbours to which the
/// routes lead. Notes where bindings and routes differ.
void settleUse(LdpFiles& files);

} // namespace mplsctl
