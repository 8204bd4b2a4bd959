#pragma once

#include "vokc/Source/SourceFile.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// The resolved schema: every name looked up, every bound computed. Emitters read nothing else.
namespace vokc::Model {

using Docs = std::vector<std::string>;
using Number = __int128; ///< holds every number of every built-in type

/// The number in decimal.
std::string numberText(Number number);

/// The comparison that holds when `comparison` does not.
std::string_view negated(std::string_view comparison);

struct Expression;

/// A type with a name. What stands behind the name is in the derived structs, told apart by `kind`.
struct Type {
   enum class Kind { builtin, enumeration, bounded, flags, value, entity, externalValue, externalEntity };

   Type(Kind kind, std::string name) : kind(kind), name(std::move(name)) {}
   virtual ~Type() = default;

   std::string qualifiedName() const;
   /// Where names in the declaration are looked up from.
   std::vector<std::string> innerScope() const;
   bool isEntity() const { return kind == Kind::entity || kind == Kind::externalEntity; }
   bool isValue() const { return !isEntity(); }

   Kind kind;
   std::string name;
   std::vector<std::string>
       scope;                    ///< enclosing namespaces, and for a nested type its entity; outermost first
   const Type* parent = nullptr; ///< of a nested type: the entity it lives in
   Docs docs;
   Span span;
   std::string header; ///< what to include for it; empty for the built-in types
   std::string unit;
   std::size_t order = 0; ///< place in the reading order of all files
};

struct Builtin : Type {
   enum class Sort { boolean, number, floating, string, name };
   explicit Builtin(std::string name, Sort sort, unsigned bits = 0, bool isSigned = false)
       : Type(Kind::builtin, std::move(name)), sort(sort), bits(bits), isSigned(isSigned) {
      scope = {"Vok"};
   }
   bool isNumber() const { return sort == Sort::number; }
   bool isText() const { return sort == Sort::string || sort == Sort::name; }
   Number lowest() const { return isSigned ? -(Number(1) << (bits - 1)) : 0; }
   Number highest() const { return (Number(1) << (isSigned ? bits - 1 : bits)) - 1; }

   Sort sort;
   unsigned bits;
   bool isSigned;
};

struct Constant {
   std::string name;
   Docs docs;
   Span span;
   const Type* type = nullptr; ///< in a bounded type: its storage
   std::unique_ptr<Expression> value;
};

struct Enumerator {
   std::string name;
   Docs docs;
   Span span;
   Number number = 0;
};

struct Enumeration : Type {
   explicit Enumeration(std::string name) : Type(Kind::enumeration, std::move(name)) {}
   const Enumerator* find(std::string_view name) const;

   const Builtin* storage = nullptr;
   std::vector<Enumerator> enumerators;
};

struct Bounded : Type {
   explicit Bounded(std::string name) : Type(Kind::bounded, std::move(name)) {}
   bool isText() const { return storage->isText(); }

   const Builtin* storage = nullptr;
   std::vector<Constant> constants;
   std::unique_ptr<Expression> lower, upper; ///< of a number
   std::unique_ptr<Expression> length;       ///< of a text: most bytes
   std::unique_ptr<Expression> byDefault;
   std::string message;
   bool sumsUnchecked = false;
};

/// Up to 32 named bits; the number of an enumerator is its bit.
struct Flags : Type {
   explicit Flags(std::string name) : Type(Kind::flags, std::move(name)) {}
   std::uint32_t mask() const;

   std::vector<Enumerator> flags;
   std::string message;
   bool textBare = false;
   bool logUnchecked = false;
};

/// A type in use: of a parameter, of a result, of what a collection holds.
struct TypeUse {
   enum class Form { plain, pointer, bytes };
   Form form = Form::plain;
   const Type* type = nullptr; ///< null in `bytes`
   bool isConst = false;
   Span span;

   explicit operator bool() const { return type != nullptr || form == Form::bytes; }
};

struct Parameter {
   std::string name;
   TypeUse type;
   Span span;
};

/// A member function whose body is written by hand.
struct Function {
   enum class Kind { derived, operation, handler, constructor };
   Kind kind = Kind::operation;
   std::string name;
   Docs docs;
   Span span;
   bool isStatic = false;
   bool isConst = false;
   bool declared = true;    ///< else implied by what calls it
   bool isOverride = false; ///< a derived attribute that a base declares too
   bool isVirtual = false;  ///< a derived attribute that a derived entity declares too
   std::vector<Parameter> parameters;
   TypeUse result;
};

/// A field of a value or an attribute of an entity.
struct Attribute {
   enum class Kind {
      scalar,
      array,      ///< slots of `type`, indexed by `key`
      map,        ///< `key` to `type`, walks in insertion order
      set,        ///< of `key`
      orderedMap, ///< `key` to `type`, walks in key order
      orderedSet, ///< of `key`
      counters,   ///< `key` to a number
      values,     ///< of `type`, keyed by its field `keyName`
      pointer,    ///< to an entity
      optional,   ///< at most one child entity
      members,    ///< entities created here, keyed by their first parameter
      references, ///< entities owned elsewhere, keyed by `keyName`
      table,      ///< rows of `type` in shared memory
   };
   bool isCollection() const {
      return kind != Kind::scalar && kind != Kind::pointer && kind != Kind::optional;
   }
   bool hasText() const { return kind == Kind::scalar || kind == Kind::array; }

