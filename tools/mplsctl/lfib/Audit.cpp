#include "tools/mplsctl/lfib/Audit.h"

#include "tools/mplsctl/lfib/Chain.h"
#include "tools/mplsctl/verbs/RouteText.h"

#include "Mpls/LfibRules.h"

#include <algorithm>
#include <iterator>

namespace mplsctl {

namespace {

/// One walk over the graph. Walks vias before via sets before routes, against the order in which a writer
/// adds them, so that what it adds meanwhile has few chances to look orphaned.
class GraphWalk {
  public:
   explicit GraphWalk(const LfibTables& tables) : tables_(tables) {}

   void run(AuditReport& report) {
      tables_.eachViaTable([&](const auto& table) { walk([&] { walkVias(table); }); });
      walk([&] { walkViaSets(); });
      walk([&] { walkRoutes(); });
      findOrphans();
      std::ranges::sort(findings_);
      report.vias = vias_.size();
      report.viaSets = viaSets_.size();
      report.routes = routes_;
      report.findings = std::move(findings_);
   }

  private:
   void find(Finding::Kind kind, std::string text) { findings_.push_back({kind, std::move(text)}); }

   /// A table that cannot be walked to its end is a finding; the others are walked all the same.
   template <class Walk>
   void walk(Walk&& run) {
      try {
         run();
      } catch (const Vok::CorruptionDetectedError& error) {
         find(Finding::Kind::table, error.what());
      }
   }

   template <class Row>
   void walkVias(const Pooltab::TableReader<Row>& table) {
      for (const Row& via : table) {
         vias_.push_back(via.key());
         if (via.key().viaType() != Row::viaType)
            find(Finding::Kind::wrongType,
                 fmt::format("via {} stands in table {}", keyText(via.key()), table.view().name()));
      }
   }

   void walkViaSets() {
      for (const Mpls::LfibViaSet& viaSet : tables_.viaSet) {
         viaSets_.push_back(viaSet.key());
         if (!!viaSet.backupViaSetKey())
            usedViaSets_.push_back(viaSet.backupViaSetKey());
         for (const auto [slot, key] : viaSet.viaKeyEach())
            checkLink(viaSet, key);
         if (Mpls::isEvpnViaType(viaSet.viaType()) && viaSet.viaKeys() > 1)
            find(Finding::Kind::wrongType, fmt::format("via set {} holds {} vias, its type allows one",
                                                       keyText(viaSet.key()), viaSet.viaKeys()));
      }
   }

   void checkLink(const Mpls::LfibViaSet& viaSet, const Mpls::LfibViaKey& key) {
      usedVias_.push_back(key);
      if (key.viaType() != viaSet.viaType())
         find(Finding::Kind::wrongType,
              fmt::format("via set {} lists via {} of another type", keyText(viaSet.key()), keyText(key)));
      // A via set that was replaced since it was read may list vias that went with it.
      if (!tables_.via(key) && stillLists(viaSet.key(), key) && !tables_.via(key))
         find(Finding::Kind::dangling, fmt::format("via set {} lists via {}, which is not there",
                                                   keyText(viaSet.key()), keyText(key)));
   }

   bool stillLists(const Mpls::LfibViaSetKey& viaSetKey, const Mpls::LfibViaKey& wanted) const {
      const Mpls::LfibViaSet viaSet = tables_.viaSet.lookup(viaSetKey);
      for (const auto [slot, key] : viaSet.viaKeyEach())
         if (key == wanted)
            return true;
      return false;
   }

   void walkRoutes() {
      Chain chain;
      for (const Mpls::LfibRoute& route : tables_.lfibRoute) {
         ++routes_;
         usedViaSets_.push_back(route.viaSetKey());
         if (Mpls::isEvpnViaType(route.viaSetKey().viaType()) && route.metric() != 0)
            find(Finding::Kind::wrongType, fmt::format("route {} has metric {}, its via type allows 0",
                                                       labelText(route.key()), route.metric().value()));
         if (!tables_.viaSet.has(route.viaSetKey()) && readChain(tables_, route.key(), chain) &&
             !chain.hasViaSet)
            find(Finding::Kind::dangling, fmt::format("route {} names via set {}, which is not there",
                                                      labelText(route.key()), keyText(route.viaSetKey())));
      }
   }

   void findOrphans() {
      std::ranges::sort(usedVias_);
      std::ranges::sort(usedViaSets_);
      for (const Mpls::LfibViaKey& key : vias_)
         if (!std::ranges::binary_search(usedVias_, key))
            find(Finding::Kind::orphaned, fmt::format("no via set lists via {}", keyText(key)));
      for (const Mpls::LfibViaSetKey& key : viaSets_)
         if (!std::ranges::binary_search(usedViaSets_, key))
            find(Finding::Kind::orphaned, fmt::format("no route names via set {}", keyText(key)));
   }

   const LfibTables& tables_;
   Vok::U64 routes_ = 0;
   std::vector<Mpls::LfibViaKey> vias_, usedVias_;
   std::vector<Mpls::LfibViaSetKey> viaSets_, usedViaSets_;
   std::vector<Finding> findings_;
};

/// In the middle of a change, sums and counts differ and blocks are not what they will be; rows are whole at
/// every moment.
bool explainedByChange(const Pooltab::TableReport& checked) {
   return checked.busy && checked.tornRows == 0;
}

void checkTables(const LfibTables& tables, AuditReport& report) {
   const Pooltab::Folder& folder = *tables.pool.folder();
   if (!tables.pool.hasLog())
      report.findings.push_back({Finding::Kind::table, "the control file or its change log cannot be read"});
   tables.eachTable([&]<class Row>(const Pooltab::TableReader<Row>& table) {
      const std::string& name = table.view().name();
      Pooltab::TableReport checked = Pooltab::verifyTable<Row>(folder, name);
      if (checked.status == Pooltab::MountStatus::unmounted)
         return;
      if (!explainedByChange(checked))
         for (const std::string& finding : checked.findings)
            report.findings.push_back({Finding::Kind::table, name + ": " + finding});
      report.tables.push_back({name, std::move(checked), folder.isLocked()});
   });
}

} // namespace

std::string_view stringValue(Finding::Kind kind) {
   constexpr std::string_view words[] = {"dangling", "orphaned", "wrong type", "table"};
   return words[static_cast<std::size_t>(kind)];
}

std::string_view AuditReport::Table::state() const {
   if (explainedByChange(report))
      return writerAlive ? "changing" : "half done";
   return report.isClean() ? "clean" : "damaged";
}

bool AuditReport::isDamaged() const {
   return std::ranges::any_of(findings, [](const Finding& one) { return one.kind == Finding::Kind::table; });
}

AuditReport audit(const LfibTables& tables) {
   AuditReport report;
   Vok::U64 before = tables.pool.logPosition();
   GraphWalk(tables).run(report);
   for (int again = 0; again < 3 && !report.isClean() && tables.pool.logPosition() != before; ++again) {
      const std::vector<Finding> earlier = std::move(report.findings);
      before = tables.pool.logPosition();
      GraphWalk(tables).run(report);
      std::vector<Finding> both;
      std::ranges::set_intersection(earlier, report.findings, std::back_inserter(both));
      report.findings = std::move(both);
   }
   checkTables(tables, report);
   return report;
}

} // namespace mplsctl
