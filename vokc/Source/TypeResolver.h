#pragma once

#include "vokc/Source/SymbolTable.h"

namespace vokc {

/// Turns written types into resolved ones, on behalf of the declaration `user` in which they stand.
class TypeResolver {
  public:
   TypeResolver(const SymbolTable& symbols, Diagnostics& diagnostics)
       : symbols_(symbols), diagnostics_(diagnostics) {}

   /// The type of a parameter, a result or a derived attribute: a value, or a pointer to an entity.
   Model::TypeUse use(const Syntax::Type& type, const Model::Type& user) const;
   std::vector<Model::Parameter> parameters(const std::vector<Syntax::Parameter>& parameters,
                                            const Model::Type& user) const;

   /// A value type declared above `user`; null after a report.
   const Model::Type* value(const Syntax::Type& type, const Model::Type& user) const;
   /// A number, text or Bool type.
   const Model::Builtin* builtin(const Syntax::Type& type, const Model::Type& user) const;

   /// Name, kind, type and key of a field or attribute; false after a report. The key of `references` is
   /// left to EntityResolver, since their entity may be declared below.
   bool attribute(const Syntax::Member& member, const Model::Type& user, Model::Attribute& attribute) const;

  private:
   using Kind = Model::Attribute::Kind;

   bool collection(const Syntax::Type& type, Kind kind, const Model::Type& user,
                   Model::Attribute& attribute) const;
   bool array(const Syntax::Type& type, const Model::Type& user, Model::Attribute& attribute) const;
   bool keyedValues(const Syntax::Type& type, const Model::Type& user, Model::Attribute& attribute) const;
   bool children(const Syntax::Type& type, Kind kind, const Model::Type& user,
                 Model::Attribute& attribute) const;
   bool table(const Syntax::Type& type, const Model::Type& user, Model::Attribute& attribute) const;

   const Model::Type* key(const Syntax::Type& type, Kind kind, const Model::Type& user) const;
   const Model::Type* entity(const Syntax::Type& type, const Model::Type& user, bool mustStandAbove) const;
   bool standsAbove(const Model::Type& type, Span span, const Model::Type& user) const;
   bool argumentCount(const Syntax::Type& type, std::size_t count, std::string_view example) const;
   bool belongsHere(const Syntax::Type& type, Kind kind, const Model::Type& user) const;

   const SymbolTable& symbols_;
   Diagnostics& diagnostics_;
};

} // namespace vokc
