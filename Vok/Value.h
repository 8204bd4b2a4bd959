#pragma once
// What generated values say of their fields, and what follows from it: hashing, reflection and, in
// Vok/RowCodec.h, the packed layout of table rows.

#include "Vok/TypeOf.h"

#include <iosfwd>

namespace Vok {

/// One field of a value: the member that holds it and what the declaration says of it. A generated class
/// hands all its fields, in declared order, to what `vokFields( use )` is given, and returns what that
/// returns.
template <auto Member>
struct Field {
   static constexpr auto member = Member;
   std::string_view name;
   std::string_view doc;
   bool logChecked = false;
};

template <auto Member>
constexpr Field<Member> field(std::string_view name, std::string_view doc = {}) {
   return {name, doc};
}

/// A field that is range-checked when read from the log although its type is not.
template <auto Member>
constexpr Field<Member> logCheckedField(std::string_view name, std::string_view doc = {}) {
   return {name, doc, true};
}

/// Takes any fields, and does nothing with them.
struct AnyFields {
   template <class... Fields>
   constexpr void operator()(const Fields&...) const {}
};

template <class T>
concept HasFields = requires {
   T::vokFields(AnyFields());
};

/// The type of the member that a Field of T names.
template <class FieldOfT, class T>
using FieldType = std::remove_cvref_t<decltype(std::declval<const T&>().*FieldOfT::member)>;

/// Calls `visit( member )` for every field in declared order.
template <class T, class Visit>
constexpr void forEachField(T& value, Visit visit) {
   std::remove_const_t<T>::vokFields([&]<auto... members>(const Field<members>&...) {
      (visit(value.*members), ...);
   });
}

/// The hash of a value over all its fields, mixed in declared order.
template <HasFields T>
U32 hashFields(const T& value) {
   Hash hash;
   forEachField(value, [&](const auto& member) { hashMix(hash, member); });
   return hash.result();
}

/// Describes a generated value or row. What the class declares decides the rest: vokCheck() const for
/// invariants, stringValue() and parseText() when its text form is written by hand (vokTextByHand),
/// writeLog() and readLog() when its log form is (vokLogByHand), vokConstants() for its constants.
template <class T>
ValueType describeValue(std::string_view name, std::string_view doc) {
   std::vector<FieldDescription> fields;
   const T sample{};
   const auto describe = [&](const auto& field) {
      using F = std::remove_cvref_t<decltype(field)>;
      const auto& member = sample.*F::member;
      const auto offset = reinterpret_cast<const char*>(&member) - reinterpret_cast<const char*>(&sample);
      fields.push_back({field.name, field.doc, &typeOf<FieldType<F, T>>(), static_cast<std::size_t>(offset),
                        field.logChecked, String()});
   };
   T::vokFields([&](const auto&... field) { (describe(field), ...); });

   ValueType::Hooks hooks;
   hooks.emptyText = fields.empty();
   if constexpr (requires(const T& v) { v.vokCheck(); })
      hooks.check = [](const void* value) { static_cast<const T*>(value)->vokCheck(); };
   if constexpr (requires { T::vokTextByHand; }) {
      hooks.print = [](const void* value, String& out) {
         out += static_cast<const T*>(value)->stringValue();
      };
      hooks.parse = [](TextParser& parser, void* value) { T::parseText(parser, *static_cast<T*>(value)); };
   }
   if constexpr (requires { T::vokLogByHand; }) {
      hooks.writeLog = [](const void* value, NboAttrLog::Writer& log) {
         static_cast<const T*>(value)->writeLog(log);
      };
      hooks.readLog = [](NboAttrLog::Reader& log, void* value) { T::readLog(log, *static_cast<T*>(value)); };
   }
   std::vector<Constant> constants;
   if constexpr (requires { T::vokConstants(); })
      constants = T::vokConstants();
   constexpr bool isRow = requires {
      typename T::Key;
   };
   return ValueType(name, isRow ? Kind::row : Kind::value, doc, storageOf<T>(), std::move(fields),
                    std::move(constants), hooks);
}

/// Writes the generated text form of a generated value to a stream.
template <class Char, class Traits, class T>
requires requires {
   { T::vokType() } -> std::same_as<const ValueType&>;
}
std::basic_ostream<Char, Traits>& operator<<(std::basic_ostream<Char, Traits>& out, const T& value) {
   return out << valueToStrep(value);
}

/// A constant of a type for its description, in text form.
template <class T>
Constant constant(std::string_view name, const T& value) {
   return {name, typeOf<T>().name(), valueToStrep(value)};
}

} // namespace Vok
