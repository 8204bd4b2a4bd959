#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// Reads JSON one entry of the outermost object or array at a time, so that a large table is never a document
/// in memory, and every value knows its line.

namespace mplsctl {

struct JsonNode {
   enum class Kind { null, boolean, number, string, object, array };
   Kind kind = Kind::null;
   std::uint32_t line = 0;
   std::string key;  ///< within an object
   std::string text; ///< a string's value, a number as written in decimal, "true", "false"
   std::vector<JsonNode> children;

   bool isTrue() const { return kind == Kind::boolean && text == "true"; }
   /// A string or a number, which some programs write for each other.
   bool isWord() const { return kind == Kind::string || kind == Kind::number; }
};

/// Where the text stops being JSON.
struct JsonError {
   std::uint32_t line = 0;
   std::string what; ///< empty when all is well
};

/// Calls `entry` with each entry of the outermost object or array, in order. Of an array that stands there
/// under the key `opened`, it gets each element instead.
JsonError eachJsonEntry(std::string_view text, const std::function<void(const JsonNode&)>& entry,
                        std::string_view opened = {});

} // namespace mplsctl
