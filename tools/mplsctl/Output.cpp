#include "tools/mplsctl/Output.h"

#include "tools/mplsctl/Command.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace mplsctl {

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

void TextTable::print(Output& out) const {
   std::vector<std::size_t> width;
   for (const Column& column : columns_)
      width.push_back(column.title.size());
   for (const auto& row : rows_)
      for (std::size_t i = 0; i < row.size(); ++i)
         width[i] = std::max(width[i], row[i].size());

   const auto line = [&](auto&& cell) {
      for (std::size_t i = 0; i < columns_.size(); ++i) {
         const bool last = i + 1 == columns_.size();
         const std::string_view text = cell(i);
         if (columns_[i].align == Align::right)
            out.print("{:>{}}", text, width[i]);
         else
            out.print("{:<{}}", text, last ? 0 : width[i]);
         out << (last ? "\n" : "  ");
      }
   };
   if (out.colour())
      out << "\033[1m";
   line([&](std::size_t i) -> std::string_view { return columns_[i].title; });
   if (out.colour())
      out << "\033[0m";
   for (const auto& row : rows_)
      line([&](std::size_t i) -> std::string_view { return row[i]; });
}

} // namespace mplsctl
