#include "vokc/Source/SymbolTable.h"

namespace vokc {

using Model::Builtin;

namespace {

std::string joinedName(const std::vector<std::string>& scope, std::size_t depth,
                       const std::vector<std::string>& words) {
   std::string name;
   for (std::size_t i = 0; i < depth; ++i) {
      name += scope[i] + "::";
   }
   for (std::size_t i = 0; i < words.size(); ++i) {
      name += (i ? "::" : "") + words[i];
   }
   return name;
}

} // namespace

SymbolTable::SymbolTable() {
   const auto add = [this](const char* name, Builtin::Sort sort, unsigned bits = 0, bool isSigned = false) {
      builtins_.push_back(std::make_unique<Builtin>(name, sort, bits, isSigned));
      types_.emplace(builtins_.back()->qualifiedName(), builtins_.back().get());
   };
   add("Bool", Builtin::Sort::boolean);
   add("U8", Builtin::Sort::number, 8);
   add("U16", Builtin::Sort::number, 16);
   add("U32", Builtin::Sort::number, 32);
   add("U64", Builtin::Sort::number, 64);
   add("S32", Builtin::Sort::number, 32, true);
   add("S64", Builtin::Sort::number, 64, true);
   add("F64", Builtin::Sort::floating);
   add("String", Builtin::Sort::string);
   add("Name", Builtin::Sort::name);
   namespaces_.emplace("Vok", Span());
}

void SymbolTable::add(Model::Type& type, Diagnostics& diagnostics) {
   const std::string name = type.qualifiedName();
   std::string outer;
   for (const std::string& part : type.scope) {
      outer += (outer.empty() ? "" : "::") + part;
      if (type.parent && outer == type.parent->qualifiedName()) {
         break; // a nested type
      }
      if (const auto clash = types_.find(outer); clash != types_.end()) {
         diagnostics.error(type.span, "namespace '" + outer + "' has the name of a type");
         diagnostics.note(clash->second->span, "the type is declared here");
      }
      namespaces_.emplace(outer, type.span);
   }
   const auto known = types_.find(name);
   if (known != types_.end()) {
      diagnostics.error(type.span, "'" + name + "' is declared twice");
      diagnostics.note(known->second->span, "the first declaration is here");
   } else if (const auto clash = namespaces_.find(name); clash != namespaces_.end()) {
      diagnostics.error(type.span, "'" + name + "' is the name of a namespace");
      diagnostics.note(clash->second, "it holds this declaration");
   } else {
      types_.emplace(name, &type);
   }
}

Model::Type* SymbolTable::find(const std::vector<std::string>& words, const Scope& scope) const {
   for (std::size_t depth = scope.size() + 1; depth-- > 0;) {
      const auto found = types_.find(joinedName(scope, depth, words));
      if (found != types_.end()) {
         return found->second;
      }
   }
   const auto builtin = words.size() == 1 ? types_.find("Vok::" + words.front()) : types_.end();
   return builtin != types_.end() && builtin->second->kind == Model::Type::Kind::builtin ? builtin->second
                                                                                         : nullptr;
}

Model::Type* SymbolTable::find(const Syntax::Path& path, const Scope& scope) const {
   std::vector<std::string> words;
   for (const Syntax::Word& word : path.words) {
      words.push_back(word.text);
   }
   return find(words, scope);
}

Model::Type* SymbolTable::expect(const Syntax::Path& path, const Scope& scope,
                                 Diagnostics& diagnostics) const {
   Model::Type* type = find(path, scope);
   if (!type) {
      std::vector<std::string> candidates;
      for (const auto& [name, known] : types_) {
         const bool isBuiltin = known->kind == Model::Type::Kind::builtin;
         candidates.push_back(isBuiltin ? known->name : spelled(*known, scope));
         candidates.push_back(name);
      }
      diagnostics.error(path.span(), "unknown type '" + path.text() + "'",
                        didYouMean(path.text(), candidates));
   }
   return type;
}

const Builtin* SymbolTable::builtin(std::string_view name) const {
   return static_cast<const Builtin*>(types_.find("Vok::" + std::string(name))->second);
}

bool SymbolTable::isNamespace(const std::string& name) const {
   return namespaces_.contains(name);
}

std::string SymbolTable::spelled(const Model::Type& type, const Scope& scope) const {
   const std::vector<std::string>& home = type.scope;
   for (std::size_t kept = 0; kept <= home.size(); ++kept) {
      // C++ settles the first word alone: the innermost namespace that knows it must be the right one.
      std::vector<std::string> words(home.end() - static_cast<std::ptrdiff_t>(kept), home.end());
      words.push_back(type.name);
      const std::vector<std::string> first = {words.front()};
      for (std::size_t depth = scope.size() + 1; depth-- > 0;) {
         const std::string bound = joinedName(scope, depth, first);
         if (types_.contains(bound) || isNamespace(bound)) {
            const std::string whole = joinedName(scope, depth, words);
            if (whole == type.qualifiedName()) {
               return joinedName({}, 0, words);
            }
            break;
         }
      }
   }
   return "::" + type.qualifiedName();
}

} // namespace vokc
