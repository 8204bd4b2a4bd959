#pragma once

#include "vokc/Source/ExpressionParser.h"

namespace vokc {

/// Declarations of types and what stands in their braces. A member that cannot be read is reported and left
/// out; the rest of its declaration stands.
class DeclarationParser {
  public:
   explicit DeclarationParser(TokenStream& tokens) : tokens_(tokens), expressions_(tokens) {}

   Syntax::Declaration declaration();

  private:
   void head(Syntax::Declaration& declaration);
   void externalHead(Syntax::Declaration& declaration);
   void constructorParameters(Syntax::Declaration& declaration);
   void body(Syntax::Declaration& declaration);
   void nested(Syntax::Declaration& declaration);
   Syntax::Member member(Syntax::Declaration::Kind kind);
   void memberContent(Syntax::Member& member, Syntax::Declaration::Kind kind);
   void enumerator(Syntax::Member& member);
   void attribute(Syntax::Member& member);
   void named(Syntax::Member& member);
   void react(Syntax::Member& member);
   void directive(Syntax::Member& member);
   bool startsOperation() const;
   void operation(Syntax::Member& member);

   TokenStream& tokens_;
   ExpressionParser expressions_;
};

} // namespace vokc
