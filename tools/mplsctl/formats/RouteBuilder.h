#pragma once

#include "tools/mplsctl/formats/RouteFile.h"

#include <optional>

/// Collects what a format's reader finds. One route at a time: begin(), its attributes and hop()s, finish().
/// A route in which anything was bad is left out of the file.

namespace mplsctl {

class RouteBuilder {
  public:
   explicit RouteBuilder(std::string name);

   /// Begins a route. What is open is finished first.
   void begin(std::uint32_t line, std::uint32_t label);
   bool isOpen() const { return open_; }
   std::uint32_t line() const { return route_.line; }
   std::uint32_t label() const { return route_.label; }
   /// Of the open route; nothing when no name of a source was met.
   std::optional<Mpls::LFib::Source> source() const {
      return hasSource_ ? std::optional(route_.source) : std::nullopt;
   }
   /// The first name decides; another one is noted.
   void sourceIs(std::uint32_t line, Mpls::LFib::Source source);
   void metricIs(std::uint32_t metric) { route_.metric = static_cast<std::uint8_t>(metric); }
   /// Of all next hops of the route.
   void ttlModeIs(Mpls::TtlMode mode) { ttlMode_ = mode; }
   /// One next hop more: it pops the label and leads nowhere yet. Valid until the next one.
   Mpls::LfibMplsVia& hop();
   std::uint32_t hops() const { return static_cast<std::uint32_t>(file_.hops.size()) - route_.firstHop; }
   std::span<Mpls::LfibMplsVia> openHops() { return {file_.hops.data() + route_.firstHop, hops()}; }

   /// Ends the open route, which takes the place of one with its label when `replace`; otherwise there must
   /// be none.
   void finish(bool replace = false);
   /// Forgets the open route.
   void drop();
   /// Takes a route out again; false when the file has none of that label so far.
   bool remove(std::uint32_t label);

   /// A bad line. The open route, if any, is bad with it.
   void bad(std::uint32_t line, std::string what);
   void skipped(std::uint32_t line, std::string_view what) {
      addRemark(file_.remarks, Remark::Kind::skipped, line, what);
   }
   void note(std::uint32_t line, std::string_view what) {
      addRemark(file_.remarks, Remark::Kind::note, line, what);
   }
   void broken() { file_.broken = true; }

   /// The file; the builder is done with.
   RouteFile take(Format format);

  private:
   void dropEqualHops();
   void dropExcessHops();
   void settleHops();

   RouteFile file_;
   FileRoute route_;
   bool open_ = false;
   bool bad_ = false;
   bool hasSource_ = false;
   Mpls::TtlMode ttlMode_ = Mpls::TtlMode::undefinedTtlMode;
   bool hasHoles_ = false;              ///< some routes were removed or replaced
   std::vector<std::uint32_t> ofLabel_; ///< position + 1 in file_.routes, by label
};

} // namespace mplsctl
