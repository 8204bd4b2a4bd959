#include "tools/mpls-agent/Agent.h"

#include "Vok/Errors.h"
#include "Vok/Trace.h"

namespace {

using agent::Failure;
using agent::Outcome;

constexpr agent::Verb verbs[] = {agent::routesVerb, agent::forwardVerb, agent::labelsVerb};

constexpr auto footer =
    R"(An agent waits for the database server and for what it has to mount, says "ready" on standard output once
it has converged, and serves until SIGTERM or SIGINT. It may be stopped and started at any time: what it
owns stays in the server, and the next one goes on from it. A second one of a kind stands by.

Exit status: 0 ended by a signal, 1 failed, 2 wrong usage, 3 unreachable, 4 corrupt, 5 version mismatch.)";

/// "UNIT=LEVEL" says: levels 0 to LEVEL of the unit.
void traceIs(const std::vector<std::string>& wishes) {
   std::string setting = "*/0";
   for (const std::string& wish : wishes) {
      const std::size_t equals = wish.find('=');
      if (equals == std::string::npos)
         throw Failure(Outcome::usage, "'" + wish + "' does not say which unit to trace at which level",
                       "write UNIT=LEVEL, as in --trace 'Lfib*=3'");
      setting += "," + wish.substr(0, equals) + "/0-" + wish.substr(equals + 1);
   }
   try {
      Vok::traceSettingIs(setting + " > stderr");
   } catch (const Vok::Error& error) {
      throw Failure(Outcome::usage, error.what(), "write UNIT=LEVEL, with a level from 0 to 9");
   }
}

} // namespace

int main(int argc, char** argv) {
   std::signal(SIGPIPE, SIG_IGN);
   agent::Options options;
   std::vector<std::string> traces;
   tools::Program program("mpls-agent", "The agents of MPLS: each verb is a process.", footer);
   tools::declareSocket(program, options.socket);
   program.option("--trace", traces, "UNIT=LEVEL: trace on standard error (may be given several times)")
       .needsVerb();
   program.beforeVerb([&] { traceIs(traces); });
   for (const agent::Verb verb : verbs)
      verb(program, options);
   try {
      return static_cast<int>(program.parse(argc, argv).value_or(Outcome::done));
   } catch (const agent::Stopped&) {
      return 0;
   } catch (const Failure& failure) {
      return program.report(failure);
   } catch (const Vok::CorruptionDetectedError& error) {
      return program.report(
          Failure(Outcome::corrupt, error.what(), "'mplsctl verify' lists what is damaged"));
   } catch (const std::exception& error) {
      return program.report(Failure(Outcome::failed, error.what()));
   }
}
