#include "vokc/Source/EntityResolver.h"

#include "vokc/Source/Phrases.h"

#include <algorithm>

namespace vokc {

using Model::Attribute;
using Model::Type;
using Kind = Syntax::Member::Kind;

void EntityResolver::resolve(const Syntax::Declaration& declaration, Model::Entity& type) const {
   base(declaration, type);
   parameters(declaration, type);
   for (const Syntax::Member& member : declaration.members) {
      switch (member.kind) {
      case Kind::attribute:
         attribute(member, type);
         break;
      case Kind::constant:
         values_.constant(member, type, type.constants);
         break;
      case Kind::derived:
      case Kind::operation:
      case Kind::handler:
         if (auto function = values_.function(member, type)) {
            type.functions.push_back(std::move(function));
         }
         break;
      case Kind::react:       // see connect()
      case Kind::declaration: // resolved as a type of its own
         break;
      case Kind::directive:
         directive(member, type);
         break;
      default:
         reportMisplaced(member, "an entity", diagnostics_);
      }
   }
}

void EntityResolver::base(const Syntax::Declaration& declaration, Model::Entity& type) const {
   if (!declaration.base) {
      return;
   }
   Type* found = symbols_.expect(declaration.base->name, type.innerScope(), diagnostics_);
   if (!found) {
      return;
   }
   if (!found->isEntity()) {
      diagnostics_.error(declaration.base->span,
                         inQuotes(found->name) + " is a value, and no base of an entity");
   } else if (found == &type || (found->span.file == type.span.file && found->order > type.order)) {
      diagnostics_.error(declaration.base->span, "a base entity is declared above");
      diagnostics_.note(found->span, "it is declared here");
   } else {
      type.base = static_cast<Model::Entity*>(found);
   }
}

void EntityResolver::parameters(const Syntax::Declaration& declaration, Model::Entity& type) const {
   for (const Syntax::Parameter& parameter : declaration.parameters) {
      Attribute attribute;
      attribute.name = parameter.name.text;
      attribute.span = parameter.name.span;
      if (parameter.type) {
         const Model::TypeUse use = types_.use(*parameter.type, type);
         if (!use.type) {
            continue;
         }
         attribute.kind =
             use.form == Model::TypeUse::Form::pointer ? Attribute::Kind::pointer : Attribute::Kind::scalar;
         attribute.type = use.type;
         attribute.isConst = use.isConst;
      } else if (parameter.name.text == "name") {
         type.isNamed = true;
         attribute.type = symbols_.builtin("Name");
      } else {
         diagnostics_.error(parameter.name.span,
                            "the type of parameter " + inQuotes(parameter.name.text) + " is missing",
                            "write '" + parameter.name.text + " : <type>', or 'name' for a named entity");
         continue;
      }
      type.parameters.push_back(std::move(attribute));
   }
}

void EntityResolver::attribute(const Syntax::Member& member, Model::Entity& type) const {
   Attribute attribute;
   if (!types_.attribute(member, type, attribute)) {
      return;
   }
   if (member.value && attribute.kind != Attribute::Kind::scalar) {
      diagnostics_.error(member.value->span, "only an attribute that is a value has a default");
   } else if (member.value) {
      attribute.byDefault = expressions_.value(*member.value, type, *attribute.type);
   }
   if (!member.words.empty() && member.words.front().text == "counter") {
      attribute.isCounter = attribute.kind == Attribute::Kind::scalar && boundsOf(*attribute.type) &&
                            attribute.type->kind == Type::Kind::builtin;
      if (!attribute.isCounter) {
         diagnostics_.error(member.words.front().span, "a counter is a number");
      }
   } else if (!member.words.empty()) {
      diagnostics_.error(member.words.front().span,
                         inQuotes(member.words.front().text) + " is for fields of values");
   }
   type.attributes.push_back(std::move(attribute));
}

void EntityResolver::directive(const Syntax::Member& member, Model::Entity& type) const {
   if (phrase(member) == "no factory") {
      type.hasFactory = false;
   } else if (member.words.size() == 2 && member.words.front().text == "factory") {
      type.factoryName = member.words.back().text;
   } else {
      reportMisplaced(member, "an entity", diagnostics_);
   }
}

void EntityResolver::connect(const Syntax::Declaration& declaration, Model::Entity& type) const {
   overrideDerived(type);
   for (const Syntax::Member& member : declaration.members) {
      if (member.kind == Kind::attribute) {
         const auto found =
             std::find_if(type.attributes.begin(), type.attributes.end(), [&](const Attribute& attribute) {
                return attribute.span.begin == member.name.span.begin;
             });
         if (found == type.attributes.end()) {
            continue;
         }
         if (found->kind == Attribute::Kind::references) {
            referenceKey(*found, member.type->arguments.front().by.span);
         }
         if (member.target) {
            check(member, *found, type);
         }
      } else if (member.kind == Kind::react) {
         reactor(member, type);
      }
   }
}

/// A derived attribute that the base declares too is answered by the most derived entity.
void EntityResolver::overrideDerived(Model::Entity& type) const {
   for (auto& function : type.functions) {
      for (Model::Entity* base = type.base; base && function->kind == Model::Function::Kind::derived;
           base = base->base) {
         for (auto& inherited : base->functions) {
            if (inherited->name == function->name && inherited->kind == function->kind) {
               function->isOverride = inherited->isVirtual = true;
            }
         }
      }
   }
}

/// The key of references is a parameter of their entity, so that it cannot change under them.
void EntityResolver::referenceKey(Attribute& attribute, Span span) const {
   const auto& entity = static_cast<const Model::Entity&>(*attribute.type);
   const auto parameter =
       std::find_if(entity.parameters.begin(), entity.parameters.end(), [&](const Attribute& other) {
          return other.name == attribute.keyName && other.kind == Attribute::Kind::scalar;
       });
   if (parameter != entity.parameters.end()) {
      attribute.key = parameter->type;
      return;
   }
   std::vector<std::string> names;
   for (const Attribute& candidate : entity.parameters) {
      names.push_back(candidate.name);
   }
   diagnostics_.error(span,
                      inQuotes(entity.name) + " has no constructor parameter " + inQuotes(attribute.keyName),
                      didYouMean(attribute.keyName, names));
   diagnostics_.note(entity.span, "it is declared here");
}

void EntityResolver::check(const Syntax::Member& member, Attribute& attribute, Model::Entity& type) const {
   const Syntax::Word& name = member.target;
   if (attribute.kind != Attribute::Kind::table) {
      diagnostics_.error(name.span, "of an entity's attributes only tables have a check");
      return;
   }
   if (member.targetBy && member.targetBy.text != "row") {
      diagnostics_.error(member.targetBy.span, "the check of a table gets the key, or the row with 'by row'");
      return;
   }
   Model::TypeUse key, row;
   key.type = attribute.key;
   row.type = attribute.type;
   handler(name, {{"key", key, name.span}}, type);
   if (member.targetBy) {
      handler(name, {{"row", row, name.span}}, type);
   }
   attribute.check = name.text;
   attribute.checkBy = member.targetBy.text;
}

void EntityResolver::reactor(const Syntax::Member& member, Model::Entity& type) const {
   Model::Reactor reactor;
   reactor.name = member.name.text;
   reactor.docs = member.docs;
   reactor.span = member.name.span;
   if (!watched(member, type, reactor)) {
      return;
   }
   Model::TypeUse memberKey, entryKey;
   std::vector<Model::Parameter> parameters;
   if (reactor.everyMember) {
      memberKey.type = reactor.through->key;
      parameters.push_back({reactor.through->name + "Key", memberKey, member.span});
   }
   if (member.targetAll) {
      reactor.handlerOfAll = handler(member.targetAll, parameters, type);
   }
   if (member.targetStart && !reactor.everyMember) {
      diagnostics_.error(member.targetStart.span, "'start' is for reactors of every member of a collection");
   } else if (member.targetStart) {
      reactor.start = handler(member.targetStart, parameters, type);
   }
   if (reactor.watched->isCollection()) {
      entryKey.type = reactor.watched->key;
      parameters.push_back({"key", entryKey, member.span});
   } else if (member.targetAll) {
      diagnostics_.error(member.targetAll.span, inQuotes(reactor.watched->name) + " is no collection",
                         "leave out 'all'");
   }
   if (member.target) {
      reactor.handler = handler(member.target, parameters, type);
   }
   type.reactors.push_back(std::move(reactor));
}

/// `attribute`, `pointer.attribute` or `collection[].attribute`.
bool EntityResolver::watched(const Syntax::Member& member, const Model::Entity& type,
                             Model::Reactor& reactor) const {
   const std::vector<Syntax::Word>& path = member.watched;
   const Attribute* first = find(path.front(), type);
   if (!first) {
      return false;
   }
   if (path.size() == 1) {
      const bool isSet = first->kind == Attribute::Kind::set || first->kind == Attribute::Kind::orderedSet;
      if (!isSet && first->kind != Attribute::Kind::scalar) {
         diagnostics_.error(path.front().span, "of its own attributes a machine watches values and sets");
         return false;
      }
      reactor.watchedType = &type;
      reactor.watched = first;
      return true;
   }
   reactor.everyMember = path[1].text == "[]";
   const std::size_t last = reactor.everyMember ? 2 : 1;
   const Span whole = joined(path.front().span, path.back().span);
   if (path.size() != last + 1 || path[last].text == "[]") {
      diagnostics_.error(whole,
                         "a reactor watches an attribute of this machine, of an entity it points to, or of "
                         "every member of a collection",
                         "for example 'configDir.entityPtr' or 'config[].route'");
      return false;
   }
   const bool isPointer = first->kind == Attribute::Kind::pointer;
   const bool isCollection =
       first->kind == Attribute::Kind::members || first->kind == Attribute::Kind::references;
   if (!isPointer && !isCollection) {
      diagnostics_.error(path.front().span,
                         inQuotes(first->name) +
                             " is neither a pointer to an entity nor a collection of entities");
      diagnostics_.note(first->span, "it is declared here");
      return false;
   }
   if (isCollection != reactor.everyMember) {
      const std::string attribute = "." + path[last].text + "'";
      diagnostics_.error(whole,
                         inQuotes(first->name) + (isCollection ? " is a collection" : " is a single entity"),
                         "write '" + first->name + (isCollection ? "[]" : "") + attribute);
      return false;
   }
   reactor.through = first;
   reactor.watchedType = first->type;
   reactor.watched = find(path[last], static_cast<const Model::Entity&>(*first->type));
   return reactor.watched && (!isCollection || first->key);
}

/// The function `name` of the machine, which need not be declared: what calls it says how it looks. If it is
/// declared, its parameters must be those.
const Model::Function* EntityResolver::handler(const Syntax::Word& name,
                                               const std::vector<Model::Parameter>& parameters,
                                               Model::Entity& type) const {
   std::string wanted;
   for (const Model::Parameter& parameter : parameters) {
      if (!parameter.type.type) {
         return nullptr; // reported where the key is declared
      }
      wanted += (wanted.empty() ? " " : ", ") + parameter.name + " : " + parameter.type.type->name;
   }
   const std::vector<const Model::Function*> known = type.findFunctions(name.text);
   const auto isCalledSo = [&](const Model::Function* candidate) {
      return std::equal(candidate->parameters.begin(), candidate->parameters.end(), parameters.begin(),
                        parameters.end(), [](const Model::Parameter& a, const Model::Parameter& b) {
                           return a.type.type == b.type.type && a.type.form == b.type.form;
                        });
   };
   const auto wantsNothing = [](const Model::Function* candidate) { return candidate->parameters.empty(); };
   auto found = std::find_if(known.begin(), known.end(), isCalledSo);
   if (found == known.end()) {
      found = std::find_if(known.begin(), known.end(), wantsNothing); // a handler need not know what changed
   }
   if (found != known.end()) {
      return *found;
   }
   if (!known.empty() && known.front()->declared) {
      diagnostics_.error(name.span, inQuotes(name.text) + " is called with other parameters here",
                         "here it is '" + name.text + "(" + wanted + (wanted.empty() ? ")'" : " )'"));
      diagnostics_.note(known.front()->span, "it is declared here");
      return nullptr;
   }
   auto function = std::make_unique<Model::Function>();
   function->kind = Model::Function::Kind::handler;
   function->declared = false;
   function->name = name.text;
   function->span = name.span;
   function->parameters = parameters;
   type.functions.push_back(std::move(function));
   return type.functions.back().get();
}

const Attribute* EntityResolver::find(const Syntax::Word& name, const Model::Entity& type) const {
   const Attribute* found = type.find(name.text);
   if (!found) {
      std::vector<std::string> names;
      for (const Model::Entity* entity = &type; entity; entity = entity->base) {
         for (const auto* list : {&entity->parameters, &entity->attributes}) {
            for (const Attribute& candidate : *list) {
               names.push_back(candidate.name);
            }
         }
      }
      diagnostics_.error(name.span, inQuotes(type.name) + " has no attribute " + inQuotes(name.text),
                         didYouMean(name.text, names));
      diagnostics_.note(type.span, "it is declared here");
   }
   return found;
}

} // namespace vokc
