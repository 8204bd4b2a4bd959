#include "Kinet/IntfId.h"

#include "Vok/HashOf.h"
#include "Vok/Scalars.h"

#include <algorithm>

namespace Kinet {

IntfId::IntfId(std::string_view name) {
   if (name.size() > maxLength)
      throw Vok::RangeError("IntfId::bytes > IntfId::maxLength not allowed");
   const auto refused = [](char c) { return isRefused(static_cast<Vok::U8>(c)); };
   if (std::any_of(name.begin(), name.end(), refused) || name == "." || name == "..") {
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

const Vok::Type& IntfId::vokType() {
   static const Vok::HandWrittenType<IntfId> type("Kinet::IntfId", "The name of a network interface.");
   return type;
}

} // namespace Kinet
