#include "Cli/EntityCopy.h"
#include "Cli/test/CliSample.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace CliSample {

namespace {

using namespace Cli::Session;

/// Every entry of an entity in words: the plain model.
using Content = std::map<std::string, std::string>;

Content contentOf(const Twig& twig) {
   Content all{{"thin", std::to_string(twig.thin())}, {"other", twig.other() ? "somewhere" : "nowhere"}};
   for (const Vok::U32 mark : twig.markEach())
      all["mark" + std::to_string(mark)] = "in";
   for (const auto& entry : twig.levelEach())
      all["level" + entry.key.text()] = std::to_string(entry.value);
   for (const auto& entry : twig.knownEach())
      all["known" + std::to_string(entry.key)] = entry.value->name().text();
   for (const auto& entry : twig.leafEach())
      all["leaf" + entry.key.text()] = std::to_string(entry.value->weight());
   return all;
}

struct EntityCompareTest : testing::Test {
   unsigned pick(unsigned limit) { return std::uniform_int_distribution<unsigned>(0, limit - 1)(random); }

   void changeSomething(Twig& twig) {
      const Vok::U32 number = pick(3);
      const Vok::Name name(std::to_string(number));
      const bool more = pick(2) == 0;
      switch (pick(6)) {
      case 0:
         return twig.thinIs(more);
      case 1:
         return twig.otherIs(more ? targets[0] : nullptr);
      case 2:
         return twig.markIs(number, more);
      case 3:
         return more ? twig.levelIs(name, pick(3)) : twig.levelDel(name);
      case 4:
         return more ? twig.knownIs(1, targets[number]) : twig.knownDel(1);
      default:
         return more ? twig.leafIs(name)->weightIs(pick(3)) : twig.leafDel(name);
      }
   }
   void take(const Vok::Ptr<Twig>& to, const Vok::Ptr<Twig>& from, const std::vector<Entry>& entries) {
      for (const Entry& entry : entries)
         copy->copyEntry(to, from, entry, "p");
   }
   Vok::Ptr<Twig> changedCopyOf(const Vok::Ptr<Twig>& twig) {
      const auto made = twigFactory("copy");
      take(made, twig, differences(*made, *twig));
      EXPECT_TRUE(isEqual(*made, *twig));
      for (unsigned changes = pick(5); changes > 0; --changes)
         changeSomething(*made);
      return made;
   }

   std::mt19937 random{7};
   const Vok::Ptr<Leaf> targets[3] = {leafFactory("t0"), leafFactory("t1"), leafFactory("t2")};
   const Cli::HandlerRegistry handlers;
   const Vok::Ptr<EntityCopy> copy = Vok::make<EntityCopy>(handlers);
};

TEST_F(EntityCompareTest, whatChangedElsewhereIsTakenAndWhatChangedInBothPlacesIsNamed) {
   const auto base = twigFactory("base");
   std::size_t conflicts = 0;
   for (int round = 0; round < 3000; ++round) {
      changeSomething(*base);
      const auto here = changedCopyOf(base), elsewhere = changedCopyOf(base);
      Content was = contentOf(*base), is = contentOf(*here), other = contentOf(*elsewhere), all;
      ASSERT_EQ(isEqual(*here, *elsewhere), is == other);
      for (const Content& content : {was, is, other})
         all.insert(content.begin(), content.end());
      Content expected;
      std::size_t both = 0;
      for (const auto& [name, value] : all) {
         both += is[name] != was[name] && other[name] != was[name] && is[name] != other[name];
         expected[name] = is[name] == was[name] ? other[name] : is[name];
      }
      std::erase_if(expected, [](const auto& entry) { return entry.second.empty(); });

      const Divergence found = divergence(*base, *here, *elsewhere);
      ASSERT_EQ(found.both.size(), both);
      take(here, elsewhere, found.elsewhere);
      ASSERT_EQ(contentOf(*here), expected);
      take(here, elsewhere, found.both);
      ASSERT_TRUE(divergence(*base, *here, *elsewhere).empty());
      conflicts += both;
   }
   EXPECT_GT(conflicts, 100u);
}

} // namespace
} // namespace CliSample
