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
   bool ended = false;
   bool refused = false;
   for (const char c : read) {
      ended |= c == '\0';
      refused |= ended ? c != '\0' : isRefused(c);
   }
   const std::string_view text(read.data(), ended ? strlen(read.data()) : 0);
   if (!ended || refused || text == "." || text == "..")
      return false;
   name_ = read;
   return true;
}

const Vok::Type& IntfId::vokType() {
   static const Vok::HandWrittenType<IntfId> type("Kinet::IntfId", "The name of a network interface.");
   return type;
}

} // namespace Kinet
