#include "vokc/Source/Loader.h"

#include "vokc/Source/Parser.h"

#include <algorithm>
#include <fstream>
#include <sstream>

namespace vokc {
namespace {

/// What every file may name without an import: the runtime's own entities.
constexpr const char* prelude = R"(
namespace Vok;
external entity Entity( name ) from "Vok/Entity.h";
external entity Dir( name ) from "Vok/Dir.h" { entityPtr : map< Name, Name >; }
)";

std::optional<std::string> contents(const std::filesystem::path& path) {
   std::error_code none;
   std::ifstream in(path, std::ios::binary);
   if (!in || std::filesystem::is_directory(path, none)) {
      return std::nullopt;
   }
   std::ostringstream text;
   text << in.rdbuf();
   return std::move(text).str();
}

} // namespace

Loader::Loader(std::vector<std::filesystem::path> roots, Diagnostics& diagnostics)
    : roots_(std::move(roots)), diagnostics_(diagnostics) {
   add("<built in>", prelude);
}

void Loader::load(const std::string& name) {
   load(name, Span());
}

void Loader::load(const std::string& name, Span importedAt) {
   const std::string normal = std::filesystem::path(name).lexically_normal().generic_string();
   if (const auto known = states_.find(normal); known != states_.end()) {
      if (known->second == State::reading) {
         reportCycle(normal, importedAt);
      }
      return;
   }
   for (const std::filesystem::path& root : roots_) {
      const std::filesystem::path path = root / normal;
      if (std::optional<std::string> text = contents(path)) {
         paths_.push_back(path);
         states_[normal] = State::reading;
         reading_.push_back(normal);
         add(normal, std::move(*text));
         reading_.pop_back();
         states_[normal] = State::read;
         return;
      }
   }
   std::string searched;
   for (const std::filesystem::path& root : roots_) {
      searched += (searched.empty() ? "" : ", ") + root.generic_string();
   }
   states_[normal] = State::read; // reported once is enough
   diagnostics_.error(importedAt, "cannot read '" + normal + "'",
                      "looked in " + searched + " (-I adds a folder to look in)");
}

void Loader::add(const std::string& name, std::string text) {
   sources_.push_back(std::make_unique<SourceFile>(name, std::move(text)));
   Syntax::File file = parse(*sources_.back(), diagnostics_);
   for (const Syntax::Import& import : file.imports) {
      load(import.path, import.span);
   }
   files_.push_back(std::move(file));
}

void Loader::reportCycle(const std::string& name, Span importedAt) {
   std::string chain;
   for (auto file = std::find(reading_.begin(), reading_.end(), name); file != reading_.end(); ++file) {
      chain += *file + " imports ";
   }
   diagnostics_.error(importedAt, "imports go round in a circle: " + chain + name,
                      "move what they share into a file of its own");
}

} // namespace vokc
