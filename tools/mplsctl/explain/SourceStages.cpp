#include "tools/mplsctl/explain/Case.h"

#include <algorithm>

/// What the sources give, and what comes of it when it is merged.

namespace mplsctl {

using tools::config::labelWords;
using tools::config::sourceOf;
using tools::config::vrfText;
using tools::config::Withheld;

namespace {

Stage::Finding notConfigured(const Mpls::RouteKey& key) {
   const std::string label = labelWords(key);
   Stage::Finding finding{"notConfigured", "no source gives label " + label, {}, {}};
   finding.remedies.push_back(
       {"give it a route",
        {fmt::format("mplsctl source SOURCE route add {} as LABEL via inet ADDRESS dev NAME", label)}});
   if (key.labelStack().count() == 1)
      finding.remedies.push_back(
          {"bind it to a VRF", {fmt::format("mplsctl source SOURCE vrf-label add {} VRF", label)}});
   return finding;
}

/// What is merged has to be what some source gives, and nothing withholds.
void compareWithSources(const Case& given, Stage& stage) {
   const auto isGiven = [&](const auto& isIt) {
      return std::ranges::any_of(given.gifts, [&](const Gift& gift) { return gift.holds && isIt(gift); });
   };
   const auto stale = [&](const std::string& what) {
      stage.gap("mergedStill", what + " is merged still, and is not what the sources give",
                given.routesNext());
   };
   for (const Mpls::Route* route : given.merged)
      if (!isGiven([&](const Gift& gift) { return gift.route == route; }))
         stale(routeText(*route));
   if (!!given.mergedBinding &&
       !isGiven([&](const Gift& gift) { return !gift.route && gift.binding == given.mergedBinding; }))
      stale(vrfText(given.mergedBinding));
   for (const Gift& gift : given.gifts) {
      const bool isMerged = gift.route ? std::ranges::find(given.merged, gift.route) != given.merged.end()
                                       : gift.binding == given.mergedBinding;
      if (gift.holds && !isMerged)
         stage.gap("notMerged", "what " + *gift.source + " gives is not merged: " + gift.text(),
                   given.routesNext());
   }
}

} // namespace

Stage sourcesStage(const Case& given) {
   if (given.evidence.noDatabase)
      return unknownStage("sources", "noDatabase", *given.evidence.noDatabase);
   Stage stage{"sources"};
   for (const Gift& gift : given.gifts)
      stage.facts.push_back(
          fmt::format("{}: {}{}", *gift.source, gift.text(), gift.holds ? "" : " (withheld)"));
   for (const Withheld& entry : given.withheld)
      if (std::ranges::any_of(given.gifts, [&](const Gift& gift) { return isKeptBack(gift, entry); }))
         stage.findings.push_back(findingOf(entry, !given.anyHolds()));
   // What a protocol writes into the LFIB by itself has no source, and needs none.
   if (given.gifts.empty() && !given.evidence.chain)
      stage.findings.push_back(notConfigured(given.key));
   return concluded(stage);
}

Stage mergeStage(const Case& given) {
   if (given.evidence.noDatabase)
      return unknownStage("merge");
   Stage stage{"merge"};
   if (!given.evidence.merged || !given.evidence.mergedVrfLabels) {
      if (given.anyHolds())
         stage.gap("nobodyMerges", "nobody has merged the configuration yet", given.routesNext());
      return concluded(stage);
   }
   for (const Mpls::Route* route : given.merged)
      stage.facts.push_back(
          fmt::format("{}, of {}{}", routeText(*route), sourceOf(*route),
                      route == given.merged.front() ? "" : " (a lower metric comes first)"));
   if (!!given.mergedBinding)
      stage.facts.push_back(fmt::format("{}, of {}", vrfText(given.mergedBinding),
                                        sourceOf(given.evidence.inputs, given.mergedBinding)));
   compareWithSources(given, stage);
   return concluded(stage);
}

} // namespace mplsctl
