#pragma once
// The identifier of a router in IS-IS.

#include "Vok/Hash.h"
#include "Vok/Type.h"

#include <array>
#include <compare>

namespace Routing::Isis {

/// Six bytes in the order they are sent. Text form: "0102.0304.0506", lower-case, always four digits a
/// group; upper-case digits parse. Log form and packed row: the six bytes.
class SystemId {
  public:
   constexpr SystemId() = default;
   /// From the six bytes at `bytes`.
   explicit constexpr SystemId(const Vok::U8* bytes) {
      for (std::size_t i = 0; i < bytes_.size(); ++i)
         bytes_[i] = bytes[i];
   }

   /// Six bytes, which live as long as this object.
   constexpr const Vok::U8* bytes() const { return bytes_.data(); }

   constexpr bool operator!() const { return *this == SystemId(); }
   constexpr bool operator==(const SystemId&) const = default;
   constexpr std::strong_ordering operator<=>(const SystemId&) const = default;
   Vok::U32 hash() const;

   Vok::String stringValue() const;
   void print(Vok::String& out) const;
   /// Raises ParseError.
   static void parseText(Vok::TextParser& parser, SystemId& value);
   void writeLog(Vok::NboAttrLog::Writer& log) const;
   static void readLog(Vok::NboAttrLog::Reader& log, SystemId& value);

   static constexpr std::size_t packedSize = 6;
   void pack(Vok::U8* at) const;
   /// Any six bytes are an identifier.
   bool unpack(const Vok::U8* at);

   static const Vok::Type& vokType();

  private:
   std::array<Vok::U8, 6> bytes_{};
};

} // namespace Routing::Isis
