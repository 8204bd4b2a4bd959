#pragma once

#include "tools/common/Output.h"
#include "tools/mplsctl/lfib/Chain.h"

/// What `mplsctl show` prints.

namespace mplsctl {

enum class ShowFormat { text, json, jsonLines };

/// A line a next hop: Inbound Label, Type, Nexthop, Outbound Label; JSON keyed by label.
void showRoutes(const LfibTables& tables, const RouteFilter& filter, ShowFormat format, tools::Output& out);

/// All about one route: its row, its via set and its vias with their keys and the versions of their rows.
/// Raises Failure when there is no such route.
void showRoute(const LfibTables& tables, const Mpls::RouteKey& key, ShowFormat format, tools::Output& out);

/// A line a via set: its key, how many routes use it, its vias, its backup.
void showViaSets(const LfibTables& tables, ShowFormat format, tools::Output& out);

/// A line a via, of every kind.
void showVias(const LfibTables& tables, ShowFormat format, tools::Output& out);

/// A label given as "16" or "implicit-null". Raises Failure.
Kinet::MplsLabel labelOf(std::string_view text);

/// The key of a route given as "16", "implicit-null" or "24019/24011", the top label first. Raises Failure.
Mpls::RouteKey routeKeyFromText(std::string_view text);

/// Labels given as "16000" or "16000-17000". Raises Failure.
void labelRangeFromText(std::string_view text, RouteFilter& filter);

} // namespace mplsctl
