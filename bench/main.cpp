#include "bench/Measure.h"
#include "bench/Works.h"

#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>

namespace {

struct Group {
   const char* name;
   void (*run)(const Bench::Options&, std::uint64_t, Bench::Report&);
};

constexpr Group groups[] = {
    {"tables", Bench::runTables},       {"busy", Bench::runBusy},       {"stream", Bench::runStream},
    {"wake", Bench::runWake},           {"readers", Bench::runReaders}, {"tracking", Bench::runTracking},
    {"entity", Bench::runEntity},       {"ldp", Bench::runLdp},         {"hubdb", Bench::runHubdb},
    {"reconcile", Bench::runReconcile}, {"merge", Bench::runMerge},     {"labels", Bench::runLabels},
    {"tool", Bench::runTool},
};

void run(const Bench::Options& options, Bench::Report& report) {
   for (const std::uint64_t size : options.sizes)
      for (int round = 1; round <= options.rounds; ++round)
         for (const Group& group : groups) {
            if (!options.only.empty() && !options.only.contains(group.name))
               continue;
            std::cerr << group.name << ", " << size << " routes, round " << round << " of " << options.rounds
                      << std::endl;
            group.run(options, size, report);
         }
}

} // namespace

int main(int argc, char** argv) {
   CLI::App app("Measures the MPLS library beside peers that do the same work in the same run.", "mplsbench");
   Bench::Options options;
   std::string json;
   std::vector<std::string> only, peers;
   std::vector<std::string> names;
   for (const Group& group : groups)
      names.push_back(group.name);
   app.add_option("--sizes", options.sizes, "numbers of routes")
       ->delimiter(',')
       ->check(CLI::Range(1, 1'048'576));
   app.add_option("--rounds", options.rounds, "how often each contestant takes part")
       ->check(CLI::Range(1, 1000));
   app.add_option("--only", only, "groups of works to run")->delimiter(',')->check(CLI::IsMember(names));
   app.add_option("--peers", peers, "peers to measure beside")
       ->delimiter(',')
       ->check(CLI::IsMember({"absl", "std", "boost", "lmdb", "redis", "none"}));
   app.add_option("--mplsctl", options.mplsctl, "path of mplsctl, to measure it too")
       ->check(CLI::ExistingFile);
   app.add_option("--json", json, "also write the samples to this file");
   app.add_flag("--in-label-order", options.inLabelOrder, "write routes by label, and not in random order");
   app.add_flag_callback(
       "--cpu-time", [] { Bench::workClock = CLOCK_PROCESS_CPUTIME_ID; },
       "time works of one process by its processor time, for machines that others use too");
   CLI11_PARSE(app, argc, argv);
   options.only = {only.begin(), only.end()};
   options.peers = {peers.begin(), peers.end()};

   Bench::Report report;
   try {
      run(options, report);
   } catch (const std::exception& failure) {
      std::cerr << "mplsbench: " << failure.what() << '\n';
      return 1;
   }
   report.print(std::cout);
   if (!json.empty()) {
      std::ofstream file(json);
      report.printJson(file);
   }
   return 0;
}
