#pragma once
// A stack of at most seven MPLS labels in seven fixed slots. Slot 0 is the bottom, slot count - 1 the top.

#include "Kinet/Labels.h"
#include "Vok/PackedPlace.h"

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
   [[gnu::always_inline]] void pack(Vok::PackedTarget to) const;
   /// False, and the value as it was, when the bytes are none that pack() writes.
   [[gnu::always_inline]] bool unpack(Vok::PackedPlace from);

   static const Vok::Type& vokType();

  private:
   static constexpr bool isLittle = std::endian::native == std::endian::little;
   /// Neighbouring labels as they stand in memory: slots 0 and 1, 2 and 3, 4 and 5, and 6 alone.
   using Pairs = std::array<Vok::U64, 4>;
   /// For each count: all bits of the labels that stand above it.
   static constexpr std::array<Pairs, maxLabels + 1> unused = [] {
      std::array<Pairs, maxLabels + 1> bits{};
      for (Vok::U8 count = 0; count <= maxLabels; ++count)
         for (Vok::U8 slot = count; slot < maxLabels; ++slot)
            bits[count][slot / 2] |= Vok::U64{~Vok::U32{0}} << 32 * ((slot % 2 == 1) == isLittle);
      return bits;
   }();

   Vok::U8 count_ = 0;
   std::array<MplsLabel, maxLabels> label_{};
};

// On the path of every row.

inline void BoundedMplsLabelStack::pack(Vok::PackedTarget to) const {
   to.put(0, count_);
#pragma GCC unroll 7
   for (Vok::U8 slot = 0; slot < maxLabels; ++slot)
      to.put(1 + slot * sizeof(Vok::U32), (slot < count_ ? label_[slot] : MplsLabel()).value());
}

inline bool BoundedMplsLabelStack::unpack(Vok::PackedPlace from) {
   constexpr Vok::U64 both = 1ull << 32 | 1;
   constexpr Vok::U64 unset = MplsLabel().value() * both;
   constexpr Vok::U64 top = 0x80000000u * both;
   constexpr Vok::U64 toTop = (0x7fffffffu - MplsLabel::highest) * both; // from labels too high only
   const auto count = from.number<Vok::U8>(0);
   if (count > maxLabels)
      return false;
   const auto isValid = [count](unsigned number, Vok::U64 pair) {
      return (((pair ^ unset) & unused[count][number]) | ((pair | (pair + toTop)) & top)) == 0;
   };
   const auto first = from.number<Vok::U64>(1), second = from.number<Vok::U64>(9);
   const auto third = from.number<Vok::U64>(17);
   const auto last = from.number<Vok::U32>(25);
   if (!isValid(0, first) || !isValid(1, second) || !isValid(2, third) ||
       !isValid(3, isLittle ? last : Vok::U64{last} << 32))
      return false;
   count_ = count;
   const auto store = [this](unsigned slot, auto labels) {
      std::memcpy(static_cast<void*>(&label_[slot]), &labels, sizeof labels);
   };
   store(0, first);
   store(2, second);
   store(4, third);
   store(6, last);
   return true;
}

} // namespace Kinet
