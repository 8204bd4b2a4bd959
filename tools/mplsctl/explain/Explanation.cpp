#include "tools/mplsctl/explain/Explanation.h"

#include "tools/mplsctl/explain/Case.h"

#include <algorithm>

namespace mplsctl {

std::string_view stringValue(Stage::State state) {
   switch (state) {
   case Stage::State::stands:
      return "stands";
   case Stage::State::fails:
      return "fails";
   case Stage::State::none:
      return "none";
   case Stage::State::unknown:
      return "unknown";
   }
   return "unknown";
}

void Stage::gap(std::string code, std::string what, std::string next) {
   findings.push_back({std::move(code), std::move(what), std::move(next), {}});
}

void Stage::remark(std::string code, std::string what, std::string next) {
   findings.push_back({std::move(code), std::move(what), std::move(next), {}, false});
}

const Stage* Explanation::firstGap() const {
   const auto gap = std::ranges::find_if(stages, [](const Stage& stage) {
      return stage.state == Stage::State::fails || stage.state == Stage::State::unknown;
   });
   return gap == stages.end() ? nullptr : &*gap;
}

bool Explanation::stands() const {
   return !firstGap();
}

namespace {

std::optional<std::vector<Explanation::Owned>> ownedLabels(const Evidence& evidence) {
   if (!evidence.labels)
      return std::nullopt;
   std::vector<Explanation::Owned> owned;
   const Kinet::BoundedMplsLabelStack& stack = evidence.key.labelStack();
   for (unsigned slot = stack.count(); slot-- > 0;) {
      const Kinet::MplsLabel label = stack.label(Kinet::MplsStackEntryIndex(slot));
      for (const LabelState::Request& owner : evidence.labels->owners(label))
         owned.push_back({label, owner});
   }
   return owned;
}

} // namespace

Explanation explain(const Evidence& evidence) {
   const Case given(evidence);
   return {
       evidence.key,
       {sourcesStage(given), mergeStage(given), lfibStage(given), trackingStage(given), hardwareStage(given)},
       ownedLabels(evidence)};
}

} // namespace mplsctl
