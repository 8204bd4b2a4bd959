#include "tools/mplsctl/explain/Case.h"

#include <algorithm>

namespace mplsctl {

using tools::config::vrfText;
using tools::config::Withheld;

Case::Case(const Evidence& given)
    : evidence(given), key(given.key), withheld(tools::config::withheld(given.inputs, &key)) {
   for (const auto& [source, input] : given.inputs.routes)
      tools::config::eachMetric(*input, key, [&](const Mpls::Route& route) {
         gifts.push_back({&source, &route, {}});
      });
   for (const auto& [source, input] : given.inputs.vrfLabels)
      if (const Mpls::VrfLabel binding = tools::config::vrfLabelOf(*input, key); !!binding)
         gifts.push_back({&source, nullptr, binding});
   for (Gift& gift : gifts)
      gift.holds = std::ranges::none_of(withheld, [&](const Withheld& by) { return isKeptBack(gift, by); });

   if (given.merged)
      tools::config::eachMetric(*given.merged, key,
                                [&](const Mpls::Route& route) { merged.push_back(&route); });
   if (given.mergedVrfLabels)
      mergedBinding = tools::config::vrfLabelOf(*given.mergedVrfLabels, key);
   produce(key, merged.empty() ? nullptr : merged.front(), mergedBinding, wish);
}

bool Case::anyHolds() const {
   return std::ranges::any_of(gifts, &Gift::holds);
}

std::string Case::routesNext() const {
   return evidence.lfibHasWriter
              ? "look again in a moment; if it stays so: 'mplsctl stats' names the process that writes the "
                "LFIB, which has to be 'mpls-agent routes'"
              : "no process writes the LFIB: start 'mpls-agent routes'";
}

std::string Case::forwardNext() const {
   return evidence.forwarderRuns ? "look again in a moment" : "start 'mpls-agent forward', which reports it";
}

Stage concluded(Stage stage) {
   const bool gap = std::ranges::any_of(stage.findings, &Stage::Finding::inTheWay);
   stage.state = gap ? Stage::State::fails : stage.facts.empty() ? Stage::State::none : Stage::State::stands;
   return stage;
}

Stage unknownStage(std::string_view name) {
   return {name, Stage::State::unknown, {}, {}};
}

Stage unknownStage(std::string_view name, const char* code, const Failure& failure) {
   Stage stage = unknownStage(name);
   stage.gap(code, failure.what(), failure.next());
   return stage;
}

Stage::Finding findingOf(const Withheld& entry, bool inTheWay) {
   return {std::string(stringValue(entry.reason)), sentence(entry), {}, entry.remedies, inTheWay};
}

bool isKeptBack(const Gift& gift, const Withheld& by) {
   if (std::ranges::find(by.sources, *gift.source) == by.sources.end())
      return false;
   switch (by.reason) {
   case Withheld::Reason::severalSources:
      return gift.route && gift.route->key().metric() == by.metric;
   case Withheld::Reason::severalDynamic:
   case Withheld::Reason::givesWay:
      return !gift.route;
   default:
      return false;
   }
}

std::string Gift::text() const {
   return route ? routeText(*route) : vrfText(binding);
}

std::string routeText(const Mpls::Route& route) {
   HopWords hops;
   for (const Mpls::Via& via : route.viaEach())
      hops.add(via);
   return fmt::format("metric {}, {}", route.key().metric().value(), hops.text());
}

} // namespace mplsctl
