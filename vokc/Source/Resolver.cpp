#include "vokc/Source/Resolver.h"

#include "vokc/Source/EntityResolver.h"
#include "vokc/Source/ScalarResolver.h"
#include "vokc/Source/ValueResolver.h"

#include <filesystem>

namespace vokc {
namespace {

using Kind = Syntax::Declaration::Kind;

/// A declaration and the type made of it.
struct Entry {
   const Syntax::Declaration* declaration;
   Model::Type* type;
};

std::unique_ptr<Model::Type> makeType(const Syntax::Declaration& declaration) {
   const std::string& name = declaration.name.text;
   switch (declaration.kind) {
   case Kind::enumeration:
      return std::make_unique<Model::Enumeration>(name);
   case Kind::bounded:
      return std::make_unique<Model::Bounded>(name);
   case Kind::flags:
      return std::make_unique<Model::Flags>(name);
   case Kind::value:
   case Kind::row: {
      auto value = std::make_unique<Model::Value>(name);
      value->isRow = declaration.kind == Kind::row;
      return value;
   }
   case Kind::entity:
   case Kind::machine: {
      auto entity = std::make_unique<Model::Entity>(name);
      entity->isMachine = declaration.kind == Kind::machine;
      return entity;
   }
   case Kind::external:
      break;
   }
   const bool isValue = declaration.externalKind.text == "value";
   return std::make_unique<Model::External>(
       isValue ? Model::Type::Kind::externalValue : Model::Type::Kind::externalEntity, name);
}

std::string headerOf(const Syntax::File& file, const std::string& unit) {
   const std::filesystem::path folder = std::filesystem::path(file.source->name()).parent_path();
   return (folder / (unit + ".h")).generic_string();
}

/// Makes the types of a run and enters their names.
class Declarer {
  public:
   Declarer(Model::Schema& schema, SymbolTable& symbols, Diagnostics& diagnostics)
       : schema_(schema), symbols_(symbols), diagnostics_(diagnostics) {}

   std::vector<Entry> run(const std::vector<Syntax::File>& files) {
      for (const Syntax::File& file : files) {
         for (const Syntax::Declaration& declaration : file.declarations) {
            declare(file, declaration, declaration.unit.text, nullptr);
         }
      }
      return std::move(entries_);
   }

  private:
   void declare(const Syntax::File& file, const Syntax::Declaration& declaration, const std::string& unit,
                Model::Type* parent) {
      std::unique_ptr<Model::Type> owned = makeType(declaration);
      Model::Type& type = *owned;
      type.scope = parent ? parent->innerScope() : declaration.scope;
      type.parent = parent;
      type.docs = declaration.docs;
      type.span = declaration.span;
      type.unit = unit;
      type.header = declaration.kind == Kind::external ? declaration.header : headerOf(file, unit);
      schema_.types.push_back(std::move(owned));
      symbols_.add(type, diagnostics_);
      for (const Syntax::Declaration& inner : declaration.nested) {
         if (!mayNest(declaration.kind, inner.kind)) {
            diagnostics_.error(
                inner.span, inQuotes(inner.name.text) + " cannot be declared inside " + inQuotes(type.name),
                "only values and entities can, inside an entity or a machine");
            continue;
         }
         declare(file, inner, unit, &type);
         static_cast<Model::Entity&>(type).nested.push_back(entries_.back().type);
      }
      // Behind what is nested in it, which its attributes may use.
      type.order = entries_.size();
      entries_.push_back({&declaration, &type});
   }

   static bool mayNest(Kind outer, Kind inner) {
      return (outer == Kind::entity || outer == Kind::machine) &&
             (inner == Kind::value || inner == Kind::entity);
   }

   Model::Schema& schema_;
   SymbolTable& symbols_;
   Diagnostics& diagnostics_;
   std::vector<Entry> entries_;
};

void resolveBody(const Entry& entry, const ScalarResolver& scalars, const ValueResolver& values,
                 const EntityResolver& entities) {
   switch (entry.declaration->kind) {
   case Kind::enumeration:
      return scalars.resolve(*entry.declaration, static_cast<Model::Enumeration&>(*entry.type));
   case Kind::bounded:
      return scalars.resolve(*entry.declaration, static_cast<Model::Bounded&>(*entry.type));
   case Kind::flags:
      return scalars.resolve(*entry.declaration, static_cast<Model::Flags&>(*entry.type));
   case Kind::value:
   case Kind::row:
      return values.resolve(*entry.declaration, static_cast<Model::Value&>(*entry.type));
   case Kind::entity:
   case Kind::machine:
   case Kind::external:
      return entities.resolve(*entry.declaration, static_cast<Model::Entity&>(*entry.type));
   }
}

} // namespace

Model::Schema resolve(const std::vector<Syntax::File>& files, SymbolTable& symbols,
                      Diagnostics& diagnostics) {
   Model::Schema schema;
   const std::vector<Entry> entries = Declarer(schema, symbols, diagnostics).run(files);
   const ScalarResolver scalars(symbols, diagnostics);
   const ValueResolver values(symbols, diagnostics);
   const EntityResolver entities(symbols, values, diagnostics);
   for (const Entry& entry : entries) {
      resolveBody(entry, scalars, values, entities);
   }
   for (const Entry& entry : entries) {
      if (entry.type->isEntity()) {
         entities.connect(*entry.declaration, static_cast<Model::Entity&>(*entry.type));
      }
   }
   const Syntax::File& last = files.back();
   schema.file = last.source->name();
   for (const Syntax::Unit& unit : last.units) {
      Model::Unit resolved{unit.name.text, unit.scope, headerOf(last, unit.name.text), {}};
      for (const Entry& entry : entries) {
         if (entry.type->span.file == last.source && entry.type->unit == resolved.name) {
            resolved.types.push_back(entry.type);
         }
      }
      schema.units.push_back(std::move(resolved));
   }
   return schema;
}

} // namespace vokc
