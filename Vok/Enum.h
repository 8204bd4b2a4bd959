#pragma once
// Conversions between enumerators, their names and their numbers. A generated enumeration E comes
// with vokEnum( E ), its table, found by argument-dependent lookup.

#include "Vok/Storage.h"

namespace Vok {

/// The table of an enumeration.
template <class E>
requires std::is_enum_v<E> EnumType describeEnum(std::string_view name, std::string_view doc,
                                                 std::span<const Enumerator> enumerators) {
   return EnumType(name, doc, storageOf<E>(), enumerators);
}

/// The enumerator's name; the number in decimal for a value outside the enumeration.
template <class E>
requires requires(E e) {
   vokEnum(e);
}
String stringValue(E value) {
   String text;
   vokEnum(value).print(&value, text);
   return text;
}

/// The enumerator with that number. Raises RangeError when there is none.
template <class E>
requires requires(E e) {
   vokEnum(e);
}
E enumInstance(U32 number) {
   const EnumType& type = vokEnum(E{});
   if (!type.byNumber(number))
      throw RangeError(String(type.name()) + " has no enumerator with the number " + std::to_string(number));
   return static_cast<E>(number);
}

/// The enumerator with that name. Raises RangeError when there is none.
template <class E>
requires requires(E e) {
   vokEnum(e);
}
E enumInstance(std::string_view name) {
   const EnumType& type = vokEnum(E{});
   const Enumerator* found = type.byName(name);
   if (!found)
      throw RangeError(String(type.name()) + " has no enumerator named '" + String(name) + "'");
   return static_cast<E>(found->number);
}

} // namespace Vok
