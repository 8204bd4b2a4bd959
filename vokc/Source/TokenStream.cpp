#include "vokc/Source/TokenStream.h"

#include <algorithm>

namespace vokc {

TokenStream::TokenStream(const SourceFile& file, Diagnostics& diagnostics)
    : diagnostics_(diagnostics), tokens_(lex(file, diagnostics)), last_(&tokens_.front()) {}

const Token& TokenStream::peek(std::size_t ahead) const {
   return tokens_[std::min(at_ + ahead, tokens_.size() - 1)];
}

const Token& TokenStream::take() {
   last_ = &peek();
   if (!atEnd()) {
      ++at_;
   }
   return *last_;
}

bool TokenStream::accept(std::string_view word) {
   if (!peek().is(word)) {
      return false;
   }
   take();
   return true;
}

const Token& TokenStream::expect(std::string_view word, std::string_view where) {
   if (!peek().is(word)) {
      stop(peek().span, "expected '" + std::string(word) + "' " + std::string(where) + ", found " + found());
   }
   return take();
}

Syntax::Word TokenStream::expectName(std::string_view what) {
   if (peek().kind != TokenKind::identifier) {
      stop(peek().span, "expected " + std::string(what) + ", found " + found());
   }
   const Token& token = take();
   return {std::string(token.text), token.span};
}

std::string TokenStream::expectString(std::string_view what) {
   if (peek().kind != TokenKind::string) {
      stop(peek().span, "expected " + std::string(what) + " in double quotes, found " + found());
   }
   return unescaped(take().text);
}

std::string TokenStream::unescaped(std::string_view literal) {
   std::string text;
   for (std::size_t i = 0; i < literal.size(); ++i) {
      const bool escape = literal[i] == '\\' && i + 1 < literal.size();
      text += literal[escape ? ++i : i];
   }
   return text;
}

void TokenStream::expectSemicolon(std::string_view construct) {
   if (!accept(";")) {
      const Span last = lastSpan();
      stop({last.file, last.end, last.end + 1},
           "expected ';' after " + std::string(construct) + ", found " + found());
   }
}

void TokenStream::takeDocsBehind(Syntax::Docs& docs) const {
   docs.insert(docs.end(), last_->docsBehind.begin(), last_->docsBehind.end());
}

void TokenStream::stop(Span span, std::string text, std::string mend) {
   diagnostics_.error(span, std::move(text), std::move(mend));
   throw ParseStop();
}

void TokenStream::skipConstruct() {
   int depth = 0;
   while (!atEnd()) {
      if (peek().is("}") && depth == 0) {
         return;
      }
      const Token& token = take();
      if (token.is("{")) {
         ++depth;
      } else if (token.is("}")) {
         if (--depth == 0) {
            return;
         }
      } else if (token.is(";") && depth == 0) {
         return;
      }
   }
}

std::string TokenStream::found() const {
   switch (peek().kind) {
   case TokenKind::end:
      return "the end of the file";
   case TokenKind::string:
      return "a string";
   default:
      return "'" + std::string(peek().text) + "'";
   }
}

} // namespace vokc
