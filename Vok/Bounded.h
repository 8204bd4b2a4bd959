#pragma once
// Numbers and strings with bounds. A value outside its bounds cannot be made: the constructor raises
// RangeError with the type's own message.

#include "Vok/Storage.h"

#include <compare>
#include <concepts>
#include <utility>

namespace Vok {

/// The base of a generated bounded number. Derived supplies rangeText, the message of its RangeError.
/// Converts to its number by itself, from a number only on request.
template <class Derived, class Rep, Rep Low, Rep High, Rep Default>
class BoundedNumber {
  public:
   using Number = Rep;
   static constexpr Rep lowest = Low;
   static constexpr Rep highest = High;

   constexpr BoundedNumber() = default;
   template <std::integral Given>
   explicit constexpr BoundedNumber(Given value) : value_(static_cast<Rep>(value)) {
      if (std::cmp_less(value, Low) || std::cmp_greater(value, High))
         throw RangeError(Derived::rangeText);
   }

   constexpr Rep value() const { return value_; }
   constexpr operator Rep() const { return value_; }
   U32 hash() const {
      Hash hash;
      hash.mix(value_);
      return hash.result();
   }

   friend constexpr bool operator==(const Derived& a, const Derived& b) { return a.value_ == b.value_; }
   friend constexpr std::strong_ordering operator<=>(const Derived& a, const Derived& b) {
      return a.value_ <=> b.value_;
   }

  protected:
   Rep value_ = Default;
};

/// The base of a bounded number declared `sums unchecked`. A sum is taken modulo the size of Rep and may
/// lie outside the bounds; whoever takes such numbers checks them.
template <class Derived, class Rep, Rep Low, Rep High, Rep Default>
class SummedNumber : public BoundedNumber<Derived, Rep, Low, High, Default> {
  public:
   using BoundedNumber<Derived, Rep, Low, High, Default>::BoundedNumber;
   static constexpr bool sumsUnchecked = true;

   template <class Added>
   requires std::convertible_to<Added, Rep>
   constexpr Derived& operator+=(Added added) {
      this->value_ = static_cast<Rep>(this->value_ + static_cast<Rep>(added));
      return static_cast<Derived&>(*this);
   }
   template <class Added>
   requires std::convertible_to<Added, Rep>
   friend constexpr Derived operator+(Derived sum, Added added) { return sum += added; }
};

/// The base of a generated bounded string of at most MaxBytes bytes.
template <class Derived, std::size_t MaxBytes>
class BoundedString {
  public:
   static constexpr std::size_t maxBytes = MaxBytes;

   BoundedString() = default;
   BoundedString(String text) : text_(std::move(text)) {
      if (text_.size() > MaxBytes)
         throw RangeError(Derived::rangeText);
   }
   BoundedString(std::string_view text) : BoundedString(String(text)) {}
   BoundedString(const char* text) : BoundedString(String(text)) {}

   const String& text() const { return text_; }
   bool empty() const { return text_.empty(); }
   bool operator!() const { return text_.empty(); }
   U32 hash() const { return hashOf(text_); }

   friend bool operator==(const Derived& a, const Derived& b) { return a.text_ == b.text_; }
   friend std::strong_ordering operator<=>(const Derived& a, const Derived& b) { return a.text_ <=> b.text_; }

  private:
   String text_;
};

template <class T>
concept IsBoundedNumber = requires {
   typename T::Number;
   T::lowest;
   T::highest;
};
template <class T>
concept IsBoundedString = requires(const T& v) {
   T::maxBytes;
   v.text();
};

template <class T>
requires IsBoundedNumber<T> String stringValue(const T& value) {
   return std::to_string(value.value());
}

template <class T>
requires IsBoundedString<T>
const String& stringValue(const T& value) {
   return value.text();
}

/// Reflection of a bounded number or string: its text and log form are those of what it holds.
class BoundedType final : public Type {
  public:
   /// `make` stores a checked value of the bounded type from one of the held type.
   BoundedType(std::string_view name, std::string_view doc, const Storage& storage, const Type& held,
               std::string_view rangeText, std::vector<Constant> constants,
               void (*make)(void* to, const void* held), const void* (*look)(const void* value));

   const Type& held() const { return held_; }
   std::string_view rangeText() const { return rangeText_; }

   void print(const void* value, String& out) const override { held_.print(look_(value), out); }
   void parse(TextParser& parser, void* value) const override;
   void writeLog(const void* value, NboAttrLog::Writer& log) const override {
      held_.writeLog(look_(value), log);
   }
   void readLog(NboAttrLog::Reader& log, void* value) const override;
   std::span<const Constant> constants() const override { return constants_; }
   void describe(String& out) const override;

  private:
   const Type& held_;
   String rangeText_;
   std::vector<Constant> constants_;
   void (*make_)(void*, const void*);
   const void* (*look_)(const void*);
};

/// Describes a generated bounded type. `constants` are its named bounds, in declared order.
template <class T>
BoundedType describeBounded(std::string_view name, std::string_view doc,
                            std::vector<Constant> constants = {}) {
   if constexpr (IsBoundedNumber<T>) {
      using Number = typename T::Number;
      static_assert(sizeof(T) == sizeof(Number));
      return BoundedType(
          name, doc, storageOf<T>(), typeOf<Number>(), T::rangeText, std::move(constants),
          [](void* to, const void* held) { *static_cast<T*>(to) = T(*static_cast<const Number*>(held)); },
          [](const void* value) { return value; });
   } else {
      return BoundedType(
          name, doc, storageOf<T>(), typeOf<String>(), T::rangeText, std::move(constants),
          [](void* to, const void* held) { *static_cast<T*>(to) = T(*static_cast<const String*>(held)); },
          [](const void* value) -> const void* { return &static_cast<const T*>(value)->text(); });
   }
}

} // namespace Vok
