// Texts and logs of scalars: what is written reads back, and nothing else does.
#include "Vok/RowCodec.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using namespace Vok;

template <class T>
void roundTrip(const T& value) {
   SCOPED_TRACE(valueToStrep(value));
   EXPECT_EQ(strepToValue<T>(valueToStrep(value)), value);
   NboAttrLog::Writer log;
   typeOf<T>().writeLog(&value, log);
   T read{};
   NboAttrLog::Reader reader(log.buffer());
   typeOf<T>().readLog(reader, &read);
   EXPECT_EQ(read, value);
   EXPECT_EQ(reader.left(), 0u);
   for (std::size_t size = 0; size < log.size(); ++size) {
      NboAttrLog::Reader cut(log.buffer().data(), size);
      EXPECT_THROW(typeOf<T>().readLog(cut, &read), LogError) << size;
   }
}

TEST(Scalars, ReadBackWhatTheyWrite) {
   roundTrip(true);
   roundTrip(U8(255));
   roundTrip(U16(65535));
   roundTrip(U32(4294967295u));
   roundTrip(std::numeric_limits<U64>::max());
   roundTrip(std::numeric_limits<S32>::min());
   roundTrip(std::numeric_limits<S64>::min());
   for (const F64 number : {0.0, -1.5, 1e-300, std::numeric_limits<F64>::infinity(), 0.1})
      roundTrip(number);
   String every;
   for (int c = 0; c < 256; ++c)
      every += static_cast<char>(c);
   for (const String& text : {String(), String("it's \\ here"), every})
      roundTrip(text);
   roundTrip(Name("a/b"));
}

TEST(Scalars, TextsOfBytesStayPrintable) {
   EXPECT_EQ(valueToStrep(String("a'b\\\n\x01\xff")), "'a\\'b\\\\\\n\\x01\\xff'");
   EXPECT_EQ(valueToStrep(false), "False");
}

template <class T>
void refuse(std::initializer_list<const char*> texts) {
   for (const char* text : texts)
      EXPECT_THROW(strepToValue<T>(text), ParseError) << text;
}

TEST(Scalars, RefuseWhatTheyWouldNotWrite) {
   refuse<bool>({"", "true", "1", "TrueFalse", " True"});
   refuse<U8>({"", "256", "-1", "01", "1 ", "+1", "0x1"});
   refuse<U64>({"18446744073709551616"});
   refuse<S32>({"2147483648", "-2147483649", "1.0"});
   refuse<F64>({"", "one", "1.5x"});
   refuse<String>({"a", "'a", "'a''", "'\\q'", "'\\xZ0'", "'\\x1", "\"a\""});
}

TEST(TextParser, NamesThePlaceAndWhatStandsThere) {
   TextParser parser("size: x12");
   parser.expect("size: ");
   try {
      parser.unsignedNumber(9);
      FAIL();
   } catch (const ParseError& error) {
      EXPECT_STREQ(error.what(), "parse error at character 7: wanted a decimal number, found 'x12'");
   }
}

TEST(NboAttrLog, AHostileLengthIsRefusedBeforeAnythingIsMade) {
   const std::vector<U8> log{0xff, 0xff, 0xff, 0xff, 'a'};
   NboAttrLog::Reader reader(log);
   EXPECT_THROW(reader.string(), LogError);
   EXPECT_EQ(reader.left(), log.size());
   bool flag = false;
   const std::vector<U8> two{2};
   NboAttrLog::Reader bad(two);
   EXPECT_THROW(typeOf<bool>().readLog(bad, &flag), RangeError);
}

} // namespace
