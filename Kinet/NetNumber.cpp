#include "Kinet/NetNumber.h"

#include "Vok/Scalars.h"

namespace Kinet {

template <>
const Vok::Type& NetU32::vokType() {
   static const Vok::HandWrittenType<NetU32> type("Kinet::NetU32", "32 bits in network byte order.");
   return type;
}

template <>
const Vok::Type& NetU16::vokType() {
   static const Vok::HandWrittenType<NetU16> type("Kinet::NetU16", "16 bits in network byte order.");
   return type;
}

} // namespace Kinet
