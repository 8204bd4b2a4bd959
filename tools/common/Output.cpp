#include "tools/common/Output.h"

#include "tools/common/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <unistd.h>

namespace tools {

Output::Output(int descriptor) : descriptor_(descriptor) {
   const char* noColour = std::getenv("NO_COLOR");
   colour_ = isatty(descriptor) && !(noColour && *noColour);
   buffer_.reserve(portion);
}

Output::~Output() {
   try {
      flush();
   } catch (const Failure&) {
   }
}

void Output::flush() {
   const char* at = buffer_.data();
   std::size_t left = gone_ ? 0 : buffer_.size();
   while (left > 0) {
      const ssize_t written = write(descriptor_, at, left);
      if (written < 0 && errno == EINTR)
         continue;
      if (written < 0 && errno == EPIPE) {
         gone_ = true;
         break;
      }
      if (written < 0) {
         buffer_.clear();
         throw Failure(Outcome::failed, fmt::format("cannot write the output: {}", std::strerror(errno)));
      }
      at += written;
      left -= static_cast<std::size_t>(written);
   }
   buffer_.clear();
}

void Output::printArguments(fmt::string_view format, fmt::format_args args) {
   room(0);
   fmt::vformat_to(std::back_inserter(buffer_), format, args);
}

void Output::jsonString(std::string_view text) {
   *this << '"';
   for (const char c : text) {
      if (c == '"' || c == '\\')
         *this << '\\' << c;
      else if (c == '\n')
         *this << "\\n";
      else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
         print("\\u{:04x}", static_cast<unsigned>(c));
      else
         *this << c;
   }
   *this << '"';
}

TextTable::TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {
   for (const Column& column : columns_)
      widths_.push_back(column.title.size());
}

TextTable& TextTable::cell(std::string_view text) {
   std::size_t& width = widths_[ends_.size() % columns_.size()];
   width = std::max(width, text.size());
   text_ += text;
   ends_.push_back(text_.size());
   return *this;
}

std::string_view TextTable::textOf(std::size_t cell) const {
   const std::size_t start = cell == 0 ? 0 : ends_[cell - 1];
   return std::string_view(text_).substr(start, ends_[cell] - start);
}

void TextTable::printLine(Output& out, std::size_t firstCell) const {
   for (std::size_t i = 0; i < columns_.size(); ++i) {
      const bool title = firstCell == titles;
      const std::string_view text = title ? columns_[i].title : textOf(firstCell + i);
      const std::size_t rest = widths_[i] - text.size();
      const bool last = i + 1 == columns_.size();
      if (columns_[i].align == Align::right)
         out.blanks(rest);
      out << text;
      if (columns_[i].align == Align::left && !last)
         out.blanks(rest);
      out << (last ? "\n" : "  ");
   }
}

void TextTable::print(Output& out) const {
   if (out.colour())
      out << "\033[1m";
   printLine(out, titles);
   if (out.colour())
      out << "\033[0m";
   for (std::size_t cell = 0; cell + columns_.size() <= ends_.size(); cell += columns_.size())
      printLine(out, cell);
}

} // namespace tools
