#include "bench/Report.h"

#include "bench/Measure.h"

#include <algorithm>
#include <fmt/format.h>
#include <ostream>

namespace Bench {

namespace {

/// The median of the ratios of paired rounds: noise that slows both contestants of a round drops out.
double pairedRatio(const std::vector<double>& above, const std::vector<double>& below) {
   std::vector<double> ratios;
   for (std::size_t i = 0; i < std::min(above.size(), below.size()); ++i)
      ratios.push_back(above[i] / below[i]);
   return median(ratios);
}

const char* mark(const Goal& goal, double value) {
   const auto reaches = [&](double bound) {
      return goal.judge == Judge::faster ? value >= bound : value <= bound;
   };
   return reaches(goal.aim) ? "aim" : reaches(goal.floor) ? "pass" : "SHORT";
}

std::string spread(const std::vector<double>& samples) {
   const auto [least, most] = std::minmax_element(samples.begin(), samples.end());
   return fmt::format("{:.4g}..{:.4g}", *least, *most);
}

} // namespace

void Report::add(const std::string& work, std::uint64_t size, const std::string& who, double value) {
   samples_[{work, size}][who].push_back(value);
}

void Report::skip(const std::string& what, const std::string& why) {
   skipped_[what] = why;
}

void Report::print(std::ostream& out) const {
   out << fmt::format("{:<12} {:>9} {:<12} {:>10} {:<11} {:>19} {:>7} {:>6} {:>6}  {}\n", "work", "size",
                      "who", "median", "unit", "min..max", "ratio", "floor", "aim", "mark");
   for (const Work& work : works())
      for (const auto& [key, all] : samples_)
         if (key.work == work.name)
            printWork(out, work, key.size, all);
   for (const auto& [what, why] : skipped_)
      out << what << ": skipped, " << why << '\n';
}

void Report::printWork(std::ostream& out, const Work& work, std::uint64_t size,
                       const Contestants& all) const {
   const auto line = [&](const std::string& who, const Samples& samples, const std::string& verdict) {
      out << fmt::format("{:<12} {:>9} {:<12} {:>10.4g} {:<11} {:>19} {}\n", work.name, size, who,
                         median(samples), work.unit, spread(samples), verdict);
   };
   const auto verdict = [](const Goal* goal, double value) {
      if (!goal)
         return fmt::format("{:>7.2f}", value);
      return fmt::format("{:>7.2f} {:>6} {:>6}  {}", value, goal->floor, goal->aim, mark(*goal, value));
   };
   const auto own = all.find(ours);
   if (own != all.end()) {
      const Goal* absolute = goalOf(work.name, "");
      line(ours, own->second, absolute ? verdict(absolute, median(own->second)) : "");
   }
   for (const auto& [who, samples] : all) {
      if (who == ours)
         continue;
      const Goal* goal = goalOf(work.name, who);
      const bool overhead = goal && goal->judge == Judge::overhead;
      const double ratio = own == all.end() ? 0
                           : overhead       ? pairedRatio(own->second, samples)
                                            : pairedRatio(samples, own->second);
      line(who, samples, own == all.end() ? "" : verdict(goal, ratio));
   }
}

void Report::printJson(std::ostream& out) const {
   out << "{\"results\": [";
   const char* comma = "";
   for (const auto& [key, all] : samples_)
      for (const auto& [who, samples] : all) {
         out << comma
             << fmt::format("\n  {{\"work\": \"{}\", \"size\": {}, \"who\": \"{}\", \"median\": {:.6g}, "
                            "\"samples\": [{:.6g}]}}",
                            key.work, key.size, who, median(samples), fmt::join(samples, ", "));
         comma = ",";
      }
   out << "\n]}\n";
}

} // namespace Bench
