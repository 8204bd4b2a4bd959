#include "Vok/Scalars.h"

#include "Vok/TypeOf.h"

#include <charconv>
#include <limits>

namespace Vok {

namespace {

template <class T>
void printNumber(T value, String& out) {
   char text[32];
   const auto [end, error] = std::to_chars(text, text + sizeof text, value);
   out.append(text, end);
}

} // namespace

template <class T>
void ScalarType<T>::print(const void* value, String& out) const {
   const T& v = *static_cast<const T*>(value);
   if constexpr (std::is_same_v<T, bool>)
      out += v ? "True" : "False";
   else if constexpr (std::is_same_v<T, String>)
      printQuoted(v, out);
   else if constexpr (std::is_same_v<T, Name>)
      printQuoted(v.text(), out);
   else
      printNumber(v, out);
}

template <class T>
void ScalarType<T>::parse(TextParser& parser, void* value) const {
   T& v = *static_cast<T*>(value);
   if constexpr (std::is_same_v<T, bool>)
      v = parser.boolean();
   else if constexpr (std::is_same_v<T, String> || std::is_same_v<T, Name>)
      v = T(parser.quoted());
   else if constexpr (std::is_floating_point_v<T>)
      v = parser.floatingNumber();
   else if constexpr (std::is_signed_v<T>)
      v = static_cast<T>(parser.signedNumber(std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
   else
      v = static_cast<T>(parser.unsignedNumber(std::numeric_limits<T>::max()));
}

template <class T>
void ScalarType<T>::writeLog(const void* value, NboAttrLog::Writer& log) const {
   const T& v = *static_cast<const T*>(value);
   if constexpr (std::is_same_v<T, String>)
      log.string(v);
   else if constexpr (std::is_same_v<T, Name>)
      log.string(v.text());
   else if constexpr (std::is_floating_point_v<T>)
      log.f64(v);
   else if constexpr (sizeof(T) == 1)
      log.u8(static_cast<U8>(v));
   else if constexpr (sizeof(T) == 2)
      log.u16(static_cast<U16>(v));
   else if constexpr (sizeof(T) == 4)
      log.u32(static_cast<U32>(v));
   else
      log.u64(static_cast<U64>(v));
}

template <class T>
void ScalarType<T>::readLog(NboAttrLog::Reader& log, void* value) const {
   T& v = *static_cast<T*>(value);
   if constexpr (std::is_same_v<T, String> || std::is_same_v<T, Name>)
      v = T(log.string());
   else if constexpr (std::is_floating_point_v<T>)
      v = log.f64();
   else if constexpr (std::is_same_v<T, bool>) {
      const U8 byte = log.u8();
      if (byte > 1)
         throw RangeError("Bool::value > 1 not allowed");
      v = byte == 1;
   } else if constexpr (sizeof(T) == 1)
      v = static_cast<T>(log.u8());
   else if constexpr (sizeof(T) == 2)
      v = static_cast<T>(log.u16());
   else if constexpr (sizeof(T) == 4)
      v = static_cast<T>(log.u32());
   else
      v = static_cast<T>(log.u64());
}

namespace {

template <class T>
const Type& theType(std::string_view name) {
   static const ScalarType<T> type(name);
   return type;
}

} // namespace

const Type& scalarType(const bool*) {
   return theType<bool>("Bool");
}
const Type& scalarType(const U8*) {
   return theType<U8>("U8");
}
const Type& scalarType(const U16*) {
   return theType<U16>("U16");
}
const Type& scalarType(const U32*) {
   return theType<U32>("U32");
}
const Type& scalarType(const U64*) {
   return theType<U64>("U64");
}
const Type& scalarType(const S32*) {
   return theType<S32>("S32");
}
const Type& scalarType(const S64*) {
   return theType<S64>("S64");
}
const Type& scalarType(const F64*) {
   return theType<F64>("F64");
}
const Type& scalarType(const String*) {
   return theType<String>("String");
}
const Type& scalarType(const Name*) {
   return theType<Name>("Name");
}

} // namespace Vok
