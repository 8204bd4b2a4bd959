#include "Cli/EntityCopy.h"
#include "Cli/test/CliSample.h"

#include <gtest/gtest.h>

namespace CliSample {

void BranchCopyHandler::initialize() {
   filterIs()->attributeIs("leaf");
}

bool BranchCopyHandler::handleEntity(const Vok::Ptr<Cli::Session::EntityCopy>& entityCopy,
                                     const Vok::Ptr<Vok::Entity>& dst, const Vok::Ptr<const Vok::Entity>& src,
                                     const Vok::String& path) {
   if (!willing())
      return false;
   entityCopy->copyAttributes(dst, src, filter(), path);
   for (const auto& entry : Vok::ptrCast<const Branch>(src)->leafEach())
      entityCopy->copyEntity(Vok::ptrCast<Branch>(dst)->leafIs(entry.key), entry.value, path + ".leaf");
   return true;
}

namespace {

template <class Action>
std::string raised(Action action) {
   try {
      action();
   } catch (const Vok::Error& error) {
      return error.what();
   }
   return "nothing raised";
}

class Changes final : public Branch::Notifiee {
  public:
   using Branch::Notifiee::Notifiee;
   void vokOnChange(Vok::AttrId, const void*) override { ++count; }
   int count = 0;
};

class EntityCopyTest : public testing::Test {
  protected:
   EntityCopyTest() {
      src->onIs(true);
      src->turnInc(7);
      src->otherIs(shared);
      src->borrowedIs(shared);
      src->knownIs(1, shared);
      for (const Vok::U32 number : {3u, 5u}) {
         src->markIs(number);
         src->levelIs(std::to_string(number), number);
      }
      src->leafIs("a")->weightIs(9);
      // What the copy has to take away or replace.
      dst->markIs(4);
      dst->levelIs("3", 1);
      dst->levelIs("4", 4);
      dst->borrowedIs(leafFactory("stale"));
      dst->knownIs(2, shared);
   }

   const Vok::Ptr<Leaf> shared = leafFactory("shared");
   const Vok::Ptr<Twig> src = twigFactory("src"), dst = twigFactory("dst");
   const Vok::Ptr<BranchCopyHandler> handler = branchCopyHandlerFactory();
   Cli::HandlerRegistry handlers;
   const Vok::Ptr<Cli::Session::EntityCopy> copy = Vok::make<Cli::Session::EntityCopy>(handlers);
};

TEST_F(EntityCopyTest, theDestinationEqualsTheSourceAndOnlyDifferencesAreTold) {
   handlers.handlerIs(Branch::vokType(), handler); // of the base
   copy->copyEntity(dst, src, "p");
   EXPECT_TRUE(dst->on());
   EXPECT_EQ(dst->turn(), 7u);
   EXPECT_TRUE(dst->mark(3) && dst->mark(5) && !dst->mark(4));
   EXPECT_EQ(dst->levels(), 2u);
   EXPECT_EQ(dst->level("3"), 3u);
   EXPECT_EQ(dst->other(), shared);
   EXPECT_EQ(dst->borroweds(), 1u);
   EXPECT_EQ(dst->borrowed("shared"), shared);
   EXPECT_TRUE(dst->known(1) == shared && dst->knowns() == 1u);
   EXPECT_EQ(dst->leaf("a")->weight(), 9u);
   EXPECT_NE(dst->leaf("a"), src->leaf("a"));

   Changes changes{Vok::Ptr<const Branch>(dst)};
   copy->copyEntity(dst, src, "p");
   EXPECT_EQ(changes.count, 0);
   src->levelIs("5", 6);
   src->otherIs(nullptr);
   copy->copyEntity(dst, src, "p");
   EXPECT_EQ(changes.count, 2);
}

TEST_F(EntityCopyTest, whatCannotBeCopiedIsNamedAndNothingChanges) {
   const std::string error = "cannot copy p.leaf: it holds entities; register a copy handler for "
                             "CliSample::Twig that takes it over";
   Changes changes{Vok::Ptr<const Branch>(dst)};
   EXPECT_EQ(raised([&] { copy->copyEntity(dst, src, "p"); }), error);
   handler->willingIs(false);
   handlers.handlerIs(Twig::vokType(), handler);
   EXPECT_THROW(handlers.handlerIs(Twig::vokType(), handler), Vok::RangeError);
   EXPECT_EQ(raised([&] { copy->copyEntity(dst, src, "p"); }), error);
   EXPECT_EQ(
       raised([&] { copy->copyEntity(dst, shared, "p"); }),
       "cannot copy p: the source is a CliSample::Leaf, the destination a CliSample::Twig; copy between "
       "entities of one type");
   EXPECT_EQ(changes.count, 0);
}

} // namespace
} // namespace CliSample
