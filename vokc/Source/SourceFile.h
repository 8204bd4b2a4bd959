#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vokc {

/// One .vok file in memory. Tokens, spans and syntax trees point into its text, so that it outlives them all.
class SourceFile {
  public:
   /// `name` is what messages and includes call the file: its path from the include root, or as it was given.
   SourceFile(std::string name, std::string text);

   const std::string& name() const { return name_; }
   std::string_view text() const { return text_; }

   struct Position {
      std::uint32_t line;   ///< counts from 1
      std::uint32_t column; ///< counts from 1, in bytes
   };
   Position position(std::uint32_t offset) const;
   /// The line without its line break.
   std::string_view line(std::uint32_t number) const;

  private:
   std::string name_;
   std::string text_;
   std::vector<std::uint32_t> lineStart_;
};

/// A stretch of a file. A span without a file belongs to nothing that was written (built-in names).
struct Span {
   const SourceFile* file = nullptr;
   std::uint32_t begin = 0;
   std::uint32_t end = 0;

   std::string_view text() const {
      return file ? file->text().substr(begin, end - begin) : std::string_view();
   }
};

/// The span from the start of `first` to the end of `last`, which stands in the same file.
Span joined(Span first, Span last);

} // namespace vokc
