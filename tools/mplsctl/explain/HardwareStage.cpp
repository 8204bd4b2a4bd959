#include "tools/common/AdjacencyIndex.h"
#include "tools/mplsctl/explain/Case.h"

/// What the forwarding agent reports.

namespace mplsctl {

namespace {

/// Why the hardware does not have it.
void refused(const Case& given, Stage& stage) {
   using Code = Mpls::LfibHwProgrammingReturnCode;
   const Mpls::RouteInfo& refusal = given.evidence.refusal;
   const auto gap = [&](std::string what, std::string next) {
      stage.gap(stringValue(refusal.returnCode()), std::move(what), std::move(next));
   };
   if (!refusal)
      return stage.gap("unprogrammed", "hardware has not programmed the route, and does not say why",
                       given.forwardNext());
   switch (refusal.returnCode()) {
   case Code::routeNotProgrammed:
      return gap("hardware has no room for the route",
                 "give 'mpls-agent forward' a larger --capacity, or withdraw routes of lower labels");
   case Code::adjacencyNotProgrammed:
      return gap("hardware has not programmed what the route leads to",
                 "see what of its via set is missing in the LFIB");
   default:
      return gap("hardware has not programmed the route", given.forwardNext());
   }
}

void compareWithLfib(const Case& given, Stage& stage, const Mpls::LfibViaSetKey& programmed) {
   const Evidence& evidence = given.evidence;
   if (evidence.noLfib)
      return;
   if (!evidence.chain)
      stage.gap("leftBehind", "hardware has the route, and the LFIB has none", given.forwardNext());
   else if (programmed != evidence.chain->route.viaSetKey())
      stage.gap("behind", "hardware has the route as it was before, or from another LFIB",
                given.forwardNext());
}

void readReport(const Case& given, Stage& stage) {
   const Evidence& evidence = given.evidence;
   const Mpls::Hardware::Route route = evidence.hardware->route(given.key);
   const Mpls::Hardware::AdjacencyBaseKey& at = route.adjBaseKey();
   const Mpls::LfibViaSetKey viaSet = tools::viaSetKeyOf(at.index()).value_or(Mpls::LfibViaSetKey());
   stage.facts.push_back(fmt::format("{}, metric {}, adjacency {} (via set {})",
                                     route.unprogrammed() ? "not programmed" : "programmed",
                                     route.metric().value(), at.index(), keyText(viaSet)));
   if (!evidence.forwarderRuns)
      stage.remark("noForwarder", "no forwarding agent runs: this is what the last one reported",
                   "start 'mpls-agent forward'");
   compareWithLfib(given, stage, viaSet);
   if (route.unprogrammed())
      return refused(given, stage);
   const auto adjacency =
       at.adjType() == Mpls::AdjacencyType::mplsUnknown ? nullptr : evidence.hardware->adjacencyBase(at);
   if (!adjacency)
      stage.gap("noAdjacency", "hardware reports no such adjacency", given.forwardNext());
   else if (adjacency->unprogrammed())
      stage.gap("adjacencyNotProgrammed", "hardware has not programmed the adjacency", given.forwardNext());
}

} // namespace

Stage hardwareStage(const Case& given) {
   const Evidence& evidence = given.evidence;
   if (evidence.noDatabase)
      return unknownStage("hardware");
   if (evidence.noHardware)
      return unknownStage("hardware", "noHardware", *evidence.noHardware);
   Stage stage{"hardware"};
   if (evidence.hardware && evidence.hardware->routeHas(given.key))
      readReport(given, stage);
   else if (evidence.chain && evidence.hardware)
      stage.gap("notReported", "in the LFIB, but not in the report of the forwarding agent",
                given.forwardNext());
   else if (evidence.chain)
      stage.gap("nobodyReports", "in the LFIB, but no forwarding agent reports", given.forwardNext());
   return concluded(stage);
}

} // namespace mplsctl
