#pragma once

#include "vokc/Source/Model.h"
#include "vokc/Source/SymbolTable.h"

#include <set>
#include <string>
#include <vector>

/// Pieces of C++ text, laid out as the formatter of the tree would lay them out.
namespace vokc::Code {

inline constexpr std::size_t columnLimit = 110;

/// Every non-empty line of `text` moved right by `columns`.
std::string indented(const std::string& text, std::size_t columns);
/// The docs as `///` lines.
std::string docs(const Model::Docs& docs);
/// A C++ string literal.
std::string literal(std::string_view text);
/// The docs as one string literal, "" when there are none.
std::string docLiteral(const Model::Docs& docs);
/// `head` + items joined by ", " + `tail`. What does not fit in the line goes on below the first item, or all
/// items stand below the head where that takes fewer lines.
/// `column` is how far the text will stand from the margin.
std::string list(const std::string& head, const std::vector<std::string>& items, const std::string& tail,
                 std::size_t column = 0);
/// `head` = call( items ) at 3 columns: on the line of the head where it fits, below it otherwise.
std::string assigned(const std::string& head, const std::string& call, const std::vector<std::string>& items);
/// A constructor with its initializers; `tail` starts with its body.
std::string constructor(const std::string& head, const std::vector<std::string>& parameters,
                        const std::vector<std::string>& initializers, const std::string& tail,
                        std::size_t column);
/// A function in a class: on one line where it fits.
std::string inlined(const std::string& head, const std::string& body);
/// `name` with its first letter in upper or lower case.
std::string upper(std::string name);
std::string lower(std::string name);
/// The data member behind an accessor.
std::string stored(const std::string& name);

/// Writes types and values as they read in one namespace of the generated code.
class Spelling {
  public:
   Spelling(const SymbolTable& symbols, std::vector<std::string> scope)
       : symbols_(symbols), scope_(std::move(scope)) {}

   /// "bool", "Vok::U32", "Kinet::MplsLabel"
   std::string type(const Model::Type& type) const;
   /// What an accessor returns and a mutator takes: small things by value, others by const reference.
   std::string passed(const Model::Type& type) const;
   /// "Vok::Ptr<const X>"
   std::string pointer(const Model::Type& type, bool isConst) const;
   std::string result(const Model::TypeUse& use) const;
   std::string parameter(const Model::TypeUse& use) const;
   std::vector<std::string> parameters(const std::vector<Model::Parameter>& parameters) const;
   /// A constant expression as a value of `expected`.
   std::string value(const Model::Expression& expression, const Model::Type& expected) const;
   /// The opposite of a comparison between fields, inside a member function.
   std::string violated(const Model::Expression& condition) const;
   std::string condition(const Model::Expression& expression) const;
   /// " = 0" and the like behind a data member; empty for what needs none.
   std::string initializer(const Model::Attribute& attribute) const;

  private:
   const SymbolTable& symbols_;
   std::vector<std::string> scope_;
};

/// "LfibViaIndexAllocator::ViaSetKeyIndexDomain": the class as its out-of-class definitions name it.
std::string className(const Model::Type& type);

/// Copied rather than referred to: numbers, Bool, enumerations, bounded numbers, flag sets.
bool isSmall(const Model::Type& type);

/// Declarations of the functions whose bodies are written by hand, docs included.
std::string functionDeclaration(const Model::Function& function, const std::string& className,
                                const Spelling& spelling);

/// What one type contributes to its unit.
struct Fragment {
   std::string definition; ///< in the header, in its namespace or its enclosing class
   std::string after;      ///< inline functions behind the outermost class
   std::string source;     ///< in the .gen.cpp, in its namespace
};

} // namespace vokc::Code
