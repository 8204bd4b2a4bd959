#include "tools/common/EntityText.h"
#include "tools/common/Failure.h"

#include "Mpls/Mpls.h"
#include "Mpls/VrfLabelConfigMergeSm.h"

#include "Vok/Errors.h"

#include <gtest/gtest.h>

#include <sstream>

namespace tools {

namespace {

std::vector<std::string> wordsOf(const std::string& text) {
   std::istringstream in(text);
   std::vector<std::string> words;
   for (std::string word; in >> word;)
      words.push_back(word);
   return words;
}

/// Sets "ATTRIBUTE WORD...", and returns what was wrong, or nothing.
std::string set(Vok::Entity& entity, const std::string& text) {
   std::vector<std::string> words = wordsOf(text);
   const std::string attribute = words.front();
   words.erase(words.begin());
   try {
      setAttribute(entity, attribute, words);
   } catch (const Failure& failure) {
      return std::string(failure.what()) + "; " + failure.next();
   } catch (const Vok::RangeError& error) {
      return error.what();
   }
   return {};
}

TEST(EntityTextTest, WordsBecomeAttributesOfEveryKind) {
   const auto config = Mpls::configFactory("global");
   for (const char* text : {"mplsRouting on", "mplsLookupLabelCount 3", "labelPhpTtlMode pipe",
                            "mplsRoutingDisabledIntf eth7", "labelRange dynamic 100000 200000"})
      EXPECT_EQ(set(*config, text), "") << text;
   EXPECT_TRUE(config->mplsRouting());
   EXPECT_EQ(config->mplsLookupLabelCount(), 3u);
   EXPECT_EQ(config->labelPhpTtlMode(), Mpls::TtlMode::pipe);
   EXPECT_TRUE(config->mplsRoutingDisabledIntf(Kinet::IntfId("eth7")));
   EXPECT_EQ(config->labelRange("dynamic"), Mpls::LabelRange(Kinet::MplsLabel(100000), 200000));
   EXPECT_EQ(set(*config, "mplsRouting False"), "");
   EXPECT_FALSE(config->mplsRouting());

   const auto labels = Mpls::vrfLabelConfigInputFactory("cli");
   EXPECT_EQ(set(*labels, "vrfLabel 300 red true"), "");
   EXPECT_EQ(labels->vrfLabel(Kinet::MplsLabel(300)),
             Mpls::VrfLabel(Kinet::MplsLabel(300), L3::VrfName("red"), true));

   EXPECT_TRUE(eraseEntry(*config, "labelRange", wordsOf("dynamic")));
   EXPECT_FALSE(eraseEntry(*config, "labelRange", wordsOf("dynamic")));
   EXPECT_EQ(config->labelRanges(), 0u);
}

TEST(EntityTextTest, WrongWordsSayWhatIsWantedAndChangeNothing) {
   const auto config = Mpls::configFactory("global");
   const auto input = Mpls::routeConfigInputFactory("cli");
   const struct {
      const char* text;
      const char* expected;
   } cases[] = {
       {"mplsRoutin on", "Mpls::Config has no attribute 'mplsRoutin'; it has mplsRouting, "},
       {"mplsRouting maybe", "'maybe' is no Bool"},
       {"labelPhpTtlMode hose", "'hose' is no Mpls::TtlMode; give one of undefinedTtlMode, pipe, uniform"},
       {"mplsLookupLabelCount 4294967296", "'4294967296' is no U32"},
       {"labelRange dynamic 100000", "too few words for 'labelRange'; give labelRange KEY (Name) base"},
       {"mplsRouting on off", "too many words for 'mplsRouting'; give mplsRouting VALUE (Bool)"},
       {"labelRange dynamic 1048000 1000", "LabelRange::size > Expr @Mpls.vok:135 not allowed"},
   };
   for (const auto& [text, expected] : cases) {
      const std::string said = set(*config, text);
      EXPECT_TRUE(said.starts_with(expected)) << said;
   }
   EXPECT_EQ(config->labelRanges(), 0u);
   EXPECT_FALSE(config->mplsRouting());
   EXPECT_TRUE(set(*input, "route 300").starts_with("'route' holds entities")) << set(*input, "route 300");
   EXPECT_THROW(eraseEntry(*config, "mplsRouting", wordsOf("on")), Failure);
}

} // namespace

} // namespace tools
