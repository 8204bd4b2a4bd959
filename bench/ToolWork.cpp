#include "bench/SharedPage.h"
#include "bench/Tables.h"
#include "bench/Works.h"

#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

/// mplsctl as its users start it: the time from starting the process to its end.

namespace Bench {

namespace {

/// Seconds that a run of the program takes, its output thrown away. Raises std::runtime_error when it fails.
double run(const std::vector<std::string>& words, const std::string& root) {
   std::vector<char*> arguments;
   for (const std::string& word : words)
      arguments.push_back(const_cast<char*>(word.c_str()));
   arguments.push_back(nullptr);
   const double start = nowNs();
   const int pid = fork();
   if (pid == 0) {
      setenv("POOLTAB_DIR", root.c_str(), 1);
      dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
      execv(arguments[0], arguments.data());
      _exit(127);
   }
   int status = -1;
   waitpid(pid, &status, 0);
   if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
      throw std::runtime_error(words[0] + " " + words[1] + " failed");
   return (nowNs() - start) / 1e9;
}

/// Routes as `ip -f mpls route show` prints them.
void writeRoutes(const std::string& file, U64 size) {
   std::ofstream out(file);
   for (U64 number = 0; number < size; ++number) {
      const U64 label = 16 + number;
      out << label << " as to " << 16 + (label * 7) % 1'000'000 << " via inet 10." << (number >> 16 & 255)
          << '.' << (number >> 8 & 255) << '.' << (number & 255) << " dev eth" << number % 16
          << " proto static \n";
   }
}

double load(const std::string& program, U64 size) {
   const ScratchDirectory scratch;
   const std::string file = scratch.path() + "/routes";
   writeRoutes(file, size);
   return run({program, "load", file}, scratch.path());
}

double show(const std::string& program, U64 size) {
   Tables tables(size);
   SharedPage<std::atomic<bool>> over;
   Child reader([&] {
      const double seconds =
          run({program, "--pool", tables.where().pool, "show", "routes"}, tables.where().root);
      *over.get() = true;
      return std::vector<double>{seconds};
   });
   const std::vector<U32> labels = shuffled(size);
   const double giveUp = nowNs() + 30e9;
   for (U64 write = 0; !*over.get() && nowNs() < giveUp; ++write)
      tables.lfib().lfibRouteIs(tables.routeWithMetric(labels[write % size], write / size));
   return reader.result().front();
}

} // namespace

void runTool(const Options& options, U64 size, Report& report) {
   if (options.mplsctl.empty())
      return report.skip("mplsctl", "no --mplsctl was given");
   if (size > 100'000)
      return; // what these works have to reach is said of 100,000 routes
   report.add("ctl-load", size, ours, load(options.mplsctl, size));
   report.add("ctl-show", size, ours, show(options.mplsctl, size));
}

} // namespace Bench
