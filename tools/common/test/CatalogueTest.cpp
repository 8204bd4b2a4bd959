#include "tools/common/Catalogue.h"
#include "tools/common/test/RandomValue.h"

#include "Hubdb/Incoming.h"
#include "Hubdb/Outgoing.h"
#include "Hubdb/test/Dump.h"
#include "Pooltab/PrivateFolder.h"
#include "Pooltab/VokPooltab.h"

#include <gtest/gtest.h>

/// What every type of the library keeps to, whatever it is.

namespace tools::test {
namespace {

/// The text form, and what reading it gives.
std::string textOf(const Vok::AnyValue& value) {
   return value.text();
}

bool isWithinBounds(const Vok::AnyValue& value) {
   try {
      value.type().checkRange(value.data());
      return true;
   } catch (const Vok::RangeError&) {
      return false;
   }
}

bool reads(const Vok::Type& type, std::string_view text, Vok::AnyValue& value) {
   try {
      Vok::TextParser parser(text);
      type.parse(parser, value.data());
      parser.expectEnd();
      return true;
   } catch (const Vok::ParseError&) {
   } catch (const Vok::RangeError&) {
   }
   return false;
}

bool reads(const Vok::Type& type, const std::vector<Vok::U8>& log, Vok::AnyValue& value) {
   try {
      Vok::NboAttrLog::Reader reader(log);
      type.readLog(reader, value.data());
      return reader.left() == 0;
   } catch (const Vok::LogError&) {
   } catch (const Vok::RangeError&) {
   }
   return false;
}

struct CatalogueTest : testing::Test {
   Catalogue all = catalogue();
   RandomValue random{11};

   Vok::AnyValue any(const Vok::Type& type) {
      Vok::AnyValue value(type);
      random.fill(type, value.data());
      return value;
   }
};

TEST_F(CatalogueTest, valuesComeBackFromTextAndLog) {
   for (const Vok::Type* type : all.types)
      for (int round = 0; round < 30; ++round) {
         const Vok::AnyValue value = any(*type);
         if (!isWithinBounds(value))
            continue; // as it was made: what is unset there cannot be read back
         Vok::AnyValue fromLog(*type), fromText(*type);
         ASSERT_TRUE(reads(*type, logOf(*type, value.data()), fromLog)) << textOf(value);
         ASSERT_TRUE(fromLog == value) << type->name() << ": " << textOf(value) << " -> " << textOf(fromLog);
         if (!type->parsable())
            continue;
         ASSERT_TRUE(reads(*type, textOf(value), fromText)) << textOf(value);
         // Texts by hand leave out what means nothing, so it is the text that is compared.
         ASSERT_EQ(textOf(value), textOf(fromText)) << type->name();
      }
}

TEST_F(CatalogueTest, mutatedTextsAndLogsAreReadOrRefusedWhole) {
   for (const Vok::Type* type : all.types)
      for (int round = 0; round < 60; ++round) {
         const Vok::AnyValue source = any(*type), before = any(*type);
         Vok::AnyValue value = before;
         const std::string text = random.mutated(textOf(source));
         try {
            Vok::TextParser parser(text);
            if (type->parsable())
               type->parse(parser, value.data());
            type->checkRange(value.data());
         } catch (const Vok::ParseError&) {
            ASSERT_TRUE(value == before) << type->name() << ": " << text;
         } catch (const Vok::RangeError&) {
            ASSERT_TRUE(value == before) << type->name() << ": " << text;
         }
         std::vector<Vok::U8> log = random.mutated(logOf(*type, source.data()));
         log.resize(random.below(static_cast<unsigned>(log.size() + 1)));
         reads(*type, log, value); // any other error ends the test
         ASSERT_NO_THROW(textOf(value)) << type->name();
         ASSERT_NO_THROW(logOf(*type, value.data())) << type->name();
      }
}

TEST_F(CatalogueTest, enumerationsConvertBothWays) {
   for (const Vok::Type* type : all.types)
      if (const auto* enumeration = dynamic_cast<const Vok::EnumType*>(type)) {
         for (const Vok::Enumerator& enumerator : enumeration->enumerators()) {
            Vok::AnyValue value(*type);
            ASSERT_TRUE(reads(*type, enumerator.name, value)) << type->name();
            EXPECT_EQ(enumeration->number(value.data()), enumerator.number) << type->name();
            EXPECT_EQ(textOf(value), enumerator.name);
            EXPECT_EQ(enumeration->byNumber(enumerator.number), &enumerator);
         }
         Vok::AnyValue value(*type);
         EXPECT_FALSE(reads(*type, "noSuchEnumerator", value)) << type->name();
      }
}

/// A root that nothing outside leads to.
struct Alone final : Hubdb::References {
   std::string_view pathOf(const Vok::Entity&) const override { return ""; }
   Vok::Ptr<Vok::Entity> rootAt(std::string_view) const override { return nullptr; }
   void goes(const Vok::Entity&) override {}
};

TEST_F(CatalogueTest, entitiesFollowTheirOwnLog) {
   for (const Vok::EntityType* type : all.entities) {
      if (!type->isMadeFromName() || type->kind() != Vok::Kind::entity)
         continue;
      SCOPED_TRACE(type->name());
      const auto origin = type->make("origin"), copy = type->make("origin");
      Hubdb::Plans sending, receiving;
      Alone here, there;
      Hubdb::Outgoing outgoing(origin, sending, here, [] {});
      Hubdb::Incoming incoming(copy, receiving, there);
      for (int round = 0; round < 5; ++round) {
         Hubdb::RecordWriter writer;
         if (round == 0) {
            outgoing.snapshotStart();
            ASSERT_TRUE(outgoing.snapshot(writer, ~std::size_t(0)));
            incoming.snapshotBegin();
         } else {
            fillEntity(random, *origin);
            ASSERT_TRUE(outgoing.flush(writer, ~std::size_t(0)));
         }
         incoming.apply(writer.bytes());
         if (round == 0)
            incoming.snapshotEnd();
         ASSERT_EQ(HubdbTest::dump(*origin), HubdbTest::dump(*copy));
      }
   }
}

TEST_F(CatalogueTest, rowsFitTheirTables) {
   for (const Vok::EntityType* type : all.entities) {
      if (!type->isMadeFromName() || type->kind() != Vok::Kind::entity)
         continue;
      const auto entity = type->make("tables");
      const VokPooltab::WriterMount mount(entity, Pooltab::privateFolder("tables"));
      for (const Vok::Attribute& attribute : type->attributes()) {
         if (attribute.kind != Vok::AttributeKind::table)
            continue;
         for (int round = 0; round < 20; ++round) {
            const Vok::AnyValue row = any(*attribute.valueType);
            try {
               attribute.access.put(*entity, nullptr, row.data());
            } catch (const Vok::Error&) {
               // The table's own checks of what such a row means; the row stands by then.
            }
            bool isThere = false;
            attribute.access.walk(*entity, [&](const void*, const void* stored) {
               isThere = isThere || attribute.valueType->storage().equal(stored, row.data());
            });
            ASSERT_TRUE(isThere) << type->name() << "." << attribute.name << ": " << textOf(row);
         }
      }
   }
}

} // namespace
} // namespace tools::test
