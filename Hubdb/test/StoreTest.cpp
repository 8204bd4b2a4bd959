#include "Hubdb/test/Routes.h"

#include "Hubdb/RecordStore.h"

#include "Vok/Errors.h"
#include "Vok/TypeOf.h"

#include <gtest/gtest.h>
#include <list>
#include <map>
#include <random>
#include <set>

namespace HubdbTest {
namespace {

using Hubdb::Record;
using Hubdb::RecordStore;
using HubdbRoutes::Route;
using HubdbRoutes::Source;
using Vok::U32;

/// What a store should hold, kept in the plainest way, and a reader that is told of it.
struct Model {
   struct Route {
      U32 key = 0;
      U32 metric = 1;
      std::set<U32> vias;
      bool operator==(const Route&) const = default;
   };
   std::map<U32, Route> routes; ///< by number
   std::map<std::string, std::string> notes;
   bool operator==(const Model&) const = default;

   Route& byNumber(U32 number) {
      const auto found = routes.find(number);
      if (found == routes.end())
         throw Vok::LogError("the reader knows no entity " + std::to_string(number));
      return found->second;
   }

   void apply(const Record& record) {
      Vok::NboAttrLog::Reader key(record.key.data(), record.key.size());
      Vok::NboAttrLog::Reader value(record.value.data(), record.value.size());
      switch (record.op) {
      case Hubdb::RecordOp::member:
         if (!routes.try_emplace(record.entity, Route{key.u32(), 1, {}}).second)
            throw Vok::LogError("the reader has that entity already");
         return;
      case Hubdb::RecordOp::gone:
         byNumber(record.entity);
         routes.erase(record.entity);
         return;
      case Hubdb::RecordOp::set:
         byNumber(record.entity).metric = value.u32();
         return;
      case Hubdb::RecordOp::put:
         if (record.entity == Hubdb::rootNumber)
            notes[key.string()] = value.string();
         else
            byNumber(record.entity).vias.insert(key.u32());
         return;
      case Hubdb::RecordOp::erase:
         if (record.entity == Hubdb::rootNumber)
            notes.erase(key.string());
         else
            byNumber(record.entity).vias.erase(key.u32());
         return;
      }
   }
   void apply(Hubdb::Bytes batch) {
      Hubdb::RecordReader reader(batch);
      for (Record record; reader.next(record);)
         apply(record);
   }
};

struct Ids {
   static Vok::AttrId of(const Vok::EntityType& type, std::string_view name) {
      return type.attribute(name)->id;
   }
   const Vok::AttrId route = of(Source::vokType(), "route");
   const Vok::AttrId note = of(Source::vokType(), "note");
   const Vok::AttrId metric = of(Route::vokType(), "metric");
   const Vok::AttrId via = of(Route::vokType(), "via");
};

template <class T>
std::vector<Vok::U8> log(const T& value) {
   Vok::NboAttrLog::Writer writer;
   Vok::typeOf<T>().writeLog(&value, writer);
   return {writer.buffer().begin(), writer.buffer().end()};
}

struct StoreTest : testing::Test {
   const Ids ids;
   Hubdb::RecordCheck check;
   RecordStore store{check, Source::vokType()};

