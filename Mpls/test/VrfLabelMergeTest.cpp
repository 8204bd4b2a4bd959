#include "Mpls/test/MergeFixture.h"
#include "Mpls/VrfLabelConfigMergeSm.h"

#include <algorithm>

namespace Mpls {
namespace {

using Kinet::MplsLabel;

struct VrfLabelMerge {
   using Sm = VrfLabelConfigMergeSm;
   using Input = VrfLabelConfigInput;
   using Output = VrfLabelConfig;
   static constexpr const char* facility = "VrfLabelConfigMergeSm";
   static inline const std::string folder = "routing/mpls/vrfLabel/input/dynamic";
   static constexpr auto factory = vrfLabelConfigMergeSmFactory;
   static constexpr auto mounterFactory = vrfLabelConfigMounterFactory;
   static constexpr auto inputFactory = vrfLabelConfigInputFactory;
   static constexpr auto outputFactory = vrfLabelConfigFactory;
   static constexpr auto entityTypes = vrfLabelConfigMergeSmEntityTypes;
   static MplsLabel key() { return MplsLabel(100); }
};

const MplsLabel label100(100);

VrfLabel binding(const char* vrf, bool dynamic) {
   return VrfLabel(label100, vrf, dynamic);
}

class VrfLabelMergeTest : public MergeFixture<VrfLabelMerge> {};

TEST_F(VrfLabelMergeTest, readinessComesOnceWhenAllMountsHave) {
   expectReadinessAfterAllMounts();
}

TEST_F(VrfLabelMergeTest, brokenRulesStopTheProcess) {
   cli->vrfLabelIs(binding("red", false));
   smIs();
   EXPECT_DEATH(smIs(),
                "assertion failed: !mergedConfig\\(\\)->vrfLabels\\(\\): merged config should not have "
                "any routes on startup");
   expectStops();
}

TEST_F(VrfLabelMergeTest, theWayToAResultIsTraced) {
   EXPECT_TRUE(!VrfLabel());
   cli->vrfLabelIs(binding("red", true));
   const Vok::Ptr<VrfLabelConfigInput> b = sourceIs("b");
   smIs();
   settle();
   Vok::TraceCapture capture("VrfLabelConfigMergeSm/0-8");
   b->vrfLabelIs(binding("blue", true));
   const std::string none = Vok::valueToStrep(VrfLabel()), red = Vok::valueToStrep(binding("red", true)),
                     blue = Vok::valueToStrep(binding("blue", true));
   EXPECT_EQ(capture.lines(),
             (std::vector<std::string>{
                 "handleConfigEntry for b, label 100", "setOutputForEntry for label 100",
                 " priorityEntry " + none + " activeSource b activeEntry " + blue,
                 " !priorityEntry true !dynamic false",
                 " priorityEntry " + blue + " activeSource cli activeEntry " + red,
                 " !priorityEntry false !dynamic false", "setOutputForEntry removed entry for 100"}));
   EXPECT_TRUE(!output->vrfLabelHas(label100));
}

/// What one source says of the label: nothing, or a binding to a VRF of its own.
enum class Says { nothing, dynamic, fixed };

/// The rule in its own words: a binding that is not dynamic wins, of several the first by source name; of the
/// dynamic ones there must be only one.
VrfLabel expected(const std::vector<Says>& says, const std::vector<std::string>& names) {
   const auto fixed = std::ranges::find(says, Says::fixed);
   if (fixed != says.end())
      return binding(names[fixed - says.begin()].c_str(), false);
   if (std::ranges::count(says, Says::dynamic) != 1)
      return VrfLabel();
   return binding(names[std::ranges::find(says, Says::dynamic) - says.begin()].c_str(), true);
}

/// From every state of three sources to every other, in every order of the sources.
TEST_F(VrfLabelMergeTest, everyOrderInWhichSourcesSpeakLeadsToOneResult) {
   const std::vector<std::string> names = {"a", "b", "cli"};
   const std::vector<Vok::Ptr<VrfLabelConfigInput>> sources = {sourceIs("a"), sourceIs("b"), cli};
   smIs();
   settle();
   std::vector<Says> now(3, Says::nothing);
   const auto say = [&](std::size_t source, Says what) {
      if (what == Says::nothing)
         sources[source]->vrfLabelDel(label100);
      else
         sources[source]->vrfLabelIs(binding(names[source].c_str(), what == Says::dynamic));
      now[source] = what;
      ASSERT_EQ(output->vrfLabel(label100), expected(now, names));
   };
   const auto stateOf = [](int number) {
      return std::vector<Says>{Says(number % 3), Says(number / 3 % 3), Says(number / 9)};
   };
   std::vector<std::size_t> order = {0, 1, 2};
   do {
      for (int from = 0; from < 27; ++from) {
         for (int to = 0; to < 27; ++to) {
            for (const int state : {from, to})
               for (const std::size_t source : order)
                  ASSERT_NO_FATAL_FAILURE(say(source, stateOf(state)[source]));
         }
      }
   } while (std::ranges::next_permutation(order).found);
   EXPECT_EQ(sm->sourceSets(), 1u);
   for (std::size_t source = 0; source < 3; ++source)
      say(source, Says::nothing);
   EXPECT_EQ(sm->sourceSets(), 0u);
   EXPECT_EQ(output->vrfLabels(), 0u);
}

} // namespace
} // namespace Mpls
