#pragma once
// What every hand-written value type promises, checked on any of them.

#include "Vok/RowCodec.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

/// The error that parsing a whole text raises: "ParseError: ..." or "RangeError: ..."; empty for none.
template <class T>
std::string errorOf(std::string_view text) {
   try {
      Vok::strepToValue<T>(text);
   } catch (const Vok::ParseError& error) {
      return std::string("ParseError: ") + error.what();
   } catch (const Vok::RangeError& error) {
      return std::string("RangeError: ") + error.what();
   }
   return {};
}

/// Values in ascending order, as texts that print as they parse: each comes back from its text, its text
/// inside a larger one, its log and its row, differs from the others and stands in order; a log cut at any
/// length is refused and leaves the value.
template <class T>
void expectRoundTrips(const std::vector<std::string>& ascending) {
   std::vector<T> values;
   for (const std::string& text : ascending) {
      SCOPED_TRACE(text);
      const T value = Vok::strepToValue<T>(text);
      EXPECT_EQ(Vok::valueToStrep(value), text);
      for (const char* next : {", 'x': 1", "})"}) {
         const std::string larger = text + next;
         Vok::TextParser parser(larger);
         T inside;
         T::parseText(parser, inside);
         EXPECT_TRUE(inside == value);
         EXPECT_EQ(parser.rest(), next);
      }

      Vok::NboAttrLog::Writer log;
      value.writeLog(log);
      T fromLog;
      Vok::NboAttrLog::Reader reader(log.buffer());
      T::readLog(reader, fromLog);
      EXPECT_TRUE(fromLog == value);
      EXPECT_EQ(reader.left(), 0u);
      for (std::size_t cut = 0; cut < log.size(); ++cut) {
         Vok::NboAttrLog::Reader damaged(log.buffer().data(), cut);
         T kept = value;
         EXPECT_THROW(T::readLog(damaged, kept), Vok::LogError) << "cut at " << cut;
         EXPECT_TRUE(kept == value);
      }

      Vok::U8 row[T::packedSize];
      value.pack(row);
      T fromRow;
      EXPECT_TRUE(fromRow.unpack(row));
      EXPECT_TRUE(fromRow == value);
      EXPECT_EQ(fromRow.hash(), value.hash());
      values.push_back(value);
   }
   for (std::size_t a = 0; a < values.size(); ++a)
      for (std::size_t b = 0; b < values.size(); ++b) {
         EXPECT_EQ(values[a] == values[b], a == b) << ascending[a] << " and " << ascending[b];
         EXPECT_EQ(values[a] < values[b], a < b) << ascending[a] << " and " << ascending[b];
      }
}

/// Inside of whole words, at any offset, these bytes are the value that they are by themselves, or none.
template <class T>
void expectSameInWords(const Vok::U8* row, const T* value) {
   constexpr std::size_t words = T::packedSize / 8 + 2;
   for (std::size_t offset = 0; offset < 8; ++offset) {
      std::array<Vok::U64, words> around, packed{};
      around.fill(~Vok::U64{0});
      std::memcpy(reinterpret_cast<Vok::U8*>(around.data()) + offset, row, T::packedSize);
      T inside;
      ASSERT_EQ(Vok::unpackFixed(inside, Vok::PackedPlace(around.data(), offset)), value != nullptr);
      if (!value)
         continue;
      ASSERT_TRUE(inside == *value);
      Vok::packFixed(inside, Vok::PackedTarget(packed.data(), offset));
      ASSERT_EQ(std::memcmp(reinterpret_cast<Vok::U8*>(packed.data()) + offset, row, T::packedSize), 0);
   }
}

/// Rows with a few bytes changed at random: what unpack() accepts, pack() writes byte for byte, and its text
/// parses.
template <class T>
void expectNoForeignRow(const std::vector<std::string>& seeds) {
   std::mt19937 random(7);
   for (int round = 0; round < 20000; ++round) {
      Vok::U8 row[T::packedSize];
      Vok::strepToValue<T>(seeds[random() % seeds.size()]).pack(row);
      for (unsigned changes = random() % 4; changes > 0; --changes)
         row[random() % T::packedSize] = static_cast<Vok::U8>(random() % 2 ? random() % 10 : random());
      T value;
      const bool isValid = value.unpack(row);
      expectSameInWords(row, isValid ? &value : nullptr);
      if (!isValid)
         continue;
      Vok::U8 again[T::packedSize];
      value.pack(again);
      ASSERT_EQ(std::memcmp(row, again, sizeof row), 0) << Vok::valueToStrep(value);
      ASSERT_TRUE(Vok::strepToValue<T>(Vok::valueToStrep(value)) == value);
   }
}
