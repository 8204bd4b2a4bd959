#pragma once

#include "vokc/Source/Diagnostics.h"

#include <string>
#include <string_view>
#include <vector>

namespace vokc {

enum class TokenKind { identifier, number, string, symbol, end };

struct Token {
   TokenKind kind = TokenKind::end;
   std::string_view text; ///< as written; a string without its quotes
   Span span;
   std::vector<std::string> docsBefore; ///< `///` lines standing above the token
   std::vector<std::string> docsBehind; ///< `///` lines on the token's own line and its continuation

   bool is(std::string_view word) const {
      return (kind == TokenKind::identifier || kind == TokenKind::symbol) && text == word;
   }
};

/// Splits a file into tokens, the last of which is `end`. Characters that belong to no token are reported and
/// skipped. Symbols: `:: -> <= >= == != << &&` and single characters.
std::vector<Token> lex(const SourceFile& file, Diagnostics& diagnostics);

} // namespace vokc
