#pragma once
// What a via writes on a packet in place of the label that brought it there.

#include "Kinet/BoundedMplsLabelStack.h"

namespace Kinet {

/// The labels to impose, at most seven; none when the label is only removed. The operation holds labels and
/// nothing else: labelAction() follows from their number, and a via that stores an action beside it decides
/// for itself.
///
/// Text form, log form and packed row are those of a label stack: "400/500/600", top first; "-" for none.
class MplsLabelOperation {
  public:
   constexpr MplsLabelOperation() = default;
   explicit constexpr MplsLabelOperation(MplsLabel label) : stack_(label) {}
   explicit constexpr MplsLabelOperation(const BoundedMplsLabelStack& stack) : stack_(stack) {}

   /// The labels to impose; the top one stands in slot count - 1.
   constexpr const BoundedMplsLabelStack& stack() const { return stack_; }
   constexpr Vok::U8 count() const { return stack_.count(); }
   constexpr bool empty() const { return stack_.empty(); }
   /// The unset label when there is none.
   constexpr MplsLabel topLabel() const { return stack_.topLabel(); }
   /// pop for no label, swap for one, push for more.
   constexpr MplsLabelAction labelAction() const {
      return empty() ? MplsLabelAction::pop : count() == 1 ? MplsLabelAction::swap : MplsLabelAction::push;
   }

   constexpr bool operator!() const { return empty(); }
   constexpr bool operator==(const MplsLabelOperation&) const = default;
   constexpr std::strong_ordering operator<=>(const MplsLabelOperation&) const = default;
   Vok::U32 hash() const { return stack_.hash(); }

   Vok::String stringValue() const { return stack_.stringValue(); }
   void print(Vok::String& out) const { stack_.print(out); }
   /// Raises ParseError or RangeError.
   static void parseText(Vok::TextParser& parser, MplsLabelOperation& value) {
      BoundedMplsLabelStack::parseText(parser, value.stack_);
   }
   void writeLog(Vok::NboAttrLog::Writer& log) const { stack_.writeLog(log); }
   static void readLog(Vok::NboAttrLog::Reader& log, MplsLabelOperation& value) {
      BoundedMplsLabelStack::readLog(log, value.stack_);
   }

   static constexpr std::size_t packedSize = BoundedMplsLabelStack::packedSize;
   [[gnu::always_inline]] void pack(Vok::PackedTarget to) const { stack_.pack(to); }
   [[gnu::always_inline]] bool unpack(Vok::PackedPlace from) { return stack_.unpack(from); }

   static const Vok::Type& vokType();

  private:
   BoundedMplsLabelStack stack_;
};

} // namespace Kinet
