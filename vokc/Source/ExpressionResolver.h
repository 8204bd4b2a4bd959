#pragma once

#include "vokc/Source/SymbolTable.h"

#include <memory>

namespace vokc {

/// Looks up what an expression names and computes what can be computed.
class ExpressionResolver {
  public:
   ExpressionResolver(const SymbolTable& symbols, Diagnostics& diagnostics)
       : symbols_(symbols), diagnostics_(diagnostics) {}

   /// A constant expression for something of type `expected`: checked to be of that type and within its
   /// bounds. Single words mean constants of `owner` and enumerators of `expected`. Null after a report.
   std::unique_ptr<Model::Expression> value(const Syntax::Expression& expression, const Model::Type& owner,
                                            const Model::Type& expected) const;

   /// A comparison between fields of `owner`, constants and numbers. Null after a report.
   std::unique_ptr<Model::Expression> condition(const Syntax::Expression& expression,
                                                const Model::Value& owner) const;

  private:
   struct Place {
      const Model::Type& owner;
      const Model::Type* expected;
      bool fields; ///< names may mean fields of the owner
   };
   using Result = std::optional<Model::Expression>;

   Result resolve(const Syntax::Expression& expression, const Place& place) const;
   Result number(const Syntax::Expression& expression) const;
   Result path(const Syntax::Expression& expression, const Place& place) const;
   Result member(const Syntax::Expression& expression, const Model::Type& type,
                 const std::string& name) const;
   Result arithmetic(const Syntax::Expression& expression, const Place& place) const;
   Result tuple(const Syntax::Expression& expression, const Place& place) const;
   void reportUnknown(const Syntax::Expression& expression, const Place& place) const;

   bool fits(const Model::Expression& value, const Model::Type& expected) const;
   bool withinBounds(const Model::Expression& value, const Model::Type& expected) const;

   const SymbolTable& symbols_;
   Diagnostics& diagnostics_;
};

using Model::numberText;

/// Lowest and highest number of a built-in or bounded number type.
struct Bounds {
   Model::Number lowest;
   Model::Number highest;
};
std::optional<Bounds> boundsOf(const Model::Type& type);

} // namespace vokc
