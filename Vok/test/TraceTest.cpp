#include "Vok/Trace.h"

#include "Vok/Errors.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

namespace {

constinit Vok::TraceFacility trace("MplsLfibWriter");

struct Own {
   std::string stringValue() const { return "own"; }
   operator std::string_view() const { return "not asked"; }
};
enum class Beside { one = 1 };
std::string stringValue(Beside) {
   return "beside";
}

std::string levelsOn() {
   std::string on;
   const auto ask = [&]<unsigned... level>(std::integer_sequence<unsigned, level...>) {
      ((trace.isOn(level) ? on += std::to_string(level) : on), ...);
   };
   ask(std::make_integer_sequence<unsigned, Vok::TraceLevel::count>());
   return on;
}

TEST(Trace, SettingSwitchesLevels) {
   const Vok::TraceCapture restore("");
   const std::pair<const char*, const char*> cases[] = {
       {"", ""},
       {"*/0", "0"},
       {"MplsLfibWriter/0-8", "012345678"},
       {"LfibWriter/0-8,Mpls*/1", "1"},
       {"Mpls*/1 , *Writer/3-4,*Lfib*W*/8", "1348"},
       {"*fibWrite/5,MplsLfibWriter*/6,M*s*s*/7", "6"},
       {"**/9,MplsLfibWrite/1,plsLfibWriter/2", "9"},
       {"*/*", "0123456789"},
   };
   for (const auto& [setting, levels] : cases) {
      Vok::traceSettingIs(setting);
      EXPECT_EQ(levelsOn(), levels) << setting;
      EXPECT_EQ(Vok::traceSetting(), setting);
   }
}

TEST(Trace, BadSettingIsRefusedAndChangesNothing) {
   const Vok::TraceCapture capture("Mpls*/3");
   const auto destination = Vok::traceDestination();
   const std::pair<const char*, const char*> cases[] = {
       {"Lfib", "bad item 'Lfib'"},
       {"*/1,,*/2", "bad item ''"},
       {"/1", "bad item '/1'"},
       {"*/", "bad levels ''"},
       {"*/10", "bad levels '10'"},
       {"*/8-0", "bad levels '8-0'"},
       {"*/1-", "bad levels '1-'"},
       {"*/1>", "bad destination ''"},
       {"*/1>ring:0", "bad destination 'ring:0'"},
       {"*/1>ring:9x", "bad destination 'ring:9x'"},
       {"*/1>file", "bad destination 'file'"},
   };
   for (const auto& [setting, what] : cases)
      try {
         Vok::traceSettingIs(setting);
         ADD_FAILURE() << setting << " was taken";
      } catch (const Vok::ParseError& error) {
         EXPECT_NE(std::string(error.what()).find(what), std::string::npos) << error.what();
      }
   EXPECT_THROW(Vok::traceSettingIs("*/1 > /no/such/folder/file"), std::system_error);
   EXPECT_EQ(levelsOn(), "3");
   EXPECT_EQ(Vok::traceSetting(), "Mpls*/3");
   EXPECT_EQ(Vok::traceDestination(), destination);
}

void traced(int& evaluated) {
   if (auto line = trace.entry(8))
      line << " n " << ++evaluated;
   if (auto line = trace.entry(7, "red"))
      line << " n " << ++evaluated;
}

TEST(Trace, LineIsBuiltOnlyWhenOnAndSaysWhereItStands) {
   int evaluated = 0;
   {
      const Vok::TraceCapture capture("*/0-6,*/9");
      traced(evaluated);
      EXPECT_TRUE(capture.lines().empty());
      EXPECT_EQ(evaluated, 0);
      const Vok::TraceCapture inner("*/7-8");
      traced(evaluated);
      EXPECT_EQ(inner.lines(), (std::vector<std::string>{"void {anonymous}::traced(int&) n 1",
                                                         "[red] void {anonymous}::traced(int&) n 2"}));
      auto record = inner.records().front();
      EXPECT_GT(record.time, 1'700'000'000'000'000'000);
      EXPECT_GT(record.line, 30u);
      record.time = 1'700'000'000'012'345'678;
      record.line = 57;
      EXPECT_EQ(
          record.stringValue(),
          "2023-11-14T22:13:20.012345Z MplsLfibWriter 8 TraceTest.cpp:57 void {anonymous}::traced(int&) n 1");
      EXPECT_TRUE(capture.lines().empty());
   }
   traced(evaluated); // back to how it was before: level 0 only
   EXPECT_EQ(evaluated, 2);
}

TEST(Trace, ValuesShowTheirReadableForm) {
   const Vok::TraceCapture capture("*/1");
   if (auto line = trace.at(1, "vrf"))
      line << Own{} << ' ' << Beside::one << ' ' << std::string("text") << ' ' << true << ' '
           << std::uint8_t{65} << ' ' << std::int8_t{-3} << ' ' << ~Vok::U64{0} << ' ' << 0.1 << ' '
           << Vok::TraceHex{0xBEEF} << ' ' << static_cast<const void*>(nullptr);
   EXPECT_EQ(capture.lines(),
             std::vector<std::string>{"[vrf] own beside text true 65 -3 18446744073709551615 0.1 beef 0x0"});
}

TEST(Trace, DestinationsTakeTheLines) {
   const Vok::TraceCapture restore("");
   const auto say = [](int number) {
      if (auto line = trace.at(1))
         line << "line " << number;
   };
   std::string folder = (std::filesystem::temp_directory_path() / "trace-XXXXXX").string();
   ASSERT_NE(mkdtemp(folder.data()), nullptr);
   for (int turn : {1, 2}) { // the second finds the file and appends
      Vok::traceSettingIs("*/1 > " + folder + "/trace");
      say(turn);
   }
   Vok::traceSettingIs("*/1 > ring:2");
   for (int number : {1, 2, 3})
      say(number);
   const auto ring = std::dynamic_pointer_cast<Vok::TraceRing>(Vok::traceDestination());
   ASSERT_TRUE(ring);
   ASSERT_EQ(ring->records().size(), 2u);
   EXPECT_EQ(ring->records().front().text, "line 2");

   int calls = 0;
   Vok::traceDestinationIs(Vok::traceCallback([&](const Vok::TraceRecord&) {
      ++calls;
      say(0); // would call back for ever if it were delivered
      throw std::runtime_error("no room");
   }));
   say(1);
   say(2);
   EXPECT_EQ(calls, 2);

   std::ifstream file(folder + "/trace");
   std::string first, second, none;
   EXPECT_TRUE(std::getline(file, first) && std::getline(file, second) && !std::getline(file, none));
   EXPECT_TRUE(first.ends_with(" line 1") && second.ends_with(" line 2")) << first << second;
   std::filesystem::remove_all(folder);
}

TEST(Trace, ThreadsTraceWhileTheSettingChanges) {
   const Vok::TraceCapture capture("*/1");
   std::atomic<bool> done{false};
   std::thread changer([&] {
      while (!done)
         for (const char* setting : {"*/2", "", "*/1"})
            Vok::traceSettingIs(setting);
   });
   for (int i = 0; i < 2000; ++i)
      if (auto line = trace.at(1))
         line << "one"
              << " whole line";
   done = true;
   changer.join();
   Vok::traceSettingIs("*/1");
   if (auto line = trace.at(1))
      line << "one whole line";
   EXPECT_FALSE(capture.lines().empty());
   for (const auto& line : capture.lines())
      ASSERT_EQ(line, "one whole line");
}

} // namespace