   void apply(const Hubdb::RecordWriter& writer) {
      Hubdb::RecordReader reader(writer.bytes());
      for (Record record; reader.next(record);)
         store.apply(record);
   }
};

/// Random changes, some of which make whole chunks of the store void, while readers stand at random places:
/// every reader ends with what the model holds.
TEST_F(StoreTest, readersAtAnyPlaceEndWithTheSameState) {
   std::mt19937 random(7);
   Model model;
   std::map<U32, U32> numbers; // by key
   std::vector<U32> freeNumbers;
   U32 lastNumber = 0;
   struct Reader {
      explicit Reader(RecordStore& store) : cursor(store) {}
      RecordStore::Cursor cursor;
      Model model;
      bool whole = false;
   };
   std::list<Reader> readers;
   for (int step = 0; step < 60000; ++step) {
      Hubdb::RecordWriter writer;
      const U32 key = random() % 4000;
      const auto found = numbers.find(key);
      const U32 what = random() % 16;
      if (found == numbers.end()) {
         const U32 number = freeNumbers.empty() ? ++lastNumber : freeNumbers.back();
         if (!freeNumbers.empty())
            freeNumbers.pop_back();
         numbers[key] = number;
         writer.member(number, Hubdb::rootNumber, ids.route, log(key));
      } else if (what < (step / 10000 % 2 ? 9u : 2u)) {
         freeNumbers.push_back(found->second);
         writer.gone(found->second);
         numbers.erase(found);
      } else if (what < 10) {
         const HubdbRoutes::Via via(random() % 5, 0);
         if (random() % 3)
            writer.put(found->second, ids.via, log(via), Hubdb::Bytes());
         else
            writer.erase(found->second, ids.via, log(via));
      } else if (what < 12) {
         const Vok::Name name("note" + std::to_string(key % 50));
         if (random() % 3)
            writer.put(Hubdb::rootNumber, ids.note, log(name), log(std::string(random() % 3000, 'n')));
         else
            writer.erase(Hubdb::rootNumber, ids.note, log(name));
      } else {
         writer.set(found->second, ids.metric, log(U32(random())));
      }
      Hubdb::RecordReader batch(writer.bytes());
      Record record;
      batch.next(record);
      model.apply(record);
      for (Reader& reader : readers)
         if (reader.whole || reader.cursor.concerns(record))
            reader.model.apply(record);
      store.apply(record);
      if (random() % 2000 == 0)
         readers.emplace_back(store);
      if (random() % 4 == 0)
         for (Reader& reader : readers) {
            std::vector<Vok::U8> piece;
            reader.whole = reader.whole || !reader.cursor.read(piece, 200);
            reader.model.apply(piece);
         }
   }
   ASSERT_GT(readers.size(), 10u);
   for (Reader& reader : readers) {
      std::vector<Vok::U8> rest;
      EXPECT_FALSE(reader.whole ? false : reader.cursor.read(rest, 1 << 30));
      reader.model.apply(rest);
      EXPECT_TRUE(reader.model == model);
   }
   EXPECT_EQ(store.entities(), model.routes.size());
   EXPECT_LT(store.memory(), 3u << 20); // some eighty megabytes of records have passed
}

TEST_F(StoreTest, aRouteWithOneViaIsSmall) {
   constexpr U32 count = 200000;
   for (U32 key = 0; key < count; ++key) {
      Hubdb::RecordWriter writer;
      writer.member(key + 1, Hubdb::rootNumber, ids.route, log(key));
      writer.put(key + 1, ids.via, log(HubdbRoutes::Via(key, 16)), Hubdb::Bytes());
      apply(writer);
   }
   EXPECT_LT(store.memory() / count, 150u);
   for (U32 key = 0; key < count; ++key) {
      Hubdb::RecordWriter writer;
      writer.gone(key + 1);
      apply(writer);
   }
   EXPECT_EQ(store.entities(), 0u);
   std::vector<Vok::U8> rest;
   EXPECT_FALSE(RecordStore::Cursor(store).read(rest, 1));
   EXPECT_TRUE(rest.empty());
}

TEST_F(StoreTest, refusesWhatCannotBeAndStaysAsItWas) {
   Hubdb::RecordWriter good;
   good.member(1, Hubdb::rootNumber, ids.route, log(U32(5)));
   apply(good);
   const auto bytes = [](std::initializer_list<int> list) {
      return std::vector<Vok::U8>(list.begin(), list.end());
   };
   struct {
      const char* what;
      std::function<void(Hubdb::RecordWriter&)> write;
   } const cases[] = {
       {"there is no entity 2", [&](auto& w) { w.set(2, ids.metric, log(U32(1))); }},
       {"there is no entity 16777216", [&](auto& w) { w.gone(1 << 24); }},
       {"the root cannot go by a record", [&](auto& w) { w.gone(0); }},
       {"HubdbRoutes::Route has no attribute number 77", [&](auto& w) { w.set(1, 77, log(U32(1))); }},
       {"HubdbRoutes::Source::route has no records of operation 3",
        [&](auto& w) { w.set(0, ids.route, log(U32(1))); }},
       {"entity 1 is there already", [&](auto& w) { w.member(1, 0, ids.route, log(U32(6))); }},
       {"HubdbRoutes::Source::route has an entity under this key already",
        [&](auto& w) { w.member(2, 0, ids.route, log(U32(5))); }},
       {"entity number 16777216; they are less than 16777216",
        [&](auto& w) { w.member(1 << 24, 0, ids.route, log(U32(6))); }},
       {"HubdbRoutes::Source::route: bytes left over behind the parameters of a HubdbRoutes::Route: 1",
        [&](auto& w) {
           w.member(2, 0, ids.route, bytes({0, 0, 0, 9, 9}));
        }},
       {"HubdbRoutes::Route::metric: attribute log ends inside a value: 4 bytes wanted, 3 left",
        [&](auto& w) {
           w.set(1, ids.metric, bytes({1, 2, 3}));
        }},
       {"HubdbRoutes::Route::via: a value in a set",
        [&](auto& w) { w.put(1, ids.via, log(HubdbRoutes::Via(1, 2)), bytes({1})); }},
   };
   for (const auto& c : cases) {
      Hubdb::RecordWriter writer;
      c.write(writer);
      try {
         apply(writer);
         ADD_FAILURE() << c.what;
      } catch (const Vok::Error& error) {
         EXPECT_STREQ(error.what(), c.what);
      }
   }
   std::vector<Vok::U8> all;
   RecordStore::Cursor(store).read(all, 1000);
   EXPECT_TRUE(std::ranges::equal(all, good.bytes()));
}

} // namespace
} // namespace HubdbTest
