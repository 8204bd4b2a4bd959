#pragma once

#include <fmt/core.h>

#include <concepts>
#include <string>
#include <string_view>
#include <vector>

/// Text on its way to standard output: collected in one buffer that goes out 64 KiB at a time.

namespace tools {

class Output {
  public:
   /// Writes to the descriptor, which stays the caller's.
   explicit Output(int descriptor = 1);
   /// Writes what is left; an error is lost here: call flush() where it matters.
   ~Output();
   Output(const Output&) = delete;
   Output& operator=(const Output&) = delete;

   Output& operator<<(std::string_view text) {
      room(text.size());
      buffer_ += text;
      return *this;
   }
   /// So many blanks.
   void blanks(std::size_t count) {
      while (count-- > 0)
         *this << ' ';
   }
   Output& operator<<(char c) {
      room(1);
      buffer_.push_back(c);
      return *this;
   }
   template <class... Args>
   void print(fmt::format_string<Args...> format, Args&&... args) {
      printArguments(format, fmt::make_format_args(args...));
   }
   /// A JSON string, quotes included.
   void jsonString(std::string_view text);

   /// Writes what is collected. Raises Failure when it cannot; a reader that has gone away is no error.
   void flush();
   /// True once the reader of the output has gone away (`... | head`): nothing more need be said.
   bool isGone() const { return gone_; }

   /// True when colour is wanted: a terminal, and NO_COLOR is not set.
   bool colour() const { return colour_; }

  private:
   static constexpr std::size_t portion = 64 * 1024;
   void room(std::size_t bytes) {
      if (buffer_.size() + bytes > portion)
         flush();
   }

   void printArguments(fmt::string_view format, fmt::format_args args);

   int descriptor_;
   bool colour_;
   bool gone_ = false; ///< nobody reads any more
   std::string buffer_;
};

/// A table for people: every column as wide as its widest cell, two blanks between columns. Keeps its cells
/// in one text, so that a hundred thousand lines cost what they hold.
class TextTable {
  public:
   enum class Align { left, right };
   struct Column {
      std::string_view title;
      Align align = Align::left;
   };

   explicit TextTable(std::vector<Column> columns);
   /// The next cell, line by line from left to right.
   TextTable& cell(std::string_view text);
   template <std::integral Number>
   TextTable& cell(Number number) {
      return cell(std::to_string(number));
   }
   bool empty() const { return ends_.empty(); }
   /// Prints the titles and all lines.
   void print(Output& out) const;

  private:
   static constexpr std::size_t titles = ~std::size_t(0); ///< in place of a line's first cell
   std::string_view textOf(std::size_t cell) const;
   void printLine(Output& out, std::size_t firstCell) const;

   std::vector<Column> columns_;
   std::vector<std::size_t> widths_;
   std::string text_;
   std::vector<std::size_t> ends_; ///< of the cells in text_
};

} // namespace tools
