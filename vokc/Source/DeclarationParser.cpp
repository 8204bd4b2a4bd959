#include "vokc/Source/DeclarationParser.h"

#include <array>
#include <utility>

namespace vokc {

using Syntax::Declaration;
using Syntax::Member;
using Kind = Syntax::Member::Kind;

namespace {

constexpr std::array<std::pair<std::string_view, Declaration::Kind>, 8> declarationWords = {{
    {"enum", Declaration::Kind::enumeration},
    {"bounded", Declaration::Kind::bounded},
    {"flags", Declaration::Kind::flags},
    {"value", Declaration::Kind::value},
    {"row", Declaration::Kind::row},
    {"entity", Declaration::Kind::entity},
    {"machine", Declaration::Kind::machine},
    {"external", Declaration::Kind::external},
}};

/// Stands before the name of an attribute.
bool isModifier(const Token& token) {
   return token.is("logChecked") || token.is("counter");
}

bool isDeclarationWord(std::string_view word) {
   for (const auto& [known, kind] : declarationWords) {
      if (known == word) {
         return true;
      }
   }
   return false;
}

} // namespace

Declaration DeclarationParser::declaration() {
   Declaration declaration;
   const Token& word = tokens_.peek();
   declaration.docs = word.docsBefore;
   const auto* known = declarationWords.begin();
   while (known != declarationWords.end() && !word.is(known->first)) {
      ++known;
   }
   if (known == declarationWords.end()) {
      std::vector<std::string> candidates = {"namespace", "import", "unit"};
      for (const auto& candidate : declarationWords) {
         candidates.emplace_back(candidate.first);
      }
      tokens_.stop(word.span, "expected a declaration, found '" + std::string(word.text) + "'",
                   didYouMean(word.text, candidates));
   }
   declaration.kind = known->second;
   tokens_.take();
   if (declaration.kind == Declaration::Kind::external) {
      externalHead(declaration);
   } else {
      head(declaration);
   }
   return declaration;
}

void DeclarationParser::head(Declaration& declaration) {
   declaration.name = tokens_.expectName("the name of the type");
   declaration.span = declaration.name.span;
   if (tokens_.peek().is("(")) {
      constructorParameters(declaration);
   }
   if (tokens_.accept(":")) {
      declaration.base = expressions_.type();
   }
   body(declaration);
}

/// `external value IpGenAddr from "Kinet/IpGenAddr.h";`, with braces if it has something to tell.
void DeclarationParser::externalHead(Declaration& declaration) {
   declaration.externalKind = tokens_.expectName("'value' or 'entity' after 'external'");
   if (declaration.externalKind.text != "value" && declaration.externalKind.text != "entity") {
      tokens_.stop(declaration.externalKind.span, "expected 'value' or 'entity' after 'external', found '" +
                                                      declaration.externalKind.text + "'");
   }
   declaration.name = tokens_.expectName("the name of the type");
   declaration.span = declaration.name.span;
   if (tokens_.peek().is("(")) {
      constructorParameters(declaration);
   }
   tokens_.expect("from", "and the header that declares the type");
   declaration.header = tokens_.expectString("the header");
   if (tokens_.peek().is("{")) {
      body(declaration);
   } else {
      tokens_.expectSemicolon("the declaration");
      tokens_.takeDocsBehind(declaration.docs);
   }
}

/// `( name )`, `( key : RouteKey, ... )` or `( name, key : RouteKey )`; for a row the name of its key field,
/// `( prefix )`.
void DeclarationParser::constructorParameters(Declaration& declaration) {
   declaration.hasParentheses = true;
   declaration.parameters = expressions_.parameters(ExpressionParser::Untyped::allowed);
}

void DeclarationParser::body(Declaration& declaration) {
   const Span open = tokens_.expect("{", "before what '" + declaration.name.text + "' consists of").span;
   tokens_.takeDocsBehind(declaration.docs);
   while (!tokens_.atEnd() && !tokens_.peek().is("}")) {
      try {
         if (isDeclarationWord(tokens_.peek().text) && tokens_.peek(1).kind == TokenKind::identifier) {
            nested(declaration);
         } else {
            declaration.members.push_back(member(declaration.kind));
         }
      } catch (const ParseStop&) {
         tokens_.skipConstruct();
      }
   }
   if (!tokens_.accept("}")) {
      tokens_.stop(open, "'" + declaration.name.text + "' is not closed", "close it with '}'");
   }
   tokens_.takeDocsBehind(declaration.docs);
}

/// A type that lives in an entity.
void DeclarationParser::nested(Declaration& declaration) {
   Member member;
   member.kind = Kind::declaration;
   member.nested = declaration.nested.size();
   declaration.nested.push_back(this->declaration());
   member.name = declaration.nested.back().name;
   member.span = member.name.span;
   declaration.members.push_back(std::move(member));
}

Member DeclarationParser::member(Declaration::Kind kind) {
   Member member;
   member.docs = tokens_.peek().docsBefore;
   member.span = tokens_.peek().span;
   memberContent(member, kind);
   tokens_.expectSemicolon("'" + (member.name ? member.name.text : std::string(member.span.text())) + "'");
   tokens_.takeDocsBehind(member.docs);
   return member;
}

void DeclarationParser::memberContent(Member& member, Declaration::Kind kind) {
   const Token& first = tokens_.peek();
   const bool isList = kind == Declaration::Kind::enumeration || kind == Declaration::Kind::flags;
   if (first.kind != TokenKind::identifier) {
      tokens_.stop(first.span, "expected a member, found '" + std::string(first.text) + "'");
   } else if (tokens_.peek(1).is(":") || (isModifier(first) && tokens_.peek(2).is(":"))) {
      attribute(member);
   } else if (isList && (tokens_.peek(1).is("=") || tokens_.peek(1).is(";"))) {
      enumerator(member);
   } else if (startsOperation()) {
      operation(member);
   } else {
      named(member);
   }
}

void DeclarationParser::enumerator(Member& member) {
   member.kind = Kind::enumerator;
   member.name = tokens_.expectName("the name of an enumerator");
   if (tokens_.accept("=")) {
      member.value = expressions_.expression();
   }
}

void DeclarationParser::attribute(Member& member) {
   member.kind = Kind::attribute;
   if (!tokens_.peek(1).is(":")) {
      member.words.push_back(tokens_.expectName("a modifier"));
   }
   member.name = tokens_.expectName("the name of an attribute");
   member.span = member.name.span;
   tokens_.expect(":", "between the name and its type");
   member.type = expressions_.type();
   if (tokens_.accept("=")) {
      member.value = expressions_.expression();
   }
   if (tokens_.accept("check")) {
      member.target = tokens_.expectName("the name of the function that checks");
      if (tokens_.accept("by")) {
         member.targetBy = tokens_.expectName("what the function gets, after 'by'");
      }
   }
}

bool DeclarationParser::startsOperation() const {
   std::size_t ahead = 0;
   while (tokens_.peek(ahead).is("static") || tokens_.peek(ahead).is("const")) {
      ++ahead;
   }
   return tokens_.peek(ahead).is("operation") || tokens_.peek(ahead).is("handler") || ahead != 0;
}

void DeclarationParser::operation(Member& member) {
   member.kind = Kind::operation;
   while (tokens_.peek().is("static") || tokens_.peek().is("const")) {
      member.words.push_back(tokens_.expectName("a modifier"));
   }
   if (tokens_.accept("handler")) {
      member.kind = Kind::handler;
   } else {
      tokens_.expect("operation", "after 'static' or 'const'");
   }
   member.name = tokens_.expectName("the name of the function");
   member.span = member.name.span;
   member.parameters = expressions_.parameters();
   if (tokens_.accept(":")) {
      member.type = expressions_.type();
   }
}

/// Members that start with a word of their own.
void DeclarationParser::named(Member& member) {
   const std::string word(tokens_.peek().text);
   if (word == "constant") {
      tokens_.take();
      member.kind = Kind::constant;
      member.name = tokens_.expectName("the name of a constant");
      member.span = member.name.span;
      if (tokens_.accept(":")) {
         member.type = expressions_.type();
      }
      tokens_.expect("=", "and the constant's value");
      member.value = expressions_.expression();
   } else if (word == "derived") {
      tokens_.take();
      member.kind = Kind::derived;
      member.name = tokens_.expectName("the name of a derived attribute");
      member.span = member.name.span;
      tokens_.expect(":", "between the name and its type");
      member.type = expressions_.type();
   } else if (word == "invariant") {
      tokens_.take();
      member.kind = Kind::invariant;
      member.value = expressions_.expression();
      member.span = member.value->span;
      if (tokens_.accept(":")) {
         member.message = tokens_.expectString("the invariant's message");
      }
   } else if (word == "range") {
      tokens_.take();
      member.kind = Kind::range;
      member.value = expressions_.expression();
      tokens_.expect("to", "between the bounds of the range");
      member.upper = expressions_.expression();
   } else if (word == "length" || word == "default") {
      tokens_.take();
      member.kind = word == "length" ? Kind::length : Kind::byDefault;
      member.value = expressions_.expression();
   } else if (word == "constructor") {
      tokens_.take();
      member.kind = Kind::constructor;
      member.parameters = expressions_.parameters();
   } else if (word == "react") {
      react(member);
   } else {
      directive(member);
   }
}

void DeclarationParser::react(Member& member) {
   tokens_.take();
   member.kind = Kind::react;
   member.name = tokens_.expectName("the name of the reactor");
   member.span = member.name.span;
   tokens_.expect("to", "and what the reactor watches");
   do {
      member.watched.push_back(tokens_.expectName("what the reactor watches"));
      if (tokens_.accept("[")) {
         tokens_.expect("]", "after '['");
         member.watched.push_back({"[]", tokens_.lastSpan()});
      }
   } while (tokens_.accept("."));
   if (tokens_.accept("->")) {
      member.target = tokens_.expectName("the handler to call");
   }
   if (tokens_.accept("all")) {
      member.targetAll = tokens_.expectName("the handler of the whole collection");
   }
   if (tokens_.accept("start")) {
      member.targetStart = tokens_.expectName("the handler of a new member");
   }
   if (!member.target && !member.targetAll) {
      tokens_.expect("->", "and the handler to call");
   }
}

void DeclarationParser::directive(Member& member) {
   member.kind = Kind::directive;
   while (tokens_.peek().kind == TokenKind::identifier) {
      member.words.push_back(tokens_.expectName("a word"));
   }
   member.span = joined(member.words.front().span, member.words.back().span);
}

} // namespace vokc
