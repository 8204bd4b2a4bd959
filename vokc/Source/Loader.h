#pragma once

#include "vokc/Source/Diagnostics.h"
#include "vokc/Source/Syntax.h"

#include <filesystem>
#include <map>
#include <memory>
#include <vector>

namespace vokc {

/// Reads a file and all that it imports, each once.
class Loader {
  public:
   Loader(std::vector<std::filesystem::path> roots, Diagnostics& diagnostics);

   /// Loads `name`, a path from one of the roots. What cannot be read is reported.
   void load(const std::string& name);

   /// The files read, every one behind those that it imports; the first is the built-in prelude.
   const std::vector<Syntax::File>& files() const { return files_; }
   /// Where the files were found, for the build's list of dependencies.
   const std::vector<std::filesystem::path>& paths() const { return paths_; }

  private:
   enum class State { reading, read };
   void load(const std::string& name, Span importedAt);
   void reportCycle(const std::string& name, Span importedAt);
   void add(const std::string& name, std::string text);

   std::vector<std::filesystem::path> roots_;
   Diagnostics& diagnostics_;
   std::vector<std::unique_ptr<SourceFile>> sources_;
   std::vector<Syntax::File> files_;
   std::vector<std::filesystem::path> paths_;
   std::map<std::string, State> states_;
   std::vector<std::string> reading_; ///< the chain of imports down to the file being read
};

} // namespace vokc
