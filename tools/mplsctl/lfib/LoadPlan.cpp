#include "tools/mplsctl/lfib/LoadPlan.h"

#include "Mpls/LfibBatch.h"

#include <fmt/core.h>

#include <algorithm>
#include <utility>

namespace mplsctl {

namespace {

/// Routes that are written at once.
constexpr std::size_t batchSize = 64;

/// Marks the label of a bad line.
constexpr Vok::U32 badLine = ~Vok::U32(0);

/// The label of a key of one label; above all labels for other keys, which no file names.
Vok::U32 labelOf(const Mpls::RouteKey& key) {
   return key.labelStack().count() == 1 ? key.topLabel().value() : Kinet::MplsLabel::max + 1;
}

} // namespace

LoadPlan::LoadPlan(const RouteFile& file, SourceSet sources, const Mpls::LfibStatus& tables)
    : file_(file), sources_(sources), steps_(file.routes.size(), Step::add),
      ofLabel_(Kinet::MplsLabel::max + 2) {
   for (const Vok::U32 label : file.badLabels)
      ofLabel_[label] = badLine;
   for (std::size_t i = 0; i < file.routes.size(); ++i) {
      const FileRoute& route = file.routes[i];
      if (sources.test(static_cast<std::size_t>(route.source))) {
         ofLabel_[route.label] = static_cast<Vok::U32>(i + 1);
      } else {
         steps_[i] = Step::skip;
         addRemark(remarks_, Remark::Kind::skipped, route.line, "route of another source than asked for");
      }
   }
   for (const Mpls::LfibRoute& row : tables.lfibRouteEach())
      compare(tables, row);
}

void LoadPlan::compare(const Mpls::LfibStatus& tables, const Mpls::LfibRoute& row) {
   const Vok::U32 found = ofLabel_[labelOf(row.key())];
   if (found == badLine)
      addRemark(remarks_, Remark::Kind::note, 0, "route of the tables kept as it is, for its line is bad");
   else if (found > 0)
      compareWished(tables, row, found - 1);
   else if (sources_.test(static_cast<std::size_t>(row.source())))
      removed_.push_back(row.key());
}

void LoadPlan::compareWished(const Mpls::LfibStatus& tables, const Mpls::LfibRoute& row,
                             std::size_t position) {
   const FileRoute& route = file_.routes[position];
   if (!sources_.test(static_cast<std::size_t>(row.source()))) {
      steps_[position] = Step::skip;
      addRemark(remarks_, Remark::Kind::skipped, route.line,
                fmt::format("label that {} holds in the tables", stringValue(row.source())));
      return;
   }
   steps_[position] = isPublished(tables, row, file_, route) ? Step::leave : Step::change;
}

Vok::U32 LoadPlan::count(Step step) const {
   return static_cast<Vok::U32>(std::ranges::count(steps_, step));
}

void LoadPlan::apply(Mpls::LfibWriter& writer) const {
   std::vector<Mpls::ConsolidatedLfibRoute> batch(batchSize);
   std::size_t filled = 0;
   const auto write = [&] { lfibRoutesIs(writer, std::span(batch).first(std::exchange(filled, 0))); };
   for (std::size_t i = 0; i < steps_.size(); ++i) {
      if (steps_[i] != Step::add && steps_[i] != Step::change)
         continue;
      consolidate(batch[filled++], file_, file_.routes[i]);
      if (filled == batchSize)
         write();
   }
   write();
   lfibRoutesDel(writer, removed_);
}

} // namespace mplsctl
