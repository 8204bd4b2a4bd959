#include "Vok/Assert.h"

#include "Vok/Errors.h"
#include "Vok/Trace.h"

#include <gtest/gtest.h>

namespace {

int evaluated = 0;
constexpr unsigned requirementLine = 25;

const char* message() {
   ++evaluated;
   return "what it means";
}

struct Table {
   bool initialized() const { return initialized_; }
   void handleRoute(int key) const {
      vokAssert(initialized());
      vokAssertMessage(key != 7, message());
      vokAssert(key != 8 && "seven and eight are taken");
      vokAssert(std::pair<int, int>{key, 0} != std::pair{9, 0});
      vokRequire(key == 1, message()); // on requirementLine
   }
   bool initialized_ = true;
};

TEST(Assert, StopsWithPlaceSignatureAndCondition) {
   const auto stops = [](Table table, int key, const std::string& text) {
      const std::string place =
          R"(^AssertTest\.cpp:[0-9]+: void .*Table::handleRoute\(int\) const: assertion failed: )";
      EXPECT_DEATH(table.handleRoute(key), place + text + "\n$") << text;
   };
   stops({false}, 1, R"(initialized\(\))");
   stops({}, 7, "key != 7: what it means");
   stops({}, 8, R"(key != 8 && "seven and eight are taken")");
   stops({}, 9, R"(std::pair<int, int>\{key, 0\} != std::pair\{9, 0\})");
}

TEST(Assert, TellsTheTraceAndPrintsTheRing) {
   const auto die = [] {
      const Vok::TraceCapture capture("*/0-1");
      Vok::TraceFacility trace("Before");
      if (auto line = trace.at(1))
         line << "the last thing done";
      vokAssert(evaluated < 0);
   };
   EXPECT_DEATH(die(), "^AssertTest.cpp:[0-9]+: .*assertion failed: evaluated < 0\n"
                       ".* Before 1 AssertTest.cpp:[0-9]+ the last thing done\n"
                       ".* Assert 0 AssertTest.cpp:[0-9]+ .*assertion failed: evaluated < 0\n$");
}

TEST(Assert, RequirementRaisesInternalError) {
   evaluated = 0;
   Table().handleRoute(1);
   EXPECT_EQ(evaluated, 0);
   try {
      Table().handleRoute(2);
      ADD_FAILURE() << "nothing raised";
   } catch (const Vok::InternalError& error) {
      EXPECT_EQ(error.what(), "AssertTest.cpp:" + std::to_string(requirementLine) +
                                  " void {anonymous}::Table::handleRoute(int) const"
                                  " -- assertion failed(key == 1): what it means");
   }
}

} // namespace
