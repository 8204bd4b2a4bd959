#include "tools/mplsctl/lfib/LabelUses.h"

#include <algorithm>

namespace mplsctl {

namespace {

bool holds(const Kinet::BoundedMplsLabelStack& stack, Kinet::MplsLabel label) {
   for (unsigned slot = 0; slot < stack.count(); ++slot)
      if (stack.label(Kinet::MplsStackEntryIndex(slot)) == label)
         return true;
   return false;
}

bool pushes(const Chain::Link& link, Kinet::MplsLabel label) {
   const auto* via = link.row ? std::get_if<Mpls::LfibMplsVia>(&*link.row) : nullptr;
   return via && holds(via->labelStack().stack(), label);
}

/// Collects what has to do with one label.
struct Search {
   void look(const Chain& chain, bool matches, bool isBackup) {
      const auto doesPush = [&](const Chain::Link& link) { return pushes(link, label); };
      const bool anyPushes = std::ranges::any_of(chain.vias, doesPush);
      if (!matches && !anyPushes)
         return;
      uses.push_back({matches, anyPushes, isBackup, chain});
      if (!matches)
         std::erase_if(uses.back().chain.vias, [&](const Chain::Link& link) { return !doesPush(link); });
   }

   const Kinet::MplsLabel label;
   std::vector<LabelUse> uses = {};
};

} // namespace

std::vector<LabelUse> labelUses(const LfibTables& tables, Kinet::MplsLabel label) {
   Search search{label};
   eachChain(tables, {}, [&](const Chain& chain) {
      search.look(chain, holds(chain.route.key().labelStack(), label), false);
      if (!!chain.backup)
         for (const Chain& backup : backupsOf(tables, chain))
            search.look(backup, false, true);
   });
   return std::move(search.uses);
}

} // namespace mplsctl
