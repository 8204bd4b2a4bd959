#pragma once
// A stack of at most seven MPLS labels in seven fixed slots. Slot 0 is the bottom, slot count - 1 the top.

#include "Kinet/Labels.h"

#include <array>
#include <bit>
#include <cstring>

namespace Kinet {

/// Only the slots below count() are part of the value; texts, logs, packed rows, order and hash see no
/// others, and labels written above the count come in when the count is raised.
///
/// Text form: decimal labels, top first, "300/200/100"; "-" when empty.
/// Log form and packed row: the count in one byte, then seven labels, unused ones 0x100000.
class BoundedMplsLabelStack {
  public:
   static constexpr Vok::U8 maxLabels = MplsStackEntryIndex::max + 1;

   constexpr BoundedMplsLabelStack() = default;
   /// A stack of one label.
   explicit constexpr BoundedMplsLabelStack(MplsLabel label) : count_(1) { label_[0] = label; }

   constexpr Vok::U8 count() const { return count_; }
   /// Unsets the labels that leave the stack. Raises RangeError for a count above seven.
   void countIs(Vok::U8 count);
   constexpr bool empty() const { return count_ == 0; }

   /// The label in a slot; the unset label in an unused one.
   constexpr MplsLabel label(MplsStackEntryIndex index) const { return label_[index.value()]; }
   /// Does not change the count.
   constexpr void labelIs(MplsStackEntryIndex index, MplsLabel label) { label_[index.value()] = label; }
   /// The unset label when the stack is empty.
   constexpr MplsLabel topLabel() const { return count_ == 0 ? MplsLabel() : label_[count_ - 1]; }
   /// Puts a label on top. Raises RangeError when the stack is full.
   void push(MplsLabel label);

   constexpr bool operator!() const { return empty(); }
   constexpr bool operator==(const BoundedMplsLabelStack& other) const { return (*this <=> other) == 0; }
   /// The smaller stack first; among stacks of one size, label by label from the top.
   constexpr std::strong_ordering operator<=>(const BoundedMplsLabelStack& other) const {
      auto order = count_ <=> other.count_;
      for (int slot = count_; order == 0 && slot-- > 0;)
         order = label_[slot] <=> other.label_[slot];
      return order;
   }
   Vok::U32 hash() const;

   Vok::String stringValue() const;
   void print(Vok::String& out) const;
   /// Raises ParseError, or RangeError for a label or a number of labels out of range.
   static void parseText(Vok::TextParser& parser, BoundedMplsLabelStack& value);
   void writeLog(Vok::NboAttrLog::Writer& log) const;
   /// Raises LogError or RangeError and leaves `value` as it was.
   static void readLog(Vok::NboAttrLog::Reader& log, BoundedMplsLabelStack& value);

   static constexpr std::size_t packedSize = 1 + maxLabels * sizeof(Vok::U32);
   /// Where the label of slot 0 stands: neighbouring labels stand near each other in tables.
   static constexpr std::size_t packedNearOffset = 1;
   void pack(Vok::U8* at) const;
   /// False, and the value as it was, when the bytes are none that pack() writes.
   bool unpack(const Vok::U8* at);

   static const Vok::Type& vokType();

  private:
   Vok::U8 count_ = 0;
   std::array<MplsLabel, maxLabels> label_{};
};

// On the path of every row: both are loops over seven words that the compiler unrolls.

inline void BoundedMplsLabelStack::pack(Vok::U8* at) const {
   std::array<Vok::U32, maxLabels> numbers;
   for (Vok::U8 slot = 0; slot < maxLabels; ++slot)
      numbers[slot] = slot < count_ ? label_[slot].value() : MplsLabel().value();
   if constexpr (std::endian::native == std::endian::little) {
      // In the very words in which a key is read again for its hash: a word that was stored in pieces is not
      // there at once.
      const auto from = [&](unsigned slot) { return Vok::U64{numbers[slot]}; };
      const std::array<Vok::U64, 3> words = {count_ | from(0) << 8 | from(1) << 40,
                                             from(1) >> 24 | from(2) << 8 | from(3) << 40,
                                             from(3) >> 24 | from(4) << 8 | from(5) << 40};
      const auto last = static_cast<Vok::U32>(from(5) >> 24 | from(6) << 8);
      for (unsigned i = 0; i < words.size(); ++i)
         std::memcpy(at + 8 * i, &words[i], sizeof words[i]);
      std::memcpy(at + 24, &last, sizeof last);
      at[28] = static_cast<Vok::U8>(from(6) >> 24);
   } else {
      *at = count_;
      std::memcpy(at + 1, numbers.data(), sizeof numbers);
   }
}

inline bool BoundedMplsLabelStack::unpack(const Vok::U8* at) {
   const Vok::U8 count = *at;
   std::array<Vok::U32, maxLabels> numbers;
   std::memcpy(numbers.data(), at + 1, sizeof numbers);
   bool valid = count <= maxLabels;
   for (Vok::U8 slot = 0; slot < maxLabels; ++slot)
      valid &= slot < count ? numbers[slot] <= MplsLabel::luWithdraw : numbers[slot] == MplsLabel().value();
   if (!valid)
      return false;
   count_ = count;
   label_ = std::bit_cast<std::array<MplsLabel, maxLabels>>(numbers);
   return true;
}

} // namespace Kinet
