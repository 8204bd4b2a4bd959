#include "tools/mplsctl/segment-routing/SegmentRoutingPlan.h"
#include "tools/mplsctl/segment-routing/SegmentRoutingText.h"
#include "tools/mplsctl/test/Printed.h"

#include "Pooltab/PrivateFolder.h"
#include "Pooltab/VokPooltab.h"

#include <fmt/core.h>
#include <fstream>
#include <gtest/gtest.h>

namespace mplsctl {
namespace {

struct SegmentRoutingLoadTest : testing::Test {
   /// Bad lines; none when all was loaded.
   std::string load(const std::string& text) {
      const SegmentRoutingFile file = readSegmentRouting("file", text);
      counts = applySegmentRouting(file, *tables);
      std::string errors;
      for (const BadLine& bad : file.badLines)
         errors += fmt::format("{}: {}\n", bad.line, bad.what);
      return errors;
   }
   std::string shown() const {
      return printed([&](tools::Output& out) { writeSegmentRouting(*tables, out); });
   }

   Vok::Ptr<SrTables::Status> tables = SrTables::statusFactory("sr");
   VokPooltab::WriterMount mount{tables, Pooltab::privateFolder("sr")};
   std::vector<SrCounts> counts;
};

TEST_F(SegmentRoutingLoadTest, whatIsShownIsTheFileThatWasLoaded) {
   std::ifstream stream(MPLS_SAMPLES "/segment-routing.json");
   std::string file(std::istreambuf_iterator<char>(stream), {});
   EXPECT_EQ(load(file), "");
   std::string blankless = shown();
   std::erase(file, '\n');
   std::erase(blankless, '\n');
   EXPECT_EQ(blankless, file);
   EXPECT_EQ(load(shown()), "");
   for (const SrCounts& of : counts)
      EXPECT_EQ(of.added + of.changed + of.removed, 0u) << of.table;
}

TEST_F(SegmentRoutingLoadTest, aFileIsTheWishForTheTablesItNames) {
   const std::string block = "{\"key\":\"0000.0000.0001\",\"labelRange\":{\"base\":16000,\"size\":8000}}";
   EXPECT_EQ(load("{\"globalBlock\":[" + block + "],\"prefixSegment\":[{\"key\":\"10.0.0.0/8\"}]}"), "");
   EXPECT_EQ(load("{\"prefixSegment\":[]}"), "");
   EXPECT_EQ(tables->globalBlocks(), 1u);
   EXPECT_EQ(tables->prefixSegments(), 0u);

   EXPECT_EQ(
       load("{\"globalBlock\":[\n{\"key\":\"0000.0000.0002\",\"labelRange\":{\"base\":1048570,\"size\":9}},"
            "\n" +
            block + ",\n" + block + ",\n{\"labelRange\":{}},\n{\"key\":\"1\"}],\n\"prefixSegment\":[\n" +
            "{\"key\":\"10.0.0.0/8\",\"flags\":[\"nod\"]},\n{\"key\":\"10.0.0.0/8\",\"sid\":{\"indx\":1}}],\n"
            "\"other\":[]}"),
       "2: globalBlock: 'labelRange': LabelRange::size > Expr @Mpls.vok:135 not allowed\n"
       "4: globalBlock: 'key' has been given before\n"
       "5: globalBlock: 'key' is missing\n"
       "6: globalBlock: 'key': Invalid Mpls::RouterId\n"
       "8: prefixSegment: 'nod' is no flag of Mpls::SegmentRouting::PfxSegmentFlags\n"
       "9: prefixSegment: 'indx' is no field of Mpls::SegmentRouting::SegmentIdentifier\n"
       "10: 'other' is no table of segment routing\n");
   EXPECT_EQ(tables->globalBlocks(), 1u);
}

} // namespace
} // namespace mplsctl
