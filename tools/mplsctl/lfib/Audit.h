#pragma once

#include "tools/mplsctl/lfib/LfibTables.h"

#include "Pooltab/Verify.h"

#include <string>
#include <vector>

/// Checks a whole LFIB: each table by itself, and the graph of routes, via sets and vias.

namespace mplsctl {

struct Finding {
   /// dangling: a key names no row; orphaned: nothing leads to a row; wrongType: a via stands where its type
   /// does not belong, or a rule of its type is broken; table: a table is damaged in itself.
   enum class Kind { dangling, orphaned, wrongType, table };
   Kind kind;
   std::string text;
   auto operator<=>(const Finding&) const = default;
};

std::string_view stringValue(Finding::Kind kind);

struct AuditReport {
   struct Table {
      std::string name;
      Pooltab::TableReport report;
      bool writerAlive = false;

      /// "clean"; "changing" beside a writer, "half done" when one died in the middle of a change that the
      /// next one finishes (both no findings); "damaged".
      std::string_view state() const;
   };
   std::vector<Table> tables; ///< those that are there
   Vok::U64 routes = 0;
   Vok::U64 viaSets = 0;
   Vok::U64 vias = 0;
   std::vector<Finding> findings;

   bool isClean() const { return findings.empty(); }
   /// True when a table is damaged, not just the graph.
   bool isDamaged() const;
};

/// Beside a changing writer the graph is walked anew, and only what stands in two walks is a finding: what
/// is under way in one is done in the next.
AuditReport audit(const LfibTables& tables);

} // namespace mplsctl
