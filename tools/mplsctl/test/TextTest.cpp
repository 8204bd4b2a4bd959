#include "tools/mplsctl/test/Fixture.h"

#include "tools/common/Json.h"
#include "tools/mplsctl/formats/Words.h"
#include "tools/mplsctl/verbs/Schema.h"

#include <nlohmann/json.hpp>
#include <set>
#include <thread>

using namespace mplsctl;
using nlohmann::json;

TEST(Json, AnyTextReadsBackAsItWas) {
   std::string text;
   for (int c = 1; c < 128; ++c)
      text += static_cast<char>(c);
   const std::string written = printed([&](tools::Output& out) {
      tools::Json writer(out, 2);
      writer.object().field(text, text).key("list").array().value(1).value(true).object().end();
      writer.array().end().end().field("last", ~Vok::U64(0)).end();
   });
   const json read = json::parse(written);
   EXPECT_EQ(read[text], text);
   EXPECT_EQ(read["list"], json::parse("[1, true, {}, []]"));
   EXPECT_EQ(read["last"], ~Vok::U64(0));
}

TEST(Output, ComesWholeThroughAPipeThatTakesLittle) {
   int ends[2];
   ASSERT_EQ(pipe(ends), 0);
   std::string read;
   std::thread reader([&] {
      char part[1000];
      for (ssize_t bytes; (bytes = ::read(ends[0], part, sizeof part)) > 0;)
         read.append(part, static_cast<std::size_t>(bytes));
   });
   std::string expected;
   {
      tools::Output out(ends[1]);
      for (int i = 0; i < 60'000; ++i) {
         out.print("{},", i);
         expected += std::to_string(i) + ',';
      }
      const std::string large(200'000, 'x');
      out << large;
      expected += large;
   }
   close(ends[1]);
   reader.join();
   close(ends[0]);
   EXPECT_EQ(read, expected);
}

TEST(Words, SourcesByTypeAndByName) {
   using Mpls::LFib::Source;
   const struct {
      const char* text;
      std::optional<Source> source;
   } cases[] = {{"SR (IS-IS)", Source::lfibSourceIsisSrV4Prefix},
                {"static", Source::lfibSourceStaticMpls},
                {"BGP", Source::lfibSourceBgpLu},
                {"lfibsourceisissrtoldp", Source::lfibSourceIsisSrToLdp},
                {"mldp", Source::lfibSourceMldp},
                {"max", std::nullopt},
                {"", std::nullopt}};
   for (const auto& [text, source] : cases)
      EXPECT_EQ(sourceFromText(text), source) << text;
   // Every source has a type: only the two numbers that are none go without.
   for (const Vok::Enumerator& each : vokEnum(Source()).enumerators())
      EXPECT_EQ(routeType(static_cast<Source>(each.number)) == "Unknown",
                each.number == 0 || each.number == static_cast<Vok::U32>(Source::lfibSourceMax))
          << each.name;
}

TEST(Schema, IsClosedAndTellsTextFormsNumbersAndDefaults) {
   const json schema = json::parse(printed([](tools::Output& out) { writeSchema(out, tools::catalogue()); }));
   std::map<std::string, json> types;
   for (const json& type : schema["types"])
      EXPECT_TRUE(types.emplace(type["name"], type).second) << type["name"] << " twice";
   const std::set<std::string> scalars = {"Bool", "U8",  "U16",    "U32",  "U64",  "S32",
                                          "S64",  "F64", "String", "Name", "Bytes"};
   for (const auto& [name, type] : types)
      for (const json& field : type.value("fields", json::array())) {
         const std::string of = field["type"];
         EXPECT_TRUE(types.contains(of) || scalars.contains(of) || of.find_first_of("<[") != of.npos)
             << name << " has a field of type " << of;
      }
   EXPECT_EQ(types["Mpls::LabelRange"]["textForm"], "Value('Mpls::LabelRange', ** {'base': %s, 'size': %s})");
   EXPECT_EQ(types["Mpls::TtlMode"]["enumerators"][2]["name"], "uniform");
   EXPECT_EQ(types["Mpls::Via"]["fields"][8]["default"], "1");
   EXPECT_EQ(types["Mpls::LfibStatus"]["attributes"][1]["name"], "lfibRouteControl");
   EXPECT_EQ(types["Mpls::LfibStatus"]["kind"], "entity");
   EXPECT_EQ(types["Kinet::MplsLabel"]["constants"][1]["value"], "1048575");
}
