#pragma once

#include "vokc/Source/ValueResolver.h"

namespace vokc {

/// Fills the model of entities and machines from what was written, in two steps: what an entity has, and,
/// when all entities are known, what it refers to and reacts to.
class EntityResolver {
  public:
   EntityResolver(const SymbolTable& symbols, const ValueResolver& values, Diagnostics& diagnostics)
       : symbols_(symbols), values_(values), diagnostics_(diagnostics), types_(symbols, diagnostics),
         expressions_(symbols, diagnostics) {}

   void resolve(const Syntax::Declaration& declaration, Model::Entity& type) const;
   void connect(const Syntax::Declaration& declaration, Model::Entity& type) const;

  private:
   void base(const Syntax::Declaration& declaration, Model::Entity& type) const;
   void parameters(const Syntax::Declaration& declaration, Model::Entity& type) const;
   void attribute(const Syntax::Member& member, Model::Entity& type) const;
   void directive(const Syntax::Member& member, Model::Entity& type) const;
   void overrideDerived(Model::Entity& type) const;
   void referenceKey(Model::Attribute& attribute, Span span) const;
   void check(const Syntax::Member& member, Model::Attribute& attribute, Model::Entity& type) const;
   void reactor(const Syntax::Member& member, Model::Entity& type) const;
   bool watched(const Syntax::Member& member, const Model::Entity& type, Model::Reactor& reactor) const;
   const Model::Function* handler(const Syntax::Word& name, const std::vector<Model::Parameter>& parameters,
                                  Model::Entity& type) const;
   const Model::Attribute* find(const Syntax::Word& name, const Model::Entity& type) const;

   const SymbolTable& symbols_;
   const ValueResolver& values_;
   Diagnostics& diagnostics_;
   TypeResolver types_;
   ExpressionResolver expressions_;
};

} // namespace vokc
