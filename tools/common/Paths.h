#pragma once

#include <string>
#include <string_view>

/// Where everything stands: the paths of the central database and the pools of shared tables that these
/// programs agree on. Nothing else knows them by heart. A path with '/' at its end is a directory.

namespace tools::paths {

// What is configured, by source. Every source owns its own input.
/// Mpls::RouteConfigInput
inline constexpr std::string_view routeInputCli = "routing/mpls/route/input/cli";
/// further sources, by name
inline constexpr std::string_view routeInputs = "routing/mpls/route/input/dynamic/";
/// Mpls::VrfLabelConfigInput
inline constexpr std::string_view vrfInputCli = "routing/mpls/vrfLabel/input/cli";
/// further sources, by name
inline constexpr std::string_view vrfInputs = "routing/mpls/vrfLabel/input/dynamic/";
/// Mpls::Config
inline constexpr std::string_view config = "mpls/config/global";
/// Mpls::ClientLabelRequest, by client
inline constexpr std::string_view labelRequests = "mpls/config/labelRequest/";

// What comes of it; owned by `mpls-agent routes`.
/// Mpls::RouteConfig, merged
inline constexpr std::string_view routeConfig = "routing/mpls/route/config";
/// Mpls::VrfLabelConfig, merged
inline constexpr std::string_view vrfConfig = "routing/mpls/vrfLabel/config";

// Owned by `mpls-agent labels`.
/// Mpls::Api::Status
inline constexpr std::string_view apiStatus = "mpls/status/api";

// Owned by `mpls-agent forward`.
/// Mpls::Hardware::Status
inline constexpr std::string_view hardwareStatus = "mpls/status/hardware";
/// Mpls::Hardware::Capability
inline constexpr std::string_view hardwareCapability = "mpls/status/capability";
/// Mpls::LfibIpLookupStatus
inline constexpr std::string_view ipLookupStatus = "mpls/status/ipLookup";

/// Configuration sessions, by name; below a session's name the paths of what it holds copies of.
inline constexpr std::string_view sessions = "cli/session/";

/// What stands under a directory: entry( routeInputs, "bgp" ).
inline std::string entry(std::string_view directory, std::string_view name) {
   return std::string(directory).append(name);
}

/// The directory in which something stands, with '/' at its end; empty when it stands in none.
inline std::string directoryOf(std::string_view path) {
   return std::string(path.substr(0, path.rfind('/') + 1));
}

/// The copy, in a session, of what stands at a path.
inline std::string candidate(std::string_view session, std::string_view path) {
   return std::string(sessions).append(session).append("/").append(path);
}
/// What stood at the path when the session began.
inline std::string sessionBase(std::string_view session, std::string_view path) {
   return candidate(session, "base/").append(path);
}
/// Cli::ConfigSession: the session has begun.
inline std::string sessionBegun(std::string_view session) {
   return candidate(session, "begun");
}

} // namespace tools::paths

namespace tools::pools {

/// Mpls::LFib::LfibStatus
inline constexpr std::string_view lfib = "mpls-lfib";
/// Mpls::LFib::LfibHwStatus, written by `mpls-agent forward`
inline constexpr std::string_view hardware = "mpls-hw";
/// Ldp::LdpPooltab's, written by `mplsctl ldp load`
inline constexpr std::string_view ldp = "mpls-ldp";
/// the tables of Pooltab::SegmentRouting, written by `mplsctl segment-routing load`
inline constexpr std::string_view segmentRouting = "mpls-sr";

} // namespace tools::pools
