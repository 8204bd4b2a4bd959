#pragma once

#include "vokc/Source/TokenStream.h"

namespace vokc {

/// Types, names with `::`, parameter lists and expressions. Every function raises ParseStop after it has
/// reported what it could not read.
class ExpressionParser {
  public:
   explicit ExpressionParser(TokenStream& tokens) : tokens_(tokens) {}

   Syntax::Path path(std::string_view what);
   Syntax::Type type();
   enum class Untyped { refused, allowed };
   std::vector<Syntax::Parameter> parameters(Untyped untyped = Untyped::refused);
   /// A comparison of sums, or less: `size <= 1048576 - base`.
   Syntax::Expression expression();

  private:
   Syntax::Type argument();
   Syntax::Expression sum();
   Syntax::Expression product();
   Syntax::Expression primary();
   Syntax::Expression tuple();

   TokenStream& tokens_;
};

} // namespace vokc
