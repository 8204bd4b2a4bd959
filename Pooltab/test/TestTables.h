#pragma once

#include "Pooltab/TableReader.h"
#include "Pooltab/TableWriter.h"
#include "Pooltab/Verify.h"
#include "Vok/Value.h"

#include <filesystem>
#include <string>
#include <unistd.h>

/// Rows and folders that the tests of this room share.

namespace PooltabTest {

using namespace Pooltab;

/// For tables of TestKey whose log is soon full.
inline constexpr PoolOptions smallLog{.keyBytesMax = 8, .logEntriesLog2 = 4};

/// Eight bytes; neighbours in `index` stand near each other.
struct TestKey {
   static constexpr std::size_t packedSize = 8;
   static constexpr std::size_t packedNearOffset = 0;

   U32 index = 0;
   U32 domain = 0;

   void pack(U8* at) const { std::memcpy(at, this, packedSize); }
   bool unpack(const U8* at) {
      std::memcpy(static_cast<void*>(this), at, packedSize);
      return true;
   }
   auto operator<=>(const TestKey&) const = default;
   U32 hash() const { return index; }
};

struct TestFingerprint {
   U64 number;
   U64 fingerprint() const { return number; }
};

/// A fixed row whose content betrays a tear: every word of the body says the same.
struct FixedRow {
   using Key = TestKey;
   static constexpr std::size_t packedSize = 8 + 72;

   TestKey key;
   U64 value = 0;

   void pack(U8* at) const {
      key.pack(at);
      for (int i = 0; i < 9; ++i)
         std::memcpy(at + 8 + i * 8, &value, 8);
   }
   bool unpack(const U8* at) {
      key.unpack(at);
      std::memcpy(&value, at + 8, 8);
      for (int i = 1; i < 9; ++i)
         if (std::memcmp(at + 8, at + 8 + i * 8, 8) != 0)
            return false;
      return true;
   }
   const Key& rowKey() const { return key; }
   static const TestFingerprint& vokType() {
      static const TestFingerprint type{1001};
      return type;
   }
   bool operator==(const FixedRow&) const = default;
};

/// The same with another declaration.
struct OtherFixedRow : FixedRow {
   static const TestFingerprint& vokType() {
      static const TestFingerprint type{1002};
      return type;
   }
};

class TestSlot : public Vok::BoundedNumber<TestSlot, Vok::U8, 0, 199, 0> {
  public:
   using BoundedNumber::BoundedNumber;
   static constexpr const char* rangeText = "TestSlot out of range";
};

/// A row of 10 to 1610 bytes: `length` words that all say the same.
struct VariableRow {
   using Key = TestKey;

   TestKey key;
   Vok::IndexedArray<U64, TestSlot> words;

   static VariableRow make(const TestKey& key, unsigned length, U64 value) {
      VariableRow row;
      row.key = key;
      for (unsigned i = 0; i < length; ++i)
         row.words.is(TestSlot(i), value + 1);
      return row;
   }
   /// The length and the value that make() was given; length 1000 for a torn row.
   std::pair<unsigned, U64> content() const {
      const auto length = static_cast<unsigned>(words.limit());
      for (unsigned i = 1; i < length; ++i)
         if (words.at(i) != words.at(0))
            return {1000, 0};
      return {length, length ? words.at(0) - 1 : 0};
   }
   template <class Use>
   static constexpr auto vokFields(Use use) {
      return use(Vok::field<&VariableRow::key>("key", ""), Vok::field<&VariableRow::words>("words", ""));
   }
   const Key& rowKey() const { return key; }
   static const TestFingerprint& vokType() {
      static const TestFingerprint type{2001};
      return type;
   }
};

/// A directory of pools of this test's own, removed at its end.
class TestRoot {
  public:
   TestRoot()
       : path_("/dev/shm/pooltab-test-" + std::to_string(getpid()) + "-" + std::to_string(count()++)) {}
   ~TestRoot() { std::filesystem::remove_all(path_); }
   const std::string& path() const { return path_; }
   std::shared_ptr<Folder> pool(const std::string& name = "p") const { return sharedFolder(name, path_); }

  private:
   static int& count() {
      static int made = 0;
      return made;
   }
   std::string path_;
};

template <class Row>
::testing::AssertionResult isClean(const Folder& folder, const std::string& table) {
   const TableReport report = verifyTable<Row>(folder, table);
   if (report.isClean())
      return ::testing::AssertionSuccess();
   auto failure = ::testing::AssertionFailure() << mountStatusName(report.status);
   for (const std::string& finding : report.findings)
      failure << "; " << finding;
   return failure;
}

} // namespace PooltabTest
