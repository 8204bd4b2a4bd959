#include "tools/mplsctl/explain/Evidence.h"

#include "tools/common/Lfib.h"
#include "tools/mplsctl/Connection.h"
#include "tools/mplsctl/labels/LabelView.h"
#include "tools/mplsctl/lfib/Users.h"
#include "tools/mplsctl/verbs/ShowConfig.h"
#include "tools/mplsctl/verbs/ShowHardware.h"

#include "Vok/Errors.h"

namespace mplsctl {

namespace {

/// Runs `look`, and hands out the Failure with which it ended, if any.
template <class Look>
std::optional<Failure> failureOf(Look&& look) {
   try {
      look();
   } catch (const Failure& failure) {
      if (failure.outcome() == Outcome::usage)
         throw;
      return failure;
   } catch (const Vok::CorruptionDetectedError& error) {
      return Failure(Outcome::corrupt, error.what(), "'mplsctl verify' lists what is damaged");
   }
   return std::nullopt;
}

void lookAtConfiguration(const Session& session, Evidence& evidence) {
   evidence.connection = std::make_shared<Connection>(session);
   const Configuration configuration(*evidence.connection);
   evidence.inputs = configuration.inputs;
   evidence.merged = configuration.routes;
   evidence.mergedVrfLabels = configuration.vrfLabels;
}

void lookAtLabels(const Session& session, Evidence& evidence) {
   LabelState state = LabelView(session).state();
   if (state.status)
      evidence.labels = std::move(state);
}

void lookAtLfib(const Session& session, Evidence& evidence) {
   const auto folder = tools::folderOf(session.pool);
   evidence.lfibHasWriter = folder->isLocked();
   const auto tables = openTables(folder);
   Chain chain;
   if (!readChain(*tables, evidence.key, chain))
      return;
   const Mpls::LfibViaSetKey viaSet = chain.route.viaSetKey();
   evidence.chain = std::move(chain);
   evidence.sharing = routesUsing(*tables, {viaSet}).at(viaSet).size();
}

void lookAtHardware(Evidence& evidence) {
   const HardwareView view(*evidence.connection);
   evidence.forwarderRuns = view.refusalTables->pool().folder()->isLocked();
   evidence.refusal = view.refusals->unprogrammedRoute(evidence.key);
   evidence.hardware = view.status;
}

} // namespace

Evidence gather(const Session& session, const Mpls::RouteKey& key) {
   Evidence evidence;
   evidence.key = key;
   evidence.noDatabase = failureOf([&] { lookAtConfiguration(session, evidence); });
   evidence.noLfib = failureOf([&] { lookAtLfib(session, evidence); });
   evidence.noHardware = evidence.noDatabase;
   if (!evidence.noDatabase) {
      evidence.noHardware = failureOf([&] { lookAtHardware(evidence); });
      // Blocks are no stage of the way: whoever may not look is told nothing of them.
      failureOf([&] { lookAtLabels(session, evidence); });
   }
   return evidence;
}

} // namespace mplsctl
