// vokc: compiles type descriptions to C++. See docs/vok.md.

#include "vokc/Source/Compiler.h"

#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>

namespace {

namespace fs = std::filesystem;

constexpr const char* usage = R"(usage: vokc [-I DIR]... -o OUTDIR [--depfile FILE] FILE.vok

Compiles a type description to C++: OUTDIR/<folder>/<Unit>.h and <Unit>.gen.cpp for each of its units.

   FILE.vok          path from one of the folders given with -I
   -I DIR            look for FILE.vok and its imports in DIR; the current folder when there is none
   -o OUTDIR         write the generated files below OUTDIR; those that did not change are left alone
   --depfile FILE    write what the outputs depend on, for make and ninja
   --help            print this text

Exit status: 0 done, 1 errors in the description or in writing, 2 wrong usage.
)";

struct Options {
   std::vector<fs::path> roots;
   fs::path output;
   std::optional<fs::path> depfile;
   std::string file;
   bool help = false;
};

/// Raised for a wrong command line, with what is wrong.
struct UsageError {
   std::string text;
};

Options parseArguments(const std::vector<std::string>& arguments) {
   Options options;
   for (std::size_t i = 0; i < arguments.size(); ++i) {
      const std::string& argument = arguments[i];
      const auto value = [&]() -> const std::string& {
         if (i + 1 == arguments.size()) {
            throw UsageError{argument + " needs a value"};
         }
         return arguments[++i];
      };
      if (argument == "--help" || argument == "-h") {
         options.help = true;
      } else if (argument == "-I") {
         options.roots.emplace_back(value());
      } else if (argument == "-o") {
         options.output = value();
      } else if (argument == "--depfile") {
         options.depfile = value();
      } else if (argument.starts_with("-")) {
         throw UsageError{"unknown option " + argument};
      } else if (!options.file.empty()) {
         throw UsageError{"one file at a time: " + options.file + " and " + argument};
      } else {
         options.file = argument;
      }
   }
   if (!options.help && (options.file.empty() || options.output.empty())) {
      throw UsageError{options.file.empty() ? "no file given" : "-o OUTDIR is missing"};
   }
   if (options.roots.empty()) {
      options.roots.emplace_back(".");
   }
   return options;
}

std::optional<std::string> contents(const fs::path& path) {
   std::ifstream in(path, std::ios::binary);
   std::ostringstream text;
   text << in.rdbuf();
   return in ? std::optional(std::move(text).str()) : std::nullopt;
}

/// Writes through a temporary file, so that nobody ever reads half of one.
void write(const fs::path& path, const std::string& text) {
   if (contents(path) == text) {
      return;
   }
   fs::create_directories(path.parent_path().empty() ? "." : path.parent_path());
   const fs::path temporary = path.string() + ".new";
   std::ofstream out(temporary, std::ios::binary);
   out << text;
   out.close();
   if (!out) {
      throw fs::filesystem_error("cannot write", path, std::make_error_code(std::errc::io_error));
   }
   fs::rename(temporary, path);
}

std::string escaped(const std::string& path) {
   std::string result;
   for (const char c : path) {
      result += c == ' ' ? "\\ " : std::string(1, c);
   }
   return result;
}

std::string dependencies(const Options& options, const vokc::Compilation& compilation) {
   std::string text;
   for (const vokc::OutputFile& output : compilation.outputs) {
      text += (text.empty() ? "" : " ") + escaped((options.output / output.path).generic_string());
   }
   text += ":";
   for (const fs::path& input : compilation.inputs) {
      text += " \\\n  " + escaped(fs::absolute(input).lexically_normal().generic_string());
   }
   return text + "\n";
}

int run(const Options& options) {
   const vokc::Compilation compilation = vokc::compile(options.roots, options.file);
   std::cerr << compilation.messages;
   if (compilation.errors != 0) {
      std::cerr << "vokc: " << compilation.errors << (compilation.errors == 1 ? " error" : " errors")
                << "; nothing was written\n";
      return 1;
   }
   for (const vokc::OutputFile& output : compilation.outputs) {
      write(options.output / output.path, output.text);
   }
   if (options.depfile) {
      write(*options.depfile, dependencies(options, compilation));
   }
   return 0;
}

} // namespace

int main(int count, char** arguments) {
   try {
      const Options options = parseArguments({arguments + 1, arguments + count});
      if (options.help) {
         std::cout << usage;
         return 0;
      }
      return run(options);
   } catch (const UsageError& error) {
      std::cerr << "vokc: " << error.text << "\n" << usage;
      return 2;
   } catch (const std::exception& error) {
      std::cerr << "vokc: " << error.what() << "\n";
      return 1;
   }
}
