#include "bench/Store.h"
#include "bench/Tables.h"

#include <gtest/gtest.h>

namespace Bench {

namespace {

template <class Row, std::size_t bytes>
testing::AssertionResult packsTo(const Row& row, const Blob<bytes>& expected) {
   std::vector<U8> packed(Vok::rowBytesMax<Row>);
   const std::size_t length = Vok::rowStore(row, packed.data());
   if (length == bytes && std::equal(expected.begin(), expected.end(), packed.begin()))
      return testing::AssertionSuccess();
   return testing::AssertionFailure() << row.pooltabString() << " packs into " << length << " other bytes";
}

/// The peers' rows are the very bytes that our tables hold, before a rewrite and after it.
TEST(Rows, ArePackedAsTheTablesHoldThem) {
   constexpr U64 total = 50;
   Tables tables(total);
   Mpls::LfibStatus& lfib = tables.lfib();
   const RowMaker make(total);
   for (const U64 generation : {0, 1}) {
      if (generation > 0)
         for (U64 number = 0; number < total; ++number)
            tables.writer().lfibRouteIs(routeOf(number, generation));
      ASSERT_EQ(lfib.mplsVias(), total);
      for (U64 number = 0; number < total; ++number) {
         const PackedRoute packed = make(number, number, generation);
         const Mpls::LfibRoute route = lfib.lfibRoute(routeKeyOf(number));
         const Mpls::LfibViaSet viaSet = lfib.viaSet(route.viaSetKey());
         const Mpls::LfibMplsVia via = lfib.mplsVia(viaSet.viaKey(Mpls::LfibViaIndexRange(0)));
         EXPECT_TRUE(packsTo(route, packed.route));
         EXPECT_TRUE(packsTo(viaSet, packed.viaSet));
         EXPECT_TRUE(packsTo(via, packed.via));
         EXPECT_EQ(blobAt<ViaSetKeyBlob>(packed.route, viaSetKeyAt), packed.viaSetKey());
         EXPECT_EQ(blobAt<ViaKeyBlob>(packed.viaSet, firstViaKeyAt), packed.viaKey());
      }
   }
}

class Stores : public testing::TestWithParam<StoreKind> {};

/// Every contestant does the whole work: nothing is faster because it leaves something out.
TEST_P(Stores, HoldWhatWasWritten) {
   if (!GetParam().make)
      GTEST_SKIP() << GetParam().name << ": built without its library";
   constexpr U64 routes = 500;
   const ScratchDirectory scratch;
   const std::vector<U32> labels = shuffled(routes);
   const auto store = GetParam().make({scratch.path(), routes});
   const auto found = [&]() -> std::vector<double> {
      const auto read = [&] {
         return std::vector<double>{static_cast<double>(store->lookup(labels)),
                                    static_cast<double>(store->chase(labels)),
                                    static_cast<double>(store->walk())};
      };
      if (!store->isShared())
         return read();
      Child child([&] {
         store->attach();
         return read();
      });
      return child.result();
   };
   const bool walks = GetParam().name != std::string("redis");
   const std::vector<double> all{routes, routes, walks ? 3.0 * routes : 0};
   store->prepare({labels, 0, 0});
   try {
      store->publish();
   } catch (const std::runtime_error& missing) {
      GTEST_SKIP() << missing.what();
   }
   EXPECT_EQ(found(), all);
   store->prepare({labels, 0, 1});
   store->rewrite();
   EXPECT_EQ(found(), all);
   store->remove();
   EXPECT_EQ(found(), (std::vector<double>{0, 0, 0}));
}

INSTANTIATE_TEST_SUITE_P(All, Stores, testing::ValuesIn(storeKinds()),
                         [](const auto& kind) { return kind.param.name; });

} // namespace

} // namespace Bench
