#include "tools/common/Catalogue.h"
#include "tools/common/CommandLine.h"

#include "Hubdb/Server.h"
#include "Hubdb/SocketPath.h"

#include "Vok/Errors.h"
#include "Vok/Trace.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <sys/resource.h>

namespace {

using tools::Failure;
using tools::Outcome;

struct Options {
   std::string socket = Hubdb::defaultSocketPath();
   std::string state;
   std::string access;
   bool sync = false;
   bool verbose = false;
};

constexpr auto footer =
    R"(Holds the entities that processes share, by path. Clients own entities and read those of others; the
state of an owner that is gone stays until the next owner goes on from it. hubdbd may be stopped and
started at any time: its clients wait, and bring what they own.

Access file: one grant a line, '#' begins a comment. What no line grants is forbidden, except to root and
to the user hubdbd runs as. Who may own may read. Names may be numbers; '/' stands for all paths.

   user NAME  own|read PATH       group routing own routing/mpls/route/input
   group NAME own|read PATH       any read routing
   any        own|read PATH

Says "ready" on standard output once clients can connect.
Signals: SIGTERM and SIGINT end it in good order and remove the socket.
Exit status: 0 ended by a signal, 1 the socket or a file cannot be used or written, 2 wrong usage.)";

Vok::Activity* running = nullptr; // for the signal handlers alone

Hubdb::Access accessOf(const std::string& path) {
   std::ifstream file(path);
   std::ostringstream text;
   if (!file || !(text << file.rdbuf()))
      throw Failure(Outcome::failed, "access file '" + path + "' cannot be read or is empty");
   try {
      return Hubdb::Access(text.str(), path);
   } catch (const Vok::Error& error) {
      throw Failure(Outcome::usage, error.what());
   }
}

/// As many descriptors as the process may have: a client takes three.
void raiseDescriptorLimit() {
   rlimit limit{};
   if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
      limit.rlim_cur = limit.rlim_max;
      setrlimit(RLIMIT_NOFILE, &limit);
   }
}

void serve(const Options& options) {
   Vok::traceSettingIs(options.verbose ? "Hubdb*/0-3" : "Hubdb*/0-1");
   Hubdb::ServerSetting setting;
   if (!options.access.empty())
      setting.access = accessOf(options.access);
   setting.stateFile = options.state;
   setting.sync = options.sync;
   const tools::Catalogue known = tools::catalogue();
   raiseDescriptorLimit();
   Vok::Activity activity;
   running = &activity;
   for (const int signal : {SIGTERM, SIGINT})
      std::signal(signal, [](int) { running->stop(); });
   Hubdb::Server server(activity, Hubdb::Catalogue({known.entities}), std::move(setting));
   server.listen(options.socket);
   std::puts("ready");
   std::fflush(stdout);
   activity.run();
   for (const int signal : {SIGTERM, SIGINT})
      std::signal(signal, SIG_IGN);
}

} // namespace

int main(int argc, char** argv) {
   Options options;
   tools::Program program("hubdbd", "The server of the central database.", footer);
   program.option("--socket", options.socket, "Unix socket to serve, made with mode 0660")
       .option("--state", options.state,
               "Journal of the state: nothing acknowledged is lost when hubdbd ends")
       .option("--access", options.access, "Who may own and who may read which paths; all may without it")
       .flag("--sync", options.sync, "Wait for the disk: nothing is lost when the power goes")
       .needs("--sync", "--state")
       .flag("--verbose", options.verbose, "Trace clients that come and go")
       .does([&] { serve(options); });
   try {
      return static_cast<int>(program.parse(argc, argv).value_or(Outcome::done));
   } catch (const Failure& failure) {
      return program.report(failure);
   } catch (const std::exception& error) {
      return program.report(Failure(Outcome::failed, error.what()));
   }
}
