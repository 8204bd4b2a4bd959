#include "Cli/EntityCopy.h"
#include "Cli/test/CliSample.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

namespace CliSample {

namespace {

using namespace Cli::Session;

/// Three states of a branch with entries of every kind, few enough that changes meet.
struct EntityCompareTest : testing::Test {
   using Content = std::map<std::string, std::string>;

   unsigned pick(unsigned limit) { return std::uniform_int_distribution<unsigned>(0, limit - 1)(random); }

   void changeSomething(Twig& twig) {
      const Vok::U32 number = pick(3);
      const Vok::Name name(std::to_string(number));
      const bool more = pick(2) == 0;
      switch (pick(8)) {
      case 0:
         return twig.thinIs(more);
      case 1:
         return twig.turnIs(twig.turn() + number);
      case 2:
         return twig.markIs(number, more);
      case 3:
         return more ? twig.levelIs(name, pick(3)) : twig.levelDel(name);
      case 4:
         return twig.otherIs(more ? targets[number] : nullptr);
      case 5:
         return more ? twig.borrowedIs(targets[number]) : twig.borrowedDel(targets[number]->name());
      case 6:
         return more ? twig.knownIs(1, targets[number]) : twig.knownDel(1);
      default:
         return more ? twig.leafIs(name)->weightIs(pick(3)) : twig.leafDel(name);
      }
   }

   /// The plain model: every entry in words.
   static Content contentOf(const Twig& twig) {
      const auto nameOf = [](const Vok::Ptr<Leaf>& leaf) { return leaf ? leaf->name().text() : "nothing"; };
      Content all{{"thin", std::to_string(twig.thin())},
                  {"turn", std::to_string(twig.turn())},
                  {"other", nameOf(twig.other())}};
      for (const Vok::U32 mark : twig.markEach())
         all["mark" + std::to_string(mark)] = "in";
      for (const auto& entry : twig.levelEach())
         all["level" + entry.key.text()] = std::to_string(entry.value);
      for (const auto& entry : twig.borrowedEach())
         all["borrowed" + entry.key.text()] = nameOf(entry.value);
      for (const auto& entry : twig.knownEach())
         all["known" + std::to_string(entry.key)] = nameOf(entry.value);
      for (const auto& entry : twig.leafEach())
         all["leaf" + entry.key.text()] = std::to_string(entry.value->weight());
      return all;
   }

   void take(const Vok::Ptr<Twig>& to, const Vok::Ptr<Twig>& from, const std::vector<Entry>& entries) {
      for (const Entry& entry : entries)
         copy->copyEntry(to, from, entry, "p");
   }
   Vok::Ptr<Twig> copyOf(const Vok::Ptr<Twig>& twig) {
      const auto made = twigFactory("copy");
      take(made, twig, differences(*made, *twig));
      return made;
   }

   std::mt19937 random{7};
   const Vok::Ptr<Leaf> targets[3] = {leafFactory("t0"), leafFactory("t1"), leafFactory("t2")};
   const Cli::HandlerRegistry handlers;
   const Vok::Ptr<EntityCopy> copy = Vok::make<EntityCopy>(handlers);
};

TEST_F(EntityCompareTest, whatChangedElsewhereIsTakenAndWhatChangedInBothPlacesIsNamed) {
   const auto base = twigFactory("base");
   std::size_t taken = 0, conflicts = 0;
   for (int round = 0; round < 3000; ++round) {
      changeSomething(*base);
      const auto here = copyOf(base), elsewhere = copyOf(base);
      ASSERT_TRUE(isEqual(*base, *here) && contentOf(*base) == contentOf(*here));
      for (unsigned changes = pick(5); changes > 0; --changes)
         changeSomething(*here);
      for (unsigned changes = pick(5); changes > 0; --changes)
         changeSomething(*elsewhere);

      const Content then = contentOf(*base), mine = contentOf(*here), theirs = contentOf(*elsewhere);
      ASSERT_EQ(isEqual(*here, *elsewhere), mine == theirs);
      std::set<std::string> names;
      for (const Content& content : {then, mine, theirs})
         for (const auto& [name, value] : content)
            names.insert(name);
      const auto at = [](const Content& content, const std::string& name) {
         const auto found = content.find(name);
         return found == content.end() ? std::string() : found->second;
      };
      Content expected;
      std::size_t both = 0;
      for (const std::string& name : names) {
         const std::string was = at(then, name), is = at(mine, name), other = at(theirs, name);
         both += is != was && other != was && is != other;
         if (const std::string value = is == was ? other : is; !value.empty())
            expected[name] = value;
      }

      const Divergence found = divergence(*base, *here, *elsewhere);
      EXPECT_EQ(found.both.size(), both);
      take(here, elsewhere, found.elsewhere);
      ASSERT_EQ(contentOf(*here), expected);
      EXPECT_TRUE(divergence(*base, *here, *elsewhere).elsewhere.empty());
      take(here, elsewhere, found.both);
      EXPECT_TRUE(divergence(*base, *here, *elsewhere).empty());
      taken += found.elsewhere.size();
      conflicts += both;
   }
   EXPECT_GT(taken, 1000u);
   EXPECT_GT(conflicts, 100u);
}

} // namespace
} // namespace CliSample
