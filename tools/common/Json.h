#pragma once

#include "tools/common/Output.h"

#include <concepts>

/// Writes JSON as a stream, with no document in memory. The entries of the outer objects or arrays stand on
/// lines of their own, so that large dumps stay readable and can be cut by line.

namespace tools {

class Json {
  public:
   /// Entries of the outermost `lineDepth` levels begin a line; with 0 all stands on one line.
   explicit Json(Output& out, std::size_t lineDepth = 1) : out_(out), lineDepth_(lineDepth) {}

   Json& object() { return open('{'); }
   Json& array() { return open('['); }
   /// Closes the innermost object or array.
   Json& end();
   Json& key(std::string_view name) {
      separate();
      out_.jsonString(name);
      out_ << ':';
      afterKey_ = true;
      return *this;
   }
   Json& value(std::string_view text) {
      separate();
      out_.jsonString(text);
      return *this;
   }
   Json& value(const char* text) { return value(std::string_view(text)); }
   Json& value(bool truth) {
      separate();
      out_ << (truth ? "true" : "false");
      return *this;
   }
   template <std::integral Number>
   Json& value(Number number) {
      separate();
      out_.print("{}", number);
      return *this;
   }
   template <class Value>
   Json& field(std::string_view name, const Value& content) {
      return key(name).value(content);
   }

  private:
   Json& open(char bracket) {
      separate();
      out_ << bracket;
      closing_.push_back(bracket == '{' ? '}' : ']');
      first_ = true;
      return *this;
   }
   void separate();

   Output& out_;
   std::size_t lineDepth_;
   std::string closing_; ///< the brackets that are to close, outermost first
   bool first_ = true;
   bool afterKey_ = false;
};

} // namespace tools
