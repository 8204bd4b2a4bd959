#pragma once

#include "vokc/Source/Diagnostics.h"
#include "vokc/Source/Model.h"
#include "vokc/Source/Syntax.h"

#include <map>

namespace vokc {

/// All named types of a run, found as C++ finds names: from the innermost namespace outwards.
class SymbolTable {
  public:
   using Scope = std::vector<std::string>;

   SymbolTable();

   /// Adds `type`; reports a second declaration of its name, which is then left out.
   void add(Model::Type& type, Diagnostics& diagnostics);

   Model::Type* find(const Syntax::Path& path, const Scope& scope) const;
   /// As `find`, but reports an unknown type at the path.
   Model::Type* expect(const Syntax::Path& path, const Scope& scope, Diagnostics& diagnostics) const;
   const Model::Builtin* builtin(std::string_view name) const;

   /// The shortest way to write `type` in namespace `scope` of a C++ file.
   std::string spelled(const Model::Type& type, const Scope& scope) const;

  private:
   Model::Type* find(const std::vector<std::string>& words, const Scope& scope) const;
   bool isNamespace(const std::string& name) const;

   std::vector<std::unique_ptr<Model::Builtin>> builtins_;
   std::map<std::string, Model::Type*, std::less<>> types_;
   std::map<std::string, Span> namespaces_;
};

} // namespace vokc
