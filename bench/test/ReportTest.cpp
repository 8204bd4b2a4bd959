#include "bench/Report.h"
#include "bench/Measure.h"

#include <gtest/gtest.h>
#include <sstream>

namespace Bench {

namespace {

TEST(Quantile, LiesBetweenItsNeighbours) {
   struct Case {
      std::vector<double> samples;
      double part, expected;
   };
   for (const Case& c : {Case{{7}, 0.99, 7}, Case{{3, 1, 2}, 0.5, 2}, Case{{4, 1, 3, 2}, 0.5, 2.5},
                         Case{{5, 1, 3}, 0, 1}, Case{{5, 1, 3}, 1, 5}})
      EXPECT_DOUBLE_EQ(quantile(c.samples, c.part), c.expected);
}

/// The last word of the line of that contestant.
std::string markOf(const Report& report, const std::string& who) {
   std::ostringstream out;
   report.print(out);
   std::istringstream lines(out.str());
   for (std::string line; std::getline(lines, line);)
      if (line.find(" " + who + " ") != std::string::npos)
         return line.substr(line.find_last_of(' ') + 1);
   return "no line";
}

/// A round that was slow for both contestants says nothing; more than the aim, more than the floor, less.
TEST(Report, JudgesPairedRounds) {
   struct Case {
      const char *work, *peer;
      std::vector<double> own, peers;
      const char* mark;
   };
   const Case cases[] = {
       {"publish", "absl", {10, 1000, 10}, {60, 6000, 10}, "aim"},
       {"publish", "absl", {10, 10, 10}, {20, 20, 1000}, "pass"},
       {"publish", "absl", {10, 10, 10}, {14, 14, 14}, "SHORT"},
       {"wake-median", "bare", {20}, {20}, "aim"},
       {"wake-median", "bare", {25}, {20}, "pass"},
       {"wake-median", "bare", {30}, {20}, "SHORT"},
   };
   for (const Case& c : cases) {
      Report report;
      for (std::size_t round = 0; round < c.own.size(); ++round) {
         report.add(c.work, 1000, ours, c.own[round]);
         report.add(c.work, 1000, c.peer, c.peers[round]);
      }
      EXPECT_EQ(markOf(report, c.peer), c.mark) << c.work << " beside " << c.peer;
   }
}

TEST(Child, HandsBackNumbersOrItsFailure) {
   EXPECT_EQ(Child([] { return std::vector<double>{1, 2.5}; }).result(), (std::vector<double>{1, 2.5}));
   Child failing([]() -> std::vector<double> { throw std::runtime_error("nothing to read"); });
   try {
      failing.result();
      FAIL() << "no failure";
   } catch (const std::runtime_error& failure) {
      EXPECT_NE(std::string(failure.what()).find("nothing to read"), std::string::npos);
   }
}

} // namespace

} // namespace Bench
