#include "tools/mplsctl/formats/RouteBuilder.h"

#include "tools/mplsctl/formats/RouteWords.h"

#include <fmt/core.h>

#include <algorithm>

namespace mplsctl {

namespace {
/// Marks a route that a later line took out.
constexpr std::uint32_t goneLabel = Kinet::MplsLabel::max + 1;
} // namespace

RouteBuilder::RouteBuilder(std::string name) : ofLabel_(Kinet::MplsLabel::max + 1) {
   file_.name = std::move(name);
}

void RouteBuilder::begin(std::uint32_t line, std::uint32_t label) {
   finish();
   route_ = FileRoute();
   route_.line = line;
   route_.label = label;
   route_.firstHop = static_cast<std::uint32_t>(file_.hops.size());
   open_ = true;
   bad_ = hasSource_ = false;
   ttlMode_ = Mpls::TtlMode::undefinedTtlMode;
}

void RouteBuilder::sourceIs(std::uint32_t line, Mpls::LFib::Source source) {
   if (!hasSource_)
      route_.source = source;
   else if (route_.source != source)
      note(line, "next hops of several types in one route: the first decides its source");
   hasSource_ = true;
}

Mpls::LfibMplsVia& RouteBuilder::hop() {
   Mpls::LfibMplsVia& hop = file_.hops.emplace_back();
   hop.labelActionIs(Kinet::MplsLabelAction::pop);
   hop.payloadTypeIs(Mpls::PayloadType::autoDecide);
   return hop;
}

void RouteBuilder::drop() {
   file_.hops.resize(route_.firstHop);
   open_ = false;
}

/// A via set holds each next hop once.
void RouteBuilder::dropEqualHops() {
   for (std::uint32_t i = route_.firstHop + 1; i < file_.hops.size();) {
      const auto seen = file_.hops.begin() + i;
      if (std::find(file_.hops.begin() + route_.firstHop, seen, *seen) == seen) {
         ++i;
         continue;
      }
      skipped(route_.line, "a next hop given twice in one route");
      file_.hops.erase(seen);
   }
}

void RouteBuilder::dropExcessHops() {
   constexpr Vok::U32 limit = Mpls::LfibViaIndexRange::range;
   for (; hops() > limit; file_.hops.pop_back())
      skipped(route_.line, "next hop beyond the 128 of a via set");
}

/// What follows from the next hops only when all are known.
void RouteBuilder::settleHops() {
   if (hops() > 1)
      dropEqualHops();
   dropExcessHops();
   const auto hops = openHops();
   if (ttlMode_ != Mpls::TtlMode::undefinedTtlMode)
      for (Mpls::LfibMplsVia& hop : hops)
         hop.ttlModeIs(ttlMode_);
   const auto addressed =
       std::ranges::find_if(hops, [](const auto& hop) { return hop.nextHop() != Kinet::IpGenAddr(); });
   if (addressed != hops.end() && addressed->nextHop().isIpv6())
      route_.source = sourceForInet6(route_.source);
}

void RouteBuilder::finish(bool replace) {
   if (!open_)
      return;
   const std::uint32_t earlier = ofLabel_[route_.label];
   if (!bad_ && hops() == 0)
      bad(route_.line, fmt::format("route {} has no next hop", route_.label));
   if (!bad_ && earlier && !replace)
      bad(route_.line, fmt::format("label {} has a route already, on line {}", route_.label,
                                   file_.routes[earlier - 1].line));
   if (bad_) {
      file_.badLabels.push_back(route_.label);
      return drop();
   }
   settleHops();
   remove(route_.label);
   route_.hops = hops();
   file_.routes.push_back(route_);
   ofLabel_[route_.label] = static_cast<std::uint32_t>(file_.routes.size());
   open_ = false;
}

bool RouteBuilder::remove(std::uint32_t label) {
   if (!ofLabel_[label])
      return false;
   file_.routes[ofLabel_[label] - 1].label = goneLabel;
   ofLabel_[label] = 0;
   hasHoles_ = true;
   return true;
}

void RouteBuilder::bad(std::uint32_t line, std::string what) {
   file_.badLines.push_back({line, std::move(what)});
   bad_ = true;
}

RouteFile RouteBuilder::take(Format format) {
   finish();
   file_.format = format;
   if (hasHoles_)
      std::erase_if(file_.routes, [](const FileRoute& route) { return route.label == goneLabel; });
   for (const FileRoute& route : file_.routes)
      file_.sources |= withInet6(route.source);
   std::ranges::stable_sort(file_.badLines, {}, &BadLine::line);
   return std::move(file_);
}

} // namespace mplsctl
