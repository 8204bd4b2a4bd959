// Golden tests: what the compiler says of bad input and what it makes of good input, word by word.

#include "vokc/Source/Compiler.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path& path) {
   std::ifstream in(path, std::ios::binary);
   std::ostringstream text;
   text << in.rdbuf();
   return std::move(text).str();
}

/// Compares with vokc/test/golden/<name>.expected. What differs is kept beside the test program: if the
/// change is wanted, it is the new golden.
void expectGolden(const std::string& name, const std::string& text) {
   const std::string golden = contents("vokc/test/golden/" + name + ".expected");
   if (text == golden) {
      return;
   }
   const fs::path kept = fs::path(VOKC_TEST_OUTPUT) / (name + ".expected");
   fs::create_directories(kept.parent_path());
   std::ofstream(kept, std::ios::binary) << text;
   std::istringstream is(text), was(golden);
   std::string isLine, wasLine;
   std::size_t number = 0;
   do {
      isLine = wasLine = "<end>";
      std::getline(is, isLine);
      std::getline(was, wasLine);
      ++number;
   } while (isLine == wasLine && is && was);
   ADD_FAILURE() << name << " differs from its golden at line " << number << ":\n   was: " << wasLine
                 << "\n   is:  " << isLine << "\nthe new text is " << kept;
}

/// Files are named from the root of the tree, so that messages do not depend on where it stands.
class CompilerTest : public ::testing::Test {
  protected:
   void SetUp() override { fs::current_path(VOKC_TEST_ROOT); }

   static vokc::Compilation compile(const std::string& file) { return vokc::compile({"."}, file); }
};

TEST_F(CompilerTest, everyMistakeIsReportedWhereItStands) {
   for (const std::string file : {"BadSyntax", "Bad"}) {
      const vokc::Compilation result = compile("vokc/test/" + file + ".vok");
      EXPECT_TRUE(result.outputs.empty()) << file;
      EXPECT_GT(result.errors, 0u) << file;
      expectGolden(file, result.messages);
   }
}

TEST_F(CompilerTest, goodInputGivesTheUnitsThatItDeclares) {
   struct Case {
      std::string file;
      std::vector<std::string> units;
      std::vector<std::string> pinned;
   };
   const Case cases[] = {
       {"Sample",
        {"SampleValues", "SampleEntities", "SampleMachines"},
        {"SampleValues.h", "SampleValues.gen.cpp", "SampleMachines.h", "SampleMachines.gen.cpp"}},
       {"SampleTables", {"SampleTables"}, {"SampleTables.h", "SampleTables.gen.cpp"}},
   };
   for (const Case& item : cases) {
      const vokc::Compilation result = compile("vokc/test/" + item.file + ".vok");
      EXPECT_EQ(result.messages, "");
      std::map<std::string, std::string> outputs;
      for (const vokc::OutputFile& output : result.outputs) {
         outputs.emplace(output.path, output.text);
      }
      EXPECT_EQ(outputs.size(), 2 * item.units.size());
      for (const std::string& unit : item.units) {
         EXPECT_TRUE(outputs.contains("vokc/test/" + unit + ".h"));
         EXPECT_TRUE(outputs.contains("vokc/test/" + unit + ".gen.cpp"));
      }
      for (const std::string& name : item.pinned) {
         expectGolden(name, outputs["vokc/test/" + name]);
      }
   }
}

TEST_F(CompilerTest, filesAreFoundBelowTheRootsInTheirOrder) {
   const vokc::Compilation result = vokc::compile({"vokc", "."}, "vokc/test/SampleTables.vok");
   ASSERT_EQ(result.inputs.size(), 2u);
   EXPECT_EQ(result.inputs[0].lexically_normal(), "vokc/test/SampleTables.vok");
   EXPECT_EQ(result.inputs[1].lexically_normal(), "vokc/test/Sample.vok");
   EXPECT_EQ(vokc::compile({"vokc", "Vok"}, "Absent.vok").messages,
             "vokc: error: cannot read 'Absent.vok'; looked in vokc, Vok (-I adds a folder to look in)\n");
}

/// The first error of a text in namespace N, unit U.
std::string firstError(const std::string& text) {
   const fs::path folder = fs::path(VOKC_TEST_OUTPUT) / "small";
   fs::create_directories(folder);
   std::ofstream(folder / "N.vok", std::ios::binary) << "namespace N; unit U;\n" << text;
   const std::string messages = vokc::compile({folder}, "N.vok").messages;
   return messages.substr(0, messages.find('\n'));
}

TEST_F(CompilerTest, placesAreExactWhateverTheLineLooksLike) {
   struct Case {
      std::string text;
      std::string error;
   };
   const Case cases[] = {
       {"value A { a : Nme; }", "N.vok:2:15: error: unknown type 'Nme'; did you mean 'Name'?"},
       {"\tvalue A { a : B; }\r\n", "N.vok:2:16: error: unknown type 'B'"},
       {"/* é */ value A { a : B; }", "N.vok:2:24: error: unknown type 'B'"},
       {"value A { a : U8 }", "N.vok:2:17: error: expected ';' after 'a', found '}'"},
       {"enum E { a = 0xfffffffffffffffffffffffffffffffffffff; }",
        "N.vok:2:14: error: '0xfffffffffffffffffffffffffffffffffffff' is larger than any number type holds"},
       {"bounded B : S32 { range -4 to -8; }", "N.vok:2:31: error: the range ends at -8, below its start -4"},
       {"value A { a : U8; invariant a + 1 <= 4; } ;",
        "N.vok:2:43: error: expected a declaration, found ';'"},
   };
   for (const Case& item : cases) {
      EXPECT_EQ(firstError(item.text), item.error) << item.text;
   }
   EXPECT_EQ(firstError(""), "");
   EXPECT_EQ(firstError("value A { }"), "");
}

/// A file cut anywhere is bad input like any other: messages, and no output from half of it.
TEST_F(CompilerTest, aFileCutAnywhereIsReported) {
   const std::string whole = contents("vokc/test/Sample.vok");
   const fs::path folder = fs::path(VOKC_TEST_OUTPUT) / "cut";
   fs::create_directories(folder);
   for (std::size_t length = 0; length < whole.size(); length += 17) {
      std::ofstream(folder / "Cut.vok", std::ios::binary) << whole.substr(0, length);
      const vokc::Compilation result = vokc::compile({folder}, "Cut.vok");
      EXPECT_EQ(result.errors == 0, result.messages.empty()) << length;
      EXPECT_TRUE(result.errors == 0 || result.outputs.empty()) << length;
   }
}

} // namespace
