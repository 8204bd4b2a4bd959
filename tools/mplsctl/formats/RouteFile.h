#pragma once

#include "Mpls/MplsLfib.h"

#include <bitset>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// What a file of label routes says, whatever its format. The formats stand in IpRouteText.h, IpRouteJson.h
/// and MplsTableJson.h; LoadPlan.h compares the result with the tables.

namespace mplsctl {

struct FileRoute {
   std::uint32_t line = 0;
   std::uint32_t label = 0;
   Mpls::LFib::Source source = Mpls::LFib::Source::lfibSourceStaticMpls;
   std::uint8_t metric = Mpls::Constants::metricDefault;
   std::uint32_t firstHop = 0; ///< into RouteFile::hops
   std::uint32_t hops = 0;
};

enum class Format { empty, ipRouteText, ipBatch, ipRouteJson, mplsTableJson };
std::string_view formatName(Format format);

using SourceSet = std::bitset<32>; ///< by the number of Mpls::LFib::Source

/// A line that is not what the format asks for. Its route is not in the file's routes.
struct BadLine {
   std::uint32_t line;
   std::string what;
};

/// Something that the file says and the tables cannot hold, or hold otherwise: counted by reason.
struct Remark {
   enum class Kind { skipped, note };
   Kind kind;
   std::string what;
   std::uint32_t line; ///< where it was met first
   std::uint32_t count;
};

/// Counts one more of a kind.
void addRemark(std::vector<Remark>& remarks, Remark::Kind kind, std::uint32_t line, std::string_view what);

struct RouteFile {
   std::string name; ///< as errors name it
   Format format = Format::empty;
   bool broken = false; ///< ends inside its syntax: what follows the error was not read
   std::vector<FileRoute> routes;
   std::vector<Mpls::LfibMplsVia> hops; ///< of all routes; their keys are unset
   SourceSet sources; ///< whose routes the file tells, the IPv4 and IPv6 form of a source together
   std::vector<BadLine> badLines;        ///< by line
   std::vector<std::uint32_t> badLabels; ///< labels of bad lines, as far as they could be read
   std::vector<Remark> remarks;          ///< in the order in which they were met

   std::span<const Mpls::LfibMplsVia> hopsOf(const FileRoute& route) const {
      return {hops.data() + route.firstHop, route.hops};
   }
};

/// Reads a text of any format; errors and remarks are in the result.
RouteFile readRoutes(std::string name, std::string_view text);

/// Reads a file, or standard input for "-". Raises Failure( usage ) when it cannot be read.
RouteFile readRouteFile(const std::string& path);

} // namespace mplsctl
