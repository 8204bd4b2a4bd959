#pragma once
// Vok::Name: the name of an entity within its parent, and the key of collections of named things.

#include "Vok/Types.h"

#include <compare>
#include <functional>
#include <utility>

namespace Vok {

/// An entity's name. Any bytes are allowed; the empty name is the default and names nothing.
/// Ordered and compared byte by byte. Converts from text, never silently back to it.
class Name {
  public:
   Name() = default;
   Name(String text) : text_(std::move(text)) {}
   Name(const char* text) : text_(text) {}
   Name(std::string_view text) : text_(text) {}

   const String& text() const { return text_; }
   bool empty() const { return text_.empty(); }
   bool operator!() const { return text_.empty(); }

   bool operator==(const Name&) const = default;
   std::strong_ordering operator<=>(const Name&) const = default;

  private:
   String text_;
};

inline const String& stringValue(const Name& name) {
   return name.text();
}

} // namespace Vok
