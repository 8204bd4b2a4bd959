#include "vokc/Source/Diagnostics.h"

#include <algorithm>

namespace vokc {

void Diagnostics::error(Span span, std::string text, std::string mend) {
   if (!mend.empty()) {
      text += "; " + mend;
   }
   entries_.push_back({{span, std::move(text)}, {}});
   ++errors_;
}

void Diagnostics::note(Span span, std::string text) {
   if (!entries_.empty() && span.file) {
      entries_.back().notes.push_back({span, std::move(text)});
   }
}

std::string Diagnostics::text() const {
   // Later stages report on earlier lines; people read a file from its top. Files keep the order in which
   // they first appeared.
   std::vector<const SourceFile*> files;
   for (const Entry& entry : entries_) {
      if (std::find(files.begin(), files.end(), entry.error.span.file) == files.end()) {
         files.push_back(entry.error.span.file);
      }
   }
   std::string out;
   for (const SourceFile* file : files) {
      std::vector<const Entry*> inFile;
      for (const Entry& entry : entries_) {
         if (entry.error.span.file == file) {
            inFile.push_back(&entry);
         }
      }
      std::stable_sort(inFile.begin(), inFile.end(), [](const Entry* a, const Entry* b) {
         return a->error.span.begin < b->error.span.begin;
      });
      for (const Entry* entry : inFile) {
         write(out, "error", entry->error);
         for (const Message& message : entry->notes) {
            write(out, "note", message);
         }
      }
   }
   return out;
}

void Diagnostics::write(std::string& out, const char* kind, const Message& message) {
   if (!message.span.file) {
      out += "vokc: " + std::string(kind) + ": " + message.text + "\n";
      return;
   }
   const SourceFile& file = *message.span.file;
   const auto [line, column] = file.position(message.span.begin);
   out += file.name() + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + kind + ": " +
          message.text + "\n";

   const std::string_view source = file.line(line);
   out += "   ";
   out += source;
   out += "\n   ";
   // Tabs are repeated, so that the caret stands under its character at any tab width.
   for (std::uint32_t i = 0; i + 1 < column && i < source.size(); ++i) {
      out += source[i] == '\t' ? '\t' : ' ';
   }
   const std::size_t rest = source.size() >= column ? source.size() - column + 1 : 0;
   const std::size_t length = message.span.end - message.span.begin;
   out += '^';
   out.append(std::min(length, rest) > 1 ? std::min(length, rest) - 1 : 0, '~');
   out += "\n";
}

namespace {

/// Insertions, removals, replacements and swaps of neighbours between two words.
std::size_t distance(std::string_view a, std::string_view b) {
   std::vector<std::vector<std::size_t>> steps(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
   for (std::size_t i = 0; i <= a.size(); ++i) {
      for (std::size_t j = 0; j <= b.size(); ++j) {
         if (i == 0 || j == 0) {
            steps[i][j] = i + j;
            continue;
         }
         const std::size_t replaced = steps[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
         steps[i][j] = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, replaced});
         if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
            steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
         }
      }
   }
   return steps[a.size()][b.size()];
}

} // namespace

std::string nearest(std::string_view word, const std::vector<std::string>& candidates) {
   std::string best;
   // A third of the word may be wrong, but something of it must be right.
   std::size_t bestDistance = std::min(std::max<std::size_t>(1, word.size() / 3) + 1, word.size());
   for (const std::string& candidate : candidates) {
      const std::size_t d = distance(word, candidate);
      if (d < bestDistance) {
         best = candidate;
         bestDistance = d;
      }
   }
   return best;
}

std::string inQuotes(std::string_view text) {
   return "'" + std::string(text) + "'";
}

std::string didYouMean(std::string_view word, const std::vector<std::string>& candidates) {
   const std::string best = nearest(word, candidates);
   return best.empty() ? std::string() : "did you mean " + inQuotes(best) + "?";
}

} // namespace vokc
