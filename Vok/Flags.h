#pragma once
// Flag sets: up to 32 named bits in a 32-bit number.

#include "Vok/Storage.h"

#include <compare>

namespace Vok {

/// The base of a generated flag set. Universal is the number with every defined bit set. Derived
/// supplies rangeText, and per flag f a getter f(), a setter f_( bool ) and the constant f_().
template <class Derived, U32 Universal>
class FlagSet {
  public:
   static constexpr U32 universal = Universal;

   constexpr FlagSet() = default;
   /// Raises RangeError when an undefined bit is set.
   explicit constexpr FlagSet(U32 value) : value_(value) {
      if (value > Universal)
         throw RangeError(Derived::rangeText);
   }

   /// Every flag set, and none.
   static constexpr Derived vokUniversal() { return Derived(Universal); }
   static constexpr Derived vokEmpty() { return Derived(); }

   constexpr U32 value() const { return value_; }
   constexpr bool operator!() const { return value_ == 0; }
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
   constexpr bool bit(unsigned number) const { return (value_ >> number & 1) != 0; }
   constexpr void bitIs(unsigned number, bool on) {
      const U32 mask = U32(1) << number;
      value_ = on ? value_ | mask : value_ & ~mask;
   }

  private:
   U32 value_ = 0;
};

template <class T>
concept IsFlagSet = requires(const T& v) {
   T::universal;
   v.value();
   T::vokEmpty();
};

struct Flag {
   std::string_view name;
   unsigned bit;
   std::string_view doc;
};

enum class FlagsText : U8 { fields, bare };
enum class FlagsLog : U8 { checked, unchecked };

/// Reflection of a flag set. Its text form names every flag; with FlagsText::bare the only flag's
/// boolean stands alone. Its log form is the 32-bit number.
class FlagsType final : public Type {
  public:
   FlagsType(std::string_view name, std::string_view doc, const Storage& storage, std::span<const Flag> flags,
             std::string_view rangeText, FlagsText text, FlagsLog log);

   std::span<const Flag> flags() const { return flags_; }

   void print(const void* value, String& out) const override;
   void parse(TextParser& parser, void* value) const override;
   void writeLog(const void* value, NboAttrLog::Writer& log) const override;
   void readLog(NboAttrLog::Reader& log, void* value) const override;
   void checkRange(const void* value) const override;
   String textForm() const override;
   void describe(String& out) const override;

  private:
   U32 universal() const;

   std::span<const Flag> flags_;
   String rangeText_;
   FlagsText text_;
   FlagsLog log_;
};

template <class T>
FlagsType describeFlags(std::string_view name, std::string_view doc, std::span<const Flag> flags,
                        FlagsText text = FlagsText::fields, FlagsLog log = FlagsLog::checked) {
   static_assert(sizeof(T) == sizeof(U32));
   return FlagsType(name, doc, storageOf<T>(), flags, T::rangeText, text, log);
}

} // namespace Vok