   Kind kind = Kind::scalar;
   std::string name;
   Docs docs;
   Span span;
   const Type* type = nullptr;
   const Type* key = nullptr;
   std::string keyName;
   bool isConst = false;
   bool logChecked = false;
   std::unique_ptr<Expression> byDefault;
   bool isCounter = false;  ///< a number that also gets an Inc
   bool ofPointers = false; ///< a map whose values are pointers to entities
   std::string check;       ///< function that runs with every change
   std::string checkBy;     ///< what it gets: "row", or a field of what is stored
};

struct Invariant {
   Span span;
   std::unique_ptr<Expression> condition; ///< a comparison
   std::string message;
};

/// Who decides an aspect of a value.
enum class By { generated, hand, none };

struct Value : Type {
   explicit Value(std::string name) : Type(Kind::value, std::move(name)) {}
   const Attribute* find(std::string_view name) const;
   const Attribute* keyField() const { return isRow ? find(keyName) : nullptr; }
   bool hasCollection() const;
   /// All fields are scalars of types with one packed size.
   bool isFixed() const;
   /// Has a generated or hand-written order.
   bool isOrdered() const;

   bool isRow = false;
   std::string keyName;
   std::string nearName;
   std::vector<Attribute> fields;
   std::vector<Constant> constants;
   std::vector<Invariant> invariants;
   std::vector<std::unique_ptr<Function>> functions;
   By order = By::generated, hash = By::generated, equality = By::generated, text = By::generated,
      log = By::generated;
};

/// `react VokRouteConfig to config[].route -> handleConfigEntry`
/// A handler gets the key of the member, with `everyMember`, and the key of the watched entry, if it has one.
struct Reactor {
   std::string name;
   Docs docs;
   Span span;
   const Attribute* through =
       nullptr;              ///< input or collection whose entity is watched; null: the machine itself
   bool everyMember = false; ///< one reactor a member of `through`
   const Type* watchedType = nullptr; ///< entity that is watched
   const Attribute* watched = nullptr;
   const Function* handler = nullptr;
   const Function* handlerOfAll = nullptr; ///< of the whole collection, or null
   const Function* start = nullptr;        ///< for a new member, or null
};

struct Entity : Type {
   explicit Entity(std::string name) : Type(Kind::entity, std::move(name)) {}
   /// Looks in the base entities too.
   const Attribute* find(std::string_view name) const;
   /// All overloads of a function, those of the base entities too.
   std::vector<const Function*> findFunctions(std::string_view name) const;
   const Attribute* findParameter(std::string_view name) const;

   bool isMachine = false;
   bool isNamed = false; ///< constructed from a name alone
   bool hasFactory = true;
   std::string factoryName; ///< a second name for the factory; empty: none
   Entity* base = nullptr;
   std::vector<Attribute> parameters; ///< fixed for life; the first one is the key in `members<>`
   std::vector<Attribute> attributes;
   std::vector<Constant> constants;
   std::vector<std::unique_ptr<Function>> functions;
   std::vector<Reactor> reactors;
   std::vector<const Type*> nested; ///< types that live in this one
};

/// A type that is written by hand. An entity may declare the attributes that reactors watch.
struct External : Entity {
   External(Kind kind, std::string name) : Entity(std::move(name)) { this->kind = kind; }
};

struct Expression {
   enum class Kind { number, string, boolean, field, constant, enumerator, binary, negative, tuple };
   Kind kind = Kind::number;
   Span span;
   std::string text;            ///< literal or operator
   const Type* type = nullptr;  ///< of a field, constant or enumerator
   const Type* owner = nullptr; ///< of a constant or enumerator: the type that declares it
   const Attribute* field = nullptr;
   const Enumerator* enumerator = nullptr;
   std::vector<Expression> operands;
   std::optional<Number> number; ///< if it is a number known here
};

/// Every value of the type takes the same number of bytes in a table row.
bool isFixed(const Type& type);
/// Values of the type can be sorted.
bool isOrdered(const Type& type);

struct Unit {
   std::string name;
   std::vector<std::string> scope; ///< where its catalogue stands
   std::string header;             ///< path for includes
   std::vector<const Type*> types;
};

struct Schema {
   std::vector<std::unique_ptr<Type>> types; ///< of all files, in reading order
   std::vector<Unit> units;                  ///< of the file to compile
   std::string file;                         ///< its path from the include root
};

} // namespace vokc::Model
