#include "Kinet/BoundedMplsLabelStack.h"

#include "Vok/Scalars.h"

#include <algorithm>
#include <cstring>

namespace Kinet {

namespace {

void checkCount(Vok::U8 count) {
   if (count > BoundedMplsLabelStack::maxLabels)
      throw Vok::RangeError("BoundedMplsLabelStack::count > 7 not allowed");
}

} // namespace

void BoundedMplsLabelStack::countIs(Vok::U8 count) {
   checkCount(count);
   if (count < count_)
      std::fill(label_.begin() + count, label_.end(), MplsLabel());
   count_ = count;
}

void BoundedMplsLabelStack::push(MplsLabel label) {
   checkCount(count_ + 1);
   label_[count_++] = label;
}

Vok::U32 BoundedMplsLabelStack::hash() const {
   Vok::Hash hash;
   hash.mix(count_);
   for (Vok::U8 slot = 0; slot < count_; ++slot)
      hash.mix(label_[slot].value());
   return hash.result();
}

Vok::String BoundedMplsLabelStack::stringValue() const {
   Vok::String text;
   print(text);
   return text;
}

void BoundedMplsLabelStack::print(Vok::String& out) const {
   if (empty())
      out += '-';
   for (int slot = count_ - 1; slot >= 0; --slot) {
      out += std::to_string(label_[slot].value());
      if (slot > 0)
         out += '/';
   }
}

void BoundedMplsLabelStack::parseText(Vok::TextParser& parser, BoundedMplsLabelStack& value) {
   BoundedMplsLabelStack parsed;
   if (!parser.accept("-")) {
      do
         parsed.push(MplsLabel(parser.unsignedNumber(~Vok::U64(0))));
      while (parser.accept("/"));
      std::reverse(parsed.label_.begin(), parsed.label_.begin() + parsed.count_);
   }
   value = parsed;
}

void BoundedMplsLabelStack::writeLog(Vok::NboAttrLog::Writer& log) const {
   log.u8(count_);
   for (Vok::U8 slot = 0; slot < maxLabels; ++slot)
      log.u32(slot < count_ ? label_[slot].value() : MplsLabel().value());
}

void BoundedMplsLabelStack::readLog(Vok::NboAttrLog::Reader& log, BoundedMplsLabelStack& value) {
   BoundedMplsLabelStack read;
   read.count_ = log.u8();
   checkCount(read.count_);
   for (Vok::U8 slot = 0; slot < maxLabels; ++slot) {
      read.label_[slot] = MplsLabel(log.u32());
      if (slot >= read.count_ && read.label_[slot] != MplsLabel())
         throw Vok::RangeError("BoundedMplsLabelStack::label set in a slot above the count not allowed");
   }
   value = read;
}

const Vok::Type& BoundedMplsLabelStack::vokType() {
   static const Vok::HandWrittenType<BoundedMplsLabelStack> type("Kinet::BoundedMplsLabelStack",
                                                                 "A stack of at most seven labels.");
   return type;
}

} // namespace Kinet
