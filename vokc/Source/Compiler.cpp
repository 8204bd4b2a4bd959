#include "vokc/Source/Compiler.h"

#include "vokc/Source/Checks.h"
#include "vokc/Source/Loader.h"
#include "vokc/Source/Resolver.h"

namespace vokc {

Compilation compile(const std::vector<std::filesystem::path>& roots, const std::string& file) {
   Diagnostics diagnostics;
   Loader loader(roots, diagnostics);
   loader.load(file);
   Compilation result;
   result.inputs = loader.paths();
   if (!result.inputs.empty()) {
      SymbolTable symbols;
      const Model::Schema schema = resolve(loader.files(), symbols, diagnostics);
      check(schema, diagnostics);
      if (!diagnostics.hasErrors()) {
         for (const Model::Unit& unit : schema.units) {
            for (OutputFile& output : emitUnit(unit, schema, symbols)) {
               result.outputs.push_back(std::move(output));
            }
         }
      }
   }
   result.messages = diagnostics.text();
   result.errors = diagnostics.errors();
   return result;
}

} // namespace vokc
