#include "vokc/Source/Lexer.h"

#include <array>
#include <cctype>

namespace vokc {
namespace {

bool isWordStart(char c) {
   return std::isalpha(static_cast<unsigned char>(c)) || c == '_';
}
bool isWord(char c) {
   return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

class Lexer {
  public:
   Lexer(const SourceFile& file, Diagnostics& diagnostics)
       : file_(file), text_(file.text()), diagnostics_(diagnostics) {}

   std::vector<Token> run() {
      while (true) {
         skipBlanks();
         if (at_ >= text_.size()) {
            break;
         }
         if (startsWith("///")) {
            doc();
         } else if (startsWith("//")) {
            lineRest();
         } else if (startsWith("/*")) {
            blockComment();
         } else {
            token();
         }
      }
      add(TokenKind::end, static_cast<std::uint32_t>(text_.size()));
      return std::move(tokens_);
   }

  private:
   bool startsWith(std::string_view prefix) const { return text_.substr(at_).starts_with(prefix); }

   void skipBlanks() {
      while (at_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[at_]))) {
         ++at_;
      }
   }

   std::string_view lineRest() {
      const std::size_t end = std::min(text_.find('\n', at_), text_.size());
      std::string_view rest = text_.substr(at_, end - at_);
      at_ = static_cast<std::uint32_t>(end);
      while (!rest.empty() && std::isspace(static_cast<unsigned char>(rest.back()))) {
         rest.remove_suffix(1);
      }
      return rest;
   }

   /// A doc comment behind a token belongs to that token; one on a line of its own belongs to what follows,
   /// unless it continues, in the same column, a comment that stands behind a token.
   void doc() {
      const auto [line, column] = file_.position(at_);
      std::string_view text = lineRest().substr(3);
      if (text.starts_with(' ')) {
         text.remove_prefix(1);
      }
      const bool behind = !tokens_.empty() && file_.position(tokens_.back().span.begin).line == line;
      const bool continues = docBehind_ && line == docLine_ + 1 && column == docColumn_;
      if (behind || continues) {
         tokens_.back().docsBehind.emplace_back(text);
         docBehind_ = true;
      } else {
         docs_.emplace_back(text);
         docBehind_ = false;
      }
      docLine_ = line;
      docColumn_ = column;
   }

   void blockComment() {
      const std::size_t end = text_.find("*/", at_ + 2);
      if (end == std::string_view::npos) {
         diagnostics_.error({&file_, at_, at_ + 2}, "comment does not end", "close it with '*/'");
         at_ = static_cast<std::uint32_t>(text_.size());
         return;
      }
      at_ = static_cast<std::uint32_t>(end + 2);
   }

   void token() {
      const std::uint32_t begin = at_;
      const char c = text_[at_];
      if (isWordStart(c)) {
         skipWord();
         add(TokenKind::identifier, begin);
      } else if (std::isdigit(static_cast<unsigned char>(c))) {
         number(begin);
      } else if (c == '"') {
         string(begin);
      } else {
         symbol(begin);
      }
   }

   void skipWord() {
      while (at_ < text_.size() && isWord(text_[at_])) {
         ++at_;
      }
   }

   void number(std::uint32_t begin) {
      skipWord();
      if (at_ + 1 < text_.size() && text_[at_] == '.' &&
          std::isdigit(static_cast<unsigned char>(text_[at_ + 1]))) {
         ++at_;
         skipWord();
      }
      add(TokenKind::number, begin);
   }

   void string(std::uint32_t begin) {
      ++at_;
      while (at_ < text_.size() && text_[at_] != '"' && text_[at_] != '\n') {
         at_ += text_[at_] == '\\' ? 2 : 1;
      }
      if (at_ >= text_.size() || text_[at_] != '"') {
         at_ = static_cast<std::uint32_t>(std::min<std::size_t>(at_, text_.size()));
         diagnostics_.error({&file_, begin, at_}, "string does not end",
                            "close it with '\"' on the same line");
         add(TokenKind::string, begin);
         tokens_.back().text = tokens_.back().text.substr(1);
         return;
      }
      ++at_;
      add(TokenKind::string, begin);
      tokens_.back().text = tokens_.back().text.substr(1, tokens_.back().text.size() - 2);
   }

   void symbol(std::uint32_t begin) {
      static constexpr std::array<std::string_view, 8> pairs = {
          "::", "->", "<=", ">=", "==", "!=", "<<", "&&"};
      for (const std::string_view pair : pairs) {
         if (startsWith(pair)) {
            at_ += 2;
            add(TokenKind::symbol, begin);
            return;
         }
      }
      static constexpr std::string_view singles = "{}()[]<>:;,.=+-*!";
      ++at_;
      if (singles.find(text_[begin]) == std::string_view::npos) {
         while (at_ < text_.size() && (text_[at_] & 0xc0) == 0x80) {
            ++at_; // the rest of a UTF-8 character
         }
         diagnostics_.error({&file_, begin, at_},
                            "'" + std::string(text_.substr(begin, at_ - begin)) + "' has no meaning here");
         return;
      }
      add(TokenKind::symbol, begin);
   }

   void add(TokenKind kind, std::uint32_t begin) {
      Token token;
      token.kind = kind;
      token.span = {&file_, begin, at_};
      token.text = token.span.text();
      token.docsBefore = std::move(docs_);
      docs_.clear();
      docBehind_ = false;
      tokens_.push_back(std::move(token));
   }

   const SourceFile& file_;
   std::string_view text_;
   Diagnostics& diagnostics_;
   std::vector<Token> tokens_;
   std::vector<std::string> docs_;
   std::uint32_t at_ = 0;
   bool docBehind_ = false;
   std::uint32_t docLine_ = 0;
   std::uint32_t docColumn_ = 0;
};

} // namespace

std::vector<Token> lex(const SourceFile& file, Diagnostics& diagnostics) {
   return Lexer(file, diagnostics).run();
}

} // namespace vokc
