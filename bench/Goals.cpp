#include "bench/Report.h"

#include <cstring>

namespace Bench {

const std::vector<Work>& works() {
   static const std::vector<Work> all = {
       {"publish", "ns/route"},
       {"rewrite", "ns/route"},
       {"delete", "ns/route"},
       {"lookup", "ns/route"},
       {"chase", "ns/route"},
       {"walk", "ns/row"},
       {"lookup-busy", "ns/route"},
       {"stream", "ns/change"},
       {"wake-median", "us"},
       {"wake-p99", "us"},
       {"log-cost", "ns/change"},
       {"bytes", "bytes/route"},
       {"track-start", "s"},
       {"track-steady", "ns/change"},
       {"track-via-1", "ns/route"},
       {"track-via-10", "ns/route"},
       {"track-via-100", "ns/route"},
       {"track-via-1000", "ns/route"},
       {"restart", "ms"},
       {"entity-1", "ns/set"},
       {"entity-4", "ns/set"},
       {"entity-1-label", "ns/set"},
       {"entity-4-label", "ns/set"},
       {"entity-1-name", "ns/set"},
       {"entity-4-name", "ns/set"},
       {"ldp-start", "ns/row"},
       {"ldp-follow", "ns/row"},
       {"ldp-bytes", "bytes/binding"},
       {"hubdb-change", "ns/change"},
       {"hubdb-wake", "us"},
       {"hubdb-configure", "ns/route"},
       {"hubdb-mount", "s"},
       {"hubdb-server-bytes", "bytes/route"},
       {"hubdb-reader-bytes", "bytes/route"},
       {"hubdb-take", "s"},
       {"hubdb-reconcile", "s"},
       {"merge-start", "ns/route"},
       {"merge-give", "ns/change"},
       {"merge-conflict", "ns/change"},
       {"merge-withdraw", "ns/change"},
       {"label-grant", "ns/request"},
       {"label-release", "ns/request"},
       {"label-restart", "ms"},
       {"number", "ns/number"},
       {"ctl-load", "s"},
       {"ctl-show", "s"},
   };
   return all;
}

namespace {

using enum Judge;

/// At 1,048,576 routes, the tools at 100,000.
constexpr Goal goals[] = {
    {"publish", "absl", faster, 1.5, 5},
    {"publish", "boost", faster, 2.5, 8},
    {"publish", "lmdb", faster, 8, 28},
    {"publish", "redis", faster, 15, 50},
    {"rewrite", "absl", faster, 1, 2.5},
    {"rewrite", "boost", faster, 3, 8},
    {"rewrite", "lmdb", faster, 8, 25},
    {"rewrite", "redis", faster, 8, 22},
    {"delete", "absl", faster, 1, 2.5},
    {"delete", "boost", faster, 4, 13},
    {"delete", "redis", faster, 8, 22},
    {"lookup", "absl", faster, 0.9, 1.4},
    {"lookup", "lmdb", faster, 2.5, 5},
    {"lookup", "boost", faster, 1.7, 2.8},
    {"chase", "absl", faster, 3, 5.5},
    {"chase", "lmdb", faster, 8, 15},
    {"chase", "redis", faster, 20, 33},
    {"lookup-busy", "quiet", faster, 0.85, 1},
    {"walk", "absl", faster, 0.8, 1.2},
    {"walk", "lmdb", faster, 2, 3.5},
    {"stream", "lmdb+socket", faster, 5, 13},
    {"stream", "redis", faster, 10, 24},
    {"stream", "observer", faster, 0.8, 1.9},
    {"wake-median", "bare", overhead, 1.3, 1.05},
    {"wake-p99", "bare", overhead, 1.5, 1.1},
    {"log-cost", "no-readers", overhead, 1.2, 1},
    {"bytes", "", absolute, 380, 335},
    {"restart", "", absolute, 100, 25},
    {"entity-1", "absl", faster, 0.7, 0.95},
    {"entity-1", "std", faster, 0.7, 0.95},
    {"entity-4", "absl", faster, 0.6, 0.9},
    {"entity-4", "std", faster, 0.6, 0.9},
    {"entity-1-label", "absl", faster, 0.7, 0.95},
    {"entity-4-label", "absl", faster, 0.6, 0.9},
    {"entity-1-name", "absl", faster, 0.7, 0.95},
    {"entity-4-name", "absl", faster, 0.6, 0.9},
    {"track-start", "", absolute, 2, 1},
    {"track-steady", "", absolute, 1000, 500},
    {"ldp-start", "", absolute, 1000, 300},
    {"ldp-follow", "", absolute, 1000, 400},
    {"ldp-bytes", "", absolute, 200, 115},
    {"hubdb-change", "redis", faster, 5, 13},
    {"hubdb-wake", "redis", faster, 1.67, 3},
    {"hubdb-mount", "", absolute, 5, 2},
    {"hubdb-server-bytes", "", absolute, 600, 600},
    {"hubdb-reader-bytes", "", absolute, 600, 600},
    {"merge-start", "", absolute, 1000, 1000},
    {"merge-give", "", absolute, 1000, 1000},
    {"merge-conflict", "", absolute, 1000, 1000},
    {"merge-withdraw", "", absolute, 1000, 1000},
    {"label-grant", "few-granted", overhead, 1.2, 1},
    {"label-restart", "", absolute, 100, 100},
    {"ctl-load", "", absolute, 0.5, 0.2},
    {"ctl-show", "", absolute, 0.5, 0.2},
};

} // namespace

const Goal* goalOf(const std::string& work, const std::string& peer) {
   for (const Goal& goal : goals)
      if (work == goal.work && peer == goal.peer)
         return &goal;
   return nullptr;
}

} // namespace Bench
