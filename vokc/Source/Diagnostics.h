#pragma once

#include "vokc/Source/SourceFile.h"

#include <string>
#include <vector>

namespace vokc {

/// Collects what is wrong with the input, so that one run reports every mistake and not only the first.
class Diagnostics {
  public:
   /// Reports an error at `span`. `mend` says what to do about it and follows the text after a semicolon.
   void error(Span span, std::string text, std::string mend = {});
   /// Points from the error before it to the place that it speaks of.
   void note(Span span, std::string text);

   bool hasErrors() const { return errors_ != 0; }
   std::size_t errors() const { return errors_; }

   /// All messages, in the order of their places in each file: `file:line:column: error: text`, the source
   /// line and a caret line below it. Notes stay with their error.
   std::string text() const;

  private:
   struct Message {
      Span span;
      std::string text;
   };
   struct Entry {
      Message error;
      std::vector<Message> notes;
   };
   static void write(std::string& out, const char* kind, const Message& message);

   std::vector<Entry> entries_;
   std::size_t errors_ = 0;
};

/// `text` as messages show what was written: 'text'.
std::string inQuotes(std::string_view text);

/// The word of `candidates` that `word` was probably meant to be, or nothing when none is near.
std::string nearest(std::string_view word, const std::vector<std::string>& candidates);

/// "did you mean 'x'?" for the nearest candidate, or nothing.
std::string didYouMean(std::string_view word, const std::vector<std::string>& candidates);

} // namespace vokc
