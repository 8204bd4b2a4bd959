#pragma once

#include "vokc/Source/Lexer.h"
#include "vokc/Source/Syntax.h"

namespace vokc {

/// Raised to leave a construct that cannot be parsed; whoever knows where the next one starts catches it.
struct ParseStop {};

/// The tokens of one file with a place in them, and the questions that a parser asks.
class TokenStream {
  public:
   TokenStream(const SourceFile& file, Diagnostics& diagnostics);

   const Token& peek(std::size_t ahead = 0) const;
   const Token& take();
   bool atEnd() const { return peek().kind == TokenKind::end; }

   bool accept(std::string_view word);
   /// Takes `word` or reports "expected 'word' <where>, found ..." and stops.
   const Token& expect(std::string_view word, std::string_view where);
   Syntax::Word expectName(std::string_view what);
   std::string expectString(std::string_view what);
   /// The characters that a string literal stands for.
   static std::string unescaped(std::string_view literal);
   /// Expects the `;` behind a construct. It is reported where it is missing, behind the last token.
   void expectSemicolon(std::string_view construct);
   /// Takes the docs that stand behind the last token taken.
   void takeDocsBehind(Syntax::Docs& docs) const;

   Span lastSpan() const { return last_->span; }
   [[noreturn]] void stop(Span span, std::string text, std::string mend = {});
   /// Goes behind the next `;`, or before the next `}`, of this nesting level.
   void skipConstruct();

  private:
   std::string found() const;

   Diagnostics& diagnostics_;
   std::vector<Token> tokens_;
   std::size_t at_ = 0;
   const Token* last_;
};

} // namespace vokc
