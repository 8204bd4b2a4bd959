#pragma once
// Reading and writing of the generated text forms, for example
// "Value('Mpls::LabelRange', ** {'base': 16, 'size': 99984})".

#include "Vok/Errors.h"
#include "Vok/Types.h"

namespace Vok {

/// Appends a text in single quotes; quotes, backslashes and bytes outside printable ASCII are escaped
/// (\' \\ \n \xNN), so that the result is printable and reads back as it was.
void printQuoted(std::string_view text, String& out);

/// Reads a text form from the left. Every function consumes what it recognises and raises ParseError,
/// naming the place, what was wanted and what stands there, when it does not.
class TextParser {
  public:
   explicit TextParser(std::string_view text) : text_(text) {}

   /// Consumes exactly `literal`.
   void expect(std::string_view literal);
   /// Consumes `literal` if it stands here.
   bool accept(std::string_view literal);
   /// A decimal number from 0 to `max`, without sign; leading zeros are refused.
   U64 unsignedNumber(U64 max);
   S64 signedNumber(S64 min, S64 max);
   F64 floatingNumber();
   /// "True" or "False".
   bool boolean();
   /// An identifier: letters, digits and underscores.
   std::string_view word();
   /// A text in single quotes, as printQuoted writes it.
   String quoted();
   /// The longest run of characters that `belongs` accepts; may be empty.
   template <class Predicate>
   std::string_view take(Predicate belongs) {
      std::size_t size = 0;
      while (at_ + size < text_.size() && belongs(text_[at_ + size]))
         ++size;
      return advance(size);
   }

   std::string_view rest() const { return text_.substr(at_); }
   bool atEnd() const { return at_ == text_.size(); }
   /// Raises ParseError unless everything was consumed.
   void expectEnd();

   [[noreturn]] void fail(std::string_view wanted) const;

  private:
   std::string_view advance(std::size_t size) {
      const std::string_view taken = text_.substr(at_, size);
      at_ += size;
      return taken;
   }

   std::string_view text_;
   std::size_t at_ = 0;
};

} // namespace Vok
