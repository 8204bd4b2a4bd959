#pragma once

#include "vokc/Source/ExpressionResolver.h"
#include "vokc/Source/TypeResolver.h"

namespace vokc {

/// Fills the model of enumerations, bounded types, flag sets, values and rows from what was written.
class ValueResolver {
  public:
   ValueResolver(const SymbolTable& symbols, Diagnostics& diagnostics)
       : diagnostics_(diagnostics), symbols_(symbols), types_(symbols, diagnostics),
         expressions_(symbols, diagnostics) {}

   void resolve(const Syntax::Declaration& declaration, Model::Enumeration& type) const;
   void resolve(const Syntax::Declaration& declaration, Model::Bounded& type) const;
   void resolve(const Syntax::Declaration& declaration, Model::Flags& type) const;
   void resolve(const Syntax::Declaration& declaration, Model::Value& type) const;

   /// A constant of a value, an entity or an external type.
   void constant(const Syntax::Member& member, const Model::Type& owner,
                 std::vector<Model::Constant>& constants) const;
   /// An operation, handler, derived attribute or extra constructor.
   std::unique_ptr<Model::Function> function(const Syntax::Member& member, const Model::Type& owner) const;

  private:
   const Model::Builtin* storage(const Syntax::Declaration& declaration, const Model::Type& owner,
                                 std::string_view byDefault) const;
   std::optional<Model::Number> number(const Syntax::Member& member, const Model::Type& owner,
                                       const Model::Builtin& type) const;
   void boundedNumber(const Syntax::Declaration& declaration, Model::Bounded& type) const;
   void boundedText(const Syntax::Declaration& declaration, Model::Bounded& type) const;
   void flag(const Syntax::Member& member, Model::Flags& type) const;
   void field(const Syntax::Member& member, Model::Value& type) const;
   void check(const Syntax::Member& member, Model::Attribute& field) const;
   void invariant(const Syntax::Member& member, Model::Value& type) const;
   void directive(const Syntax::Member& member, Model::Value& type) const;
   void key(const Syntax::Declaration& declaration, Model::Value& type) const;

   Diagnostics& diagnostics_;
   const SymbolTable& symbols_;
   TypeResolver types_;
   ExpressionResolver expressions_;
};

/// Reports a member that has no place in its declaration.
void reportMisplaced(const Syntax::Member& member, std::string_view where, Diagnostics& diagnostics);

/// The words of a directive, "order by hand".
std::string phrase(const Syntax::Member& member);

} // namespace vokc
