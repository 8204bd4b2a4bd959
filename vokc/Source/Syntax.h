#pragma once

#include "vokc/Source/SourceFile.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What the parser makes of a file: everything that was written, nothing looked up yet.
namespace vokc::Syntax {

using Docs = std::vector<std::string>;

struct Word {
   std::string text;
   Span span;

   explicit operator bool() const { return !text.empty(); }
};

/// `Kinet::MplsLabel`
struct Path {
   std::vector<Word> words;

   Span span() const { return joined(words.front().span, words.back().span); }
   std::string text() const;
};

/// `Bool`, `const Vok::Dir`, `map< Name, LabelRange >`, `values< LFib::Route by routeKey >`, `LfibViaKey[
/// Slot ]`
struct Type {
   bool isConst = false;
   Path name;
   std::vector<Type> arguments;
   Word by;
   std::unique_ptr<Type> index; ///< of an array
   Span span;
};

struct Expression {
   enum class Kind { number, string, boolean, path, binary, negative, tuple };
   Kind kind = Kind::number;
   Span span;
   std::string text; ///< literal as written, or the operator
   Path path;
   std::vector<Expression> operands;
};

struct Parameter {
   Word name;
   std::optional<Type> type; ///< none for the name of a named entity and for the key of a row
};

/// Anything that stands inside a declaration's braces.
struct Member {
   enum class Kind {
      enumerator,  ///< name = value
      constant,    ///< constant name [: type] = value
      attribute,   ///< [words] name : type [= value] [check target [by targetBy]]
      derived,     ///< derived name : type
      invariant,   ///< invariant value [: message]
      range,       ///< range value to upper
      length,      ///< length value
      byDefault,   ///< default value
      operation,   ///< [words] operation name( parameters ) [: type]
      handler,     ///< handler name( parameters )
      constructor, ///< constructor( parameters )
      react,       ///< react name to watched -> target [all targetAll] [start targetStart]
      declaration, ///< a type that lives in this one
      directive,   ///< words, one of the fixed phrases: `order by hand`, `near index`, ...
   };
   Kind kind = Kind::directive;
   Docs docs;
   Span span;
   Word name;
   std::vector<Word> words;
   std::optional<Type> type;
   std::optional<Expression> value;
   std::optional<Expression> upper;
   std::optional<std::string> message;
   std::vector<Parameter> parameters;
   std::vector<Word> watched; ///< path of a `react`; "[]" stands for "every member"
   Word target;
   Word targetBy;
   Word targetAll;
   Word targetStart;
   std::size_t nested = 0; ///< of a declaration: its place in the enclosing declaration's `nested`
};

struct Declaration {
   enum class Kind { enumeration, bounded, flags, value, row, entity, machine, external };
   Kind kind = Kind::value;
   Docs docs;
   Span span; ///< of the name
   Word name;
   std::vector<std::string> scope; ///< enclosing namespaces, outermost first
   Word unit;
   std::optional<Type> base; ///< underlying type or base entity
   std::vector<Parameter> parameters;
   bool hasParentheses = false;
   Word externalKind; ///< `external value X from "header"`
   std::string header;
   std::vector<Member> members;
   std::vector<Declaration> nested;
};

struct Import {
   std::string path;
   Span span;
};

struct Unit {
   Word name;
   std::vector<std::string> scope; ///< the namespace in which it starts
};

struct File {
   const SourceFile* source = nullptr;
   std::vector<Import> imports;
   std::vector<Declaration> declarations; ///< in declared order, whatever their namespace
   std::vector<Unit> units;               ///< in declared order
};

} // namespace vokc::Syntax
