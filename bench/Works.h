#pragma once

#include "bench/Report.h"

#include <set>
#include <string>
#include <vector>

/// The works, each in a file of its own. Each adds one round's numbers to the report.

namespace Bench {

struct Options {
   std::vector<std::uint64_t> sizes = {10'000, 100'000, 1'048'576};
   int rounds = 5;
   std::set<std::string> only = {};  ///< groups of works; empty for all
   std::set<std::string> peers = {}; ///< empty for all
   bool inLabelOrder = false;        ///< write routes by ascending label, and not in random order
   std::string mplsctl = {};         ///< the program's path; empty to leave its works out

   bool hasPeer(const std::string& name) const { return peers.empty() || peers.contains(name); }
};

/// Publish, lookup, chase, walk, rewrite, delete; bytes a route and the writer's restart.
void runTables(const Options& options, std::uint64_t size, Report& report);
/// Lookups in another process, with the writer at rest and at full speed.
void runBusy(const Options& options, std::uint64_t size, Report& report);
/// Changes with their rows at full speed, writer to reader.
void runStream(const Options& options, std::uint64_t size, Report& report);
/// One change to a sleeping reader.
void runWake(const Options& options, std::uint64_t size, Report& report);
/// What readers cost the writer.
void runReaders(const Options& options, std::uint64_t size, Report& report);
/// What a reader pays that tracks every change.
void runTracking(const Options& options, std::uint64_t size, Report& report);
/// An entity's attribute set with observers.
void runEntity(const Options& options, std::uint64_t size, Report& report);
/// LDP bindings from the tables of one process into the entities of another.
void runLdp(const Options& options, std::uint64_t size, Report& report);
/// The central database across processes.
void runHubdb(const Options& options, std::uint64_t size, Report& report);
/// The whole state of a root told to a reader, and told again.
void runReconcile(const Options& options, std::uint64_t size, Report& report);
/// Sources of configuration merged.
void runMerge(const Options& options, std::uint64_t size, Report& report);
/// Blocks of labels, and single numbers.
void runLabels(const Options& options, std::uint64_t size, Report& report);
/// The command-line tool.
void runTool(const Options& options, std::uint64_t size, Report& report);

} // namespace Bench
