#pragma once

#include "vokc/Source/ExpressionResolver.h"
#include "vokc/Source/TypeResolver.h"

namespace vokc {

/// Fills the model of enumerations, bounded types and flag sets from what was written.
class ScalarResolver {
  public:
   ScalarResolver(const SymbolTable& symbols, Diagnostics& diagnostics)
       : diagnostics_(diagnostics), symbols_(symbols), types_(symbols, diagnostics),
         expressions_(symbols, diagnostics) {}

   void resolve(const Syntax::Declaration& declaration, Model::Enumeration& type) const;
   void resolve(const Syntax::Declaration& declaration, Model::Bounded& type) const;
   void resolve(const Syntax::Declaration& declaration, Model::Flags& type) const;

  private:
   const Model::Builtin* storage(const Syntax::Declaration& declaration, const Model::Type& owner,
                                 std::string_view byDefault) const;
   std::optional<Model::Number> number(const Syntax::Member& member, const Model::Type& owner,
                                       const Model::Builtin& type) const;
   void boundedNumber(const Syntax::Declaration& declaration, Model::Bounded& type) const;
   void boundedText(const Syntax::Declaration& declaration, Model::Bounded& type) const;
   void flag(const Syntax::Member& member, Model::Flags& type) const;

   Diagnostics& diagnostics_;
   const SymbolTable& symbols_;
   TypeResolver types_;
   ExpressionResolver expressions_;
};

} // namespace vokc
