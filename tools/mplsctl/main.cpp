#include "tools/common/Database.h"
#include "tools/mplsctl/Command.h"

#include "Vok/Errors.h"

#include <CLI/CLI.hpp>

#include <csignal>

#include <cstdio>

namespace {

using namespace mplsctl;

constexpr Verb verbs[] = {loadVerb,  routeVerb,   sourceVerb,         labelVerb, configVerb,
                          showVerb,  explainVerb, ownerVerb,          watchVerb, verifyVerb,
                          statsVerb, ldpVerb,     segmentRoutingVerb, dbVerb,    schemaVerb};

int report(const Failure& failure) {
   std::fprintf(stderr, "mplsctl: %s\n", failure.what());
   if (!failure.next().empty())
      std::fprintf(stderr, "mplsctl: %s\n", failure.next().c_str());
   return static_cast<int>(failure.outcome());
}

} // namespace

int main(int argc, char** argv) {
   std::signal(SIGPIPE, SIG_IGN); // "mplsctl ... | head" ends quietly
   Session session;
   CLI::App program(
       "Load, read, watch and check the MPLS forwarding tables in shared memory, and configure what goes in.",
       "mplsctl");
   program.footer("Exit status: 0 done, 1 not found or differs, 2 wrong usage, 3 unreachable, 4 corrupt, "
                  "5 version mismatch.\nPools live under the directory in POOLTAB_DIR.");
   program.option_defaults()->always_capture_default();
   program.add_option("--pool", session.pool, "Pool of tables to work on")
       ->each([&session](const std::string&) { session.hasPool = true; });
   tools::declareSocket(program, session.socket);
   program.fallthrough();
   program.require_subcommand(1);
   for (Verb verb : verbs)
      verb(program, session);
   try {
      program.parse(argc, argv);
   } catch (const CLI::ParseError& error) {
      return program.exit(error) == 0 ? 0 : static_cast<int>(Outcome::usage);
   } catch (const Failure& failure) {
      return report(failure);
   } catch (const Vok::CorruptionDetectedError& error) {
      return report(Failure(Outcome::corrupt, error.what(), "'mplsctl verify' lists what is damaged"));
   } catch (const Vok::RangeError& error) {
      return report(Failure(Outcome::usage, error.what()));
   } catch (const std::exception& error) {
      return report(Failure(Outcome::failed, error.what()));
   }
   return static_cast<int>(session.outcome);
}
