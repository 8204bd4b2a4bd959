#include "vokc/Source/SourceFile.h"

#include <algorithm>

namespace vokc {

SourceFile::SourceFile(std::string name, std::string text) : name_(std::move(name)), text_(std::move(text)) {
   lineStart_.push_back(0);
   for (std::uint32_t i = 0; i < text_.size(); ++i) {
      if (text_[i] == '\n') {
         lineStart_.push_back(i + 1);
      }
   }
}

SourceFile::Position SourceFile::position(std::uint32_t offset) const {
   const auto next = std::upper_bound(lineStart_.begin(), lineStart_.end(), offset);
   const auto line = static_cast<std::uint32_t>(next - lineStart_.begin());
   return {line, offset - lineStart_[line - 1] + 1};
}

std::string_view SourceFile::line(std::uint32_t number) const {
   const std::uint32_t begin = lineStart_[number - 1];
   std::string_view rest = std::string_view(text_).substr(begin);
   rest = rest.substr(0, rest.find('\n'));
   if (rest.ends_with('\r')) {
      rest.remove_suffix(1);
   }
   return rest;
}

Span joined(Span first, Span last) {
   return {first.file, first.begin, std::max(first.end, last.end)};
}

} // namespace vokc
