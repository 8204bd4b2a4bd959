#include "tools/mplsctl/explain/Case.h"
#include "tools/mplsctl/formats/Words.h"

#include <algorithm>

/// The rows of the LFIB, and who shares them.

namespace mplsctl {

using tools::config::labelWords;
using tools::config::LfibWish;
using tools::config::Withheld;

namespace {

template <class Row>
const Row* viaOf(const Chain::Link& link) {
   return link.row ? std::get_if<Row>(&*link.row) : nullptr;
}

/// Whether the rows are what the merged configuration comes to.
bool carries(const Chain& chain, const LfibWish& wish) {
   const Mpls::LfibRoute& row = chain.route;
   if (wish.kind == LfibWish::Kind::ipLookup) {
      const auto* lookup = chain.vias.size() == 1 ? viaOf<Mpls::LfibIpLookupVia>(chain.vias[0]) : nullptr;
      return row.source() == tools::config::vrfLabelSource && lookup && lookup->vrfName() == wish.vrfName;
   }
   return row.source() == tools::config::routeSource && row.metric() == wish.route.metric() &&
          chain.vias.size() == wish.route.mplsVias() &&
          std::ranges::all_of(chain.vias, [&](const Chain::Link& link) {
             const auto* found = viaOf<Mpls::LfibMplsVia>(link);
             if (!found)
                return false;
             Mpls::LfibMplsVia via = *found;
             via.keyIs(Mpls::LfibViaKey());
             return wish.route.mplsViaHas(via);
          });
}

std::string viasText(const Chain& chain) {
   HopWords hops;
   for (const Chain::Link& link : chain.vias)
      if (link.row)
         hops.add(*link.row);
   return hops.text();
}

void followChain(const Chain& chain, Stage& stage) {
   const Mpls::LfibRoute& row = chain.route;
   const std::string viaSet = keyText(row.viaSetKey());
   stage.facts.push_back(fmt::format("route of {} ({}), metric {}", stringValue(row.source()),
                                     routeType(row.source()), row.metric().value()));
   const auto broken = [&](const char* code, const std::string& what) {
      stage.gap(code, what + " is not there",
                "whoever writes this route has to write it again; 'mplsctl verify' lists all that is broken");
   };
   if (!chain.hasViaSet)
      return broken("noViaSet", "via set " + viaSet);
   stage.facts.push_back(fmt::format("via set {}: {}", viaSet, viasText(chain)));
   for (const Chain::Link& link : chain.vias)
      if (!link.row)
         broken("noVia", "via " + keyText(link.key));
   if (chain.vias.empty())
      stage.remark("noNextHop", "the route has no next hop: its packets end here", {});
}

/// Whether the row is what the merged configuration asks for.
void compareWithMerged(const Case& given, Stage& stage) {
   const Chain& chain = *given.evidence.chain;
   const Mpls::LFib::Source source = chain.route.source();
   if (!tools::config::isProduced(source)) {
      if (given.isWanted())
         stage.gap(
             "otherSource",
             fmt::format("what is merged is not written: the agent leaves the row to {}, which has it",
                         stringValue(source)),
             fmt::format("take the configuration back; or end what writes the LFIB, type 'mplsctl route "
                         "del {}', and start 'mpls-agent routes'",
                         labelWords(given.key)));
      else
         stage.facts.push_back(fmt::format(
             "{} writes it here by itself: no source of configuration is needed", routeType(source)));
   } else if (given.isWanted()) {
      if (chain.isWhole() && !carries(chain, given.wish))
         stage.gap("differs", "the LFIB does not have what is merged", given.routesNext());
   } else if (!given.evidence.noDatabase) {
      stage.remark(
          "notAsked",
          "no merged configuration asks for this route: 'mplsctl load' or 'mplsctl route' wrote it, or "
          "an earlier run of the agent",
          "'mpls-agent routes' removes it when it starts");
   }
}

} // namespace

Stage lfibStage(const Case& given) {
   const Evidence& evidence = given.evidence;
   if (evidence.noLfib) {
      Stage stage = unknownStage("lfib", "noLfib", *evidence.noLfib);
      if (given.isWanted() && !evidence.lfibHasWriter)
         stage.findings.front().next.insert(0, "start 'mpls-agent routes', which writes it; or ");
      return stage;
   }
   const bool isWritable = given.wish.kind != LfibWish::Kind::none;
   Stage stage{"lfib"};
   if (evidence.chain) {
      followChain(*evidence.chain, stage);
      compareWithMerged(given, stage);
   } else if (isWritable) {
      stage.gap("notWritten", "merged, but not in the LFIB", given.routesNext());
   }
   for (const Withheld& entry : given.withheld)
      if (entry.reason == Withheld::Reason::unwritten || entry.reason == Withheld::Reason::vrfLabelWins)
         stage.findings.push_back(findingOf(entry, given.isWanted() && !isWritable));
   return concluded(stage);
}

Stage trackingStage(const Case& given) {
   const Evidence& evidence = given.evidence;
   if (evidence.noLfib)
      return unknownStage("tracking");
   Stage stage{"tracking"};
   if (evidence.chain && evidence.chain->hasViaSet)
      stage.facts.push_back(
          evidence.sharing > 1
              ? fmt::format("the via set serves {} routes: 'mplsctl show tracking label {}' lists them",
                            evidence.sharing, labelWords(given.key))
              : "the via set serves this route alone");
   return concluded(stage);
}

} // namespace mplsctl
