#include "tools/common/Database.h"
#include "tools/mplsctl/Command.h"

#include "Vok/Errors.h"

#include <csignal>

namespace {

using namespace mplsctl;

constexpr Verb verbs[] = {loadVerb,  routeVerb,   sourceVerb,         labelVerb, configVerb,
                          showVerb,  explainVerb, ownerVerb,          watchVerb, verifyVerb,
                          statsVerb, ldpVerb,     segmentRoutingVerb, dbVerb,    schemaVerb};

} // namespace

int main(int argc, char** argv) {
   std::signal(SIGPIPE, SIG_IGN); // "mplsctl ... | head" ends quietly
   Session session;
   tools::Program program(
       "mplsctl",
       "Load, read, watch and check the MPLS forwarding tables in shared memory, and configure what goes in.",
       "Exit status: 0 done, 1 not found or differs, 2 wrong usage, 3 unreachable, 4 corrupt, "
       "5 version mismatch.\nPools live under the directory in POOLTAB_DIR.");
   program.option("--pool", session.pool, "Pool of tables to work on").needsVerb();
   program.beforeVerb([&] { session.hasPool = program.isGiven("--pool"); });
   tools::declareSocket(program, session.socket);
   for (Verb verb : verbs)
      verb(program, session);
   try {
      const auto ended = program.parse(argc, argv);
      return static_cast<int>(ended ? *ended : session.outcome);
   } catch (const Failure& failure) {
      return program.report(failure);
   } catch (const Vok::CorruptionDetectedError& error) {
      return program.report(
          Failure(Outcome::corrupt, error.what(), "'mplsctl verify' lists what is damaged"));
   } catch (const Vok::RangeError& error) {
      return program.report(Failure(Outcome::usage, error.what()));
   } catch (const std::exception& error) {
      return program.report(Failure(Outcome::failed, error.what()));
   }
}
