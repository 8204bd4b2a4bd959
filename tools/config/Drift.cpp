#include "tools/config/Drift.h"

namespace tools::config {

Drift::Drift(const Side& base, const Side& copy, const Side& running) {
   const auto then = base.parts(), here = copy.parts(), now = running.parts();
   for (std::size_t i = 0; i < then.size(); ++i)
      parts_.push_back(Cli::Session::divergence(*then[i], *here[i], *now[i]));
}

/// Calls visit( number of the part, entries ).
template <class Visit>
void Drift::each(Which which, const Visit& visit) const {
   for (std::size_t i = 0; i < parts_.size(); ++i) {
      if (which != Which::conflict)
         visit(i, parts_[i].elsewhere);
      if (which != Which::outside)
         visit(i, parts_[i].both);
   }
}

std::size_t Drift::size(Which which) const {
   std::size_t count = 0;
   each(which, [&](std::size_t, const auto& entries) { count += entries.size(); });
   return count;
}

void Drift::take(Which which, const Side& to, const Side& from) const {
   const auto target = to.parts(), source = from.parts();
   each(which, [&](std::size_t i, const auto& entries) { copyEntries(target[i], source[i], entries); });
}

Side Drift::only(Which which, const Side& from) const {
   const Side side = Side::empty();
   take(which, side, from);
   return side;
}

} // namespace tools::config
