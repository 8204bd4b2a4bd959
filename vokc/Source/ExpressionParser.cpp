#include "vokc/Source/ExpressionParser.h"

namespace vokc {

using Syntax::Expression;

std::string Syntax::Path::text() const {
   std::string text;
   for (const Word& word : words) {
      text += (text.empty() ? "" : "::") + word.text;
   }
   return text;
}

Syntax::Path ExpressionParser::path(std::string_view what) {
   Syntax::Path path;
   path.words.push_back(tokens_.expectName(what));
   while (tokens_.accept("::")) {
      path.words.push_back(tokens_.expectName("a name after '::'"));
   }
   return path;
}

Syntax::Type ExpressionParser::type() {
   Syntax::Type type;
   const Span first = tokens_.peek().span;
   type.isConst = tokens_.peek().is("const") && tokens_.accept("const");
   if (tokens_.peek().is("ordered")) { // `ordered map< K, V >`: two words, one kind of collection
      const Span ordered = tokens_.take().span;
      Syntax::Word word = tokens_.expectName("'map' or 'set' after 'ordered'");
      if (word.text != "map" && word.text != "set") {
         tokens_.stop(word.span, "expected 'map' or 'set' after 'ordered', found '" + word.text + "'");
      }
      type.name.words.push_back({"ordered " + word.text, joined(ordered, word.span)});
   } else {
      type.name = path("a type");
   }
   if (tokens_.accept("<")) {
      do {
         type.arguments.push_back(argument());
      } while (tokens_.accept(","));
      tokens_.expect(">", "at the end of the type's arguments");
   }
   if (tokens_.accept("[")) {
      type.index = std::make_unique<Syntax::Type>(this->type());
      tokens_.expect("]", "at the end of the array's index");
   }
   type.span = joined(first, tokens_.lastSpan());
   return type;
}

Syntax::Type ExpressionParser::argument() {
   Syntax::Type argument = type();
   if (tokens_.accept("by")) {
      argument.by = tokens_.expectName("the name of the key after 'by'");
   }
   return argument;
}

std::vector<Syntax::Parameter> ExpressionParser::parameters(Untyped untyped) {
   std::vector<Syntax::Parameter> parameters;
   tokens_.expect("(", "before the parameters");
   if (tokens_.accept(")")) {
      return parameters;
   }
   do {
      Syntax::Word name = tokens_.expectName("the name of a parameter");
      if (untyped == Untyped::allowed && !tokens_.peek().is(":")) {
         parameters.push_back({std::move(name), std::nullopt});
         continue;
      }
      tokens_.expect(":", "between a parameter's name and its type");
      parameters.push_back({std::move(name), type()});
   } while (tokens_.accept(","));
   tokens_.expect(")", "after the parameters");
   return parameters;
}

namespace {

Expression binary(Expression left, std::string operation, Expression right) {
   Expression result;
   result.kind = Expression::Kind::binary;
   result.span = joined(left.span, right.span);
   result.text = std::move(operation);
   result.operands.push_back(std::move(left));
   result.operands.push_back(std::move(right));
   return result;
}

} // namespace

Expression ExpressionParser::expression() {
   Expression left = sum();
   for (const std::string_view comparison : {"<=", ">=", "==", "!=", "<", ">"}) {
      if (tokens_.accept(comparison)) {
         return binary(std::move(left), std::string(comparison), sum());
      }
   }
   return left;
}

Expression ExpressionParser::sum() {
   Expression left = product();
   while (tokens_.peek().is("+") || tokens_.peek().is("-")) {
      std::string operation(tokens_.take().text);
      left = binary(std::move(left), std::move(operation), product());
   }
   return left;
}

Expression ExpressionParser::product() {
   Expression left = primary();
   while (tokens_.peek().is("*") || tokens_.peek().is("<<")) {
      std::string operation(tokens_.take().text);
      left = binary(std::move(left), std::move(operation), primary());
   }
   return left;
}

Expression ExpressionParser::primary() {
   Expression result;
   const Token& token = tokens_.peek();
   result.span = token.span;
   result.text = std::string(token.text);
   if (token.kind == TokenKind::number) {
      tokens_.take();
   } else if (token.kind == TokenKind::string) {
      result.kind = Expression::Kind::string;
      result.text = TokenStream::unescaped(token.text);
      tokens_.take();
   } else if (token.is("true") || token.is("false")) {
      result.kind = Expression::Kind::boolean;
      tokens_.take();
   } else if (token.kind == TokenKind::identifier) {
      result.kind = Expression::Kind::path;
      result.path = path("a name");
      result.span = result.path.span();
      result.text = result.path.text();
   } else if (token.is("-")) {
      tokens_.take();
      result.kind = Expression::Kind::negative;
      result.operands.push_back(primary());
      result.span = joined(result.span, result.operands.front().span);
   } else if (token.is("(")) {
      return tuple();
   } else {
      tokens_.stop(token.span, "expected a value, found '" + result.text + "'");
   }
   return result;
}

/// `( 16, 99984 )`: the fields of a value; `( a + b )`: a parenthesis.
Expression ExpressionParser::tuple() {
   Expression result;
   result.kind = Expression::Kind::tuple;
   result.span = tokens_.take().span;
   if (!tokens_.peek().is(")")) {
      do {
         result.operands.push_back(expression());
      } while (tokens_.accept(","));
   }
   tokens_.expect(")", "at the end of the values");
   result.span = joined(result.span, tokens_.lastSpan());
   return result;
}

} // namespace vokc
