#include "Kinet/IntfId.h"

#include "Vok/HashOf.h"
#include "Vok/Scalars.h"

#include <algorithm>
#include <cstring>

namespace Kinet {

namespace {

bool isRefused(char c) {
   const auto byte = static_cast<Vok::U8>(c);
   return byte <= 0x20 || byte == 0x7f || c == '/' || c == ':';
}

bool isUsable(std::string_view name) {
   return std::none_of(name.begin(), name.end(), isRefused) && name != "." && name != "..";
}

} // namespace

IntfId::IntfId(std::string_view name) {
   if (name.size() > maxLength)
      throw Vok::RangeError("IntfId::bytes > IntfId::maxLength not allowed");
   if (!isUsable(name)) {
      Vok::String shown;
      Vok::printQuoted(name, shown);
      throw Vok::RangeError("IntfId::name " + shown +
                            " not allowed: no blanks, control characters, '/' or ':', and not '.' or '..'");
   }
   std::copy(name.begin(), name.end(), name_.begin());
}

Vok::U32 IntfId::hash() const {
   return Vok::hashOf(name());
}

void IntfId::print(Vok::String& out) const {
   Vok::printQuoted(name(), out);
}

void IntfId::parseText(Vok::TextParser& parser, IntfId& value) {
   value = IntfId(parser.quoted());
}

void IntfId::writeLog(Vok::NboAttrLog::Writer& log) const {
   log.string(name());
}

void IntfId::readLog(Vok::NboAttrLog::Reader& log, IntfId& value) {
   value = IntfId(log.string());
}

void IntfId::pack(Vok::U8* at) const {
   std::memcpy(at, name_.data(), name_.size());
}

bool IntfId::unpack(const Vok::U8* at) {
   decltype(name_) read;
   std::memcpy(read.data(), at, read.size());
   // Each character by itself and its neighbour only, so that the compiler looks at all of them at once.
   Vok::U8 bad = read[maxLength] != '\0';
   for (std::size_t i = 0; i < maxLength; ++i)
      bad |= read[i] == '\0' ? read[i + 1] != '\0' : isRefused(read[i]);
   const bool dots = read[0] == '.' && (read[1] == '\0' || (read[1] == '.' && read[2] == '\0'));
   if (bad || dots)
      return false;
   name_ = read;
   return true;
}

const Vok::Type& IntfId::vokType() {
   static const Vok::HandWrittenType<IntfId> type("Kinet::IntfId", "The name of a network interface.");
   return type;
}

} // namespace Kinet
