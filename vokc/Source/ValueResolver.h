#pragma once

#include "vokc/Source/ExpressionResolver.h"
#include "vokc/Source/TypeResolver.h"

namespace vokc {

/// Fills the model of values and rows from what was written, and of members that entities have too.
class ValueResolver {
  public:
   ValueResolver(const SymbolTable& symbols, Diagnostics& diagnostics)
       : diagnostics_(diagnostics), types_(symbols, diagnostics), expressions_(symbols, diagnostics) {}

   void resolve(const Syntax::Declaration& declaration, Model::Value& type) const;

   /// A constant of a value, an entity or an external type.
   void constant(const Syntax::Member& member, const Model::Type& owner,
                 std::vector<Model::Constant>& constants) const;
   /// An operation, handler, derived attribute or extra constructor.
   std::unique_ptr<Model::Function> function(const Syntax::Member& member, const Model::Type& owner) const;

  private:
   void field(const Syntax::Member& member, Model::Value& type) const;
   void check(const Syntax::Member& member, Model::Attribute& field) const;
   void invariant(const Syntax::Member& member, Model::Value& type) const;
   void directive(const Syntax::Member& member, Model::Value& type) const;
   void key(const Syntax::Declaration& declaration, Model::Value& type) const;

   Diagnostics& diagnostics_;
   TypeResolver types_;
   ExpressionResolver expressions_;
};

} // namespace vokc
