#include "vokc/Source/EmitEntity.h"

#include "vokc/Source/EmitAttribute.h"
#include "vokc/Source/EmitNotifiee.h"
#include "vokc/Source/EmitReactor.h"
#include "vokc/Source/EmitScalars.h"
#include "vokc/Source/EmitValue.h"

#include <algorithm>

namespace vokc {

using namespace Code;
using Model::Attribute;
using Kind = Model::Attribute::Kind;

namespace {

class EntityEmitter {
  public:
   EntityEmitter(const Model::Entity& type, const SymbolTable& symbols)
       : type_(type), symbols_(symbols), spelling_(symbols, namespaceOf(type)), class_(className(type)),
         reactors_(emitReactors(type, spelling_)) {
      for (const Attribute& attribute : type.attributes) {
         attributes_.push_back(emitAttribute(attribute, type, spelling_));
      }
      for (const Attribute& parameter : type.parameters) {
         const bool isName = type.isNamed && !type.base && parameter.name == "name";
         if (!isName && !(type.base && type.base->findParameter(parameter.name))) {
            own_.push_back(&parameter);
         }
      }
      base_ = type.base ? spelling_.type(*type.base) : type.isNamed ? "Vok::NamedEntity" : "Vok::Entity";
   }

   Fragment run() {
      std::string& out = fragment_.definition;
      out = docs(type_.docs) + "class " + type_.name + " : public " + base_ + " {\n  public:\n";
      nested();
      source(reactors_.classes);
      constructors();
      parameters();
      identifiers();
      for (std::size_t i = 0; i < attributes_.size(); ++i) {
         const bool apart =
             type_.attributes[i].isCollection() || (i != 0 && type_.attributes[i - 1].isCollection());
         separate(i != 0 && apart);
         out += indented(attributes_[i].accessors, 3);
         source(attributes_[i].source);
      }
      separate(!attributes_.empty() && !type_.functions.empty());
      for (const auto& function : type_.functions) {
         out += indented(functionDeclaration(*function, type_.name, spelling_), 3);
      }
      separate(!type_.constants.empty());
      out += constantDeclarations(type_.constants, spelling_);
      reflection();
      data();
      out += "};\n";
      notifiee();
      factory();
      return std::move(fragment_);
   }

  private:
   static std::vector<std::string> namespaceOf(const Model::Type& type) {
      return type.parent ? namespaceOf(*type.parent) : type.scope;
   }

   void line(const std::string& text) { fragment_.definition += "   " + text + "\n"; }
   void separate(bool wanted) { fragment_.definition += wanted ? "\n" : ""; }
   void source(const std::string& text) {
      if (!text.empty()) {
         fragment_.source += (fragment_.source.empty() ? "" : "\n") + text;
      }
   }

   void nested() {
      for (const Model::Type* inner : type_.nested) {
         const Fragment fragment = inner->isEntity()
                                       ? emitEntity(static_cast<const Model::Entity&>(*inner), symbols_)
                                       : emitValue(static_cast<const Model::Value&>(*inner), spelling_);
         fragment_.definition += indented(fragment.definition, 3) + "\n";
         fragment_.after += fragment.after;
         source(fragment.source);
      }
   }

   bool holdsEntities() const {
      const auto isEntity = [](const Attribute& attribute) {
         return attribute.type && attribute.type->isEntity();
      };
      return std::any_of(type_.attributes.begin(), type_.attributes.end(), isEntity) ||
             std::any_of(type_.parameters.begin(), type_.parameters.end(), isEntity);
   }

   std::string parameter(const Attribute& parameter) const {
      if (parameter.kind == Kind::pointer) {
         return "const " + spelling_.pointer(*parameter.type, parameter.isConst) + "& " + parameter.name;
      }
      return spelling_.passed(*parameter.type) + " " + parameter.name;
   }

   std::vector<std::string> allParameters() const {
      std::vector<std::string> all;
      for (const Attribute& item : type_.parameters) {
         all.push_back(parameter(item));
      }
      return all;
   }

   std::vector<std::string> initializers() const {
      std::vector<std::string> all;
      if (type_.base) {
         std::vector<std::string> arguments;
         for (const Attribute& inherited : type_.base->parameters) {
            const std::string byDefault =
                inherited.kind == Kind::pointer ? "nullptr" : spelling_.type(*inherited.type) + "()";
            arguments.push_back(type_.findParameter(inherited.name) ? inherited.name : byDefault);
         }
         all.push_back(list(type_.base->name + "(", arguments, ")"));
      } else if (type_.isNamed) {
         all.emplace_back("NamedEntity(name)");
      }
      for (const Attribute* item : own_) {
         all.push_back(stored(item->name) + "(" + item->name + ")");
      }
      return all;
   }

   void constructors() {
      std::vector<std::string> body = reactors_.constructor;
      for (const Attribute& attribute : type_.attributes) {
         if (attribute.kind == Kind::table) {
            body.push_back(stored(attribute.name) + ".ownerIs(*this, " + attribute.name + "Attr);");
         }
      }
      const bool starts =
          std::any_of(type_.functions.begin(), type_.functions.end(), [](const auto& function) {
             return function->name == "handleInitialized" && function->kind == Model::Function::Kind::handler;
          });
      if (starts) {
         body.emplace_back("handleInitialized();");
      }
      const bool outside = !body.empty() || holdsEntities();
      const std::string head = (type_.parameters.size() == 1 ? "explicit " : "") + type_.name + "(";
      if (!outside) {
         fragment_.definition += indented(constructor(head, allParameters(), initializers(), " {}\n", 3), 3);
         return;
      }
      fragment_.definition += indented(list(head, allParameters(), ");\n", 3), 3);
      std::string text;
      for (const std::string& statement : body) {
         text += "   " + statement + "\n";
      }
      source(constructor(class_ + "::" + type_.name + "(", allParameters(), initializers(),
                         body.empty() ? " {}\n" : " {\n" + text + "}\n", 0));
      destructor();
   }

   /// Children that outlive their owner stand at the root.
   void destructor() {
      line("~" + type_.name + "() override;");
      std::string body;
      for (const Attribute& attribute : type_.attributes) {
         const std::string member = stored(attribute.name);
         if (attribute.kind == Kind::members) {
            body += "   vokOrphan(" + member + ");\n";
         } else if (attribute.kind == Kind::optional) {
            body += "   if (" + member + ")\n      " + member + "->vokPlaceIs(nullptr, 0);\n";
         }
      }
      const std::string head = class_ + "::~" + type_.name + "()";
      source(body.empty() ? head + " = default;\n" : head + " {\n" + body + "}\n");
   }

   void parameters() {
      separate(!own_.empty());
      for (const Attribute* item : own_) {
         const std::string type = item->kind == Kind::pointer
                                      ? "const " + spelling_.pointer(*item->type, item->isConst) + "&"
                                      : spelling_.passed(*item->type);
         fragment_.definition +=
             indented(inlined(type + " " + item->name + "() const", "return " + stored(item->name) + ";"), 3);
      }
   }

   void identifiers() {
      if (type_.attributes.empty()) {
         separate(!type_.functions.empty());
         return;
      }
      separate(true);
      const std::string start = type_.base ? base_ : base_.substr(5); // the name injected by the base
      std::size_t number = 0;
      for (const Attribute& attribute : type_.attributes) {
         line("static constexpr Vok::AttrId " + attribute.name + "Attr = " + start + "::vokAttrEnd + " +
              std::to_string(number++) + ";");
      }
      line("static constexpr Vok::AttrId vokAttrEnd = " + start + "::vokAttrEnd + " + std::to_string(number) +
           ";");
      separate(true);
   }

   void reflection() {
      separate(true);
      if (!type_.attributes.empty()) {
         line("class Notifiee;");
      }
      checkParameters();
      line("const Vok::EntityType& vokEntityType() const override { return vokType(); }");
      line("static const Vok::EntityType& vokType();");
      source(typeFunction());
   }

   void checkParameters() {
      if (type_.parameters.empty()) {
         line("void vokCheckParameters() const {}");
         return;
      }
      line("/// Raises Vok::ReinstantiationError when a parameter differs.");
      fragment_.definition += indented(list("void vokCheckParameters(", allParameters(), ") const;\n", 3), 3);
      std::string body;
      for (const Attribute& item : type_.parameters) {
         body += "   Vok::checkParameter(*this, " + literal(item.name) + ", this->" + item.name + "(), " +
                 item.name + ");\n";
      }
      source(list("void " + class_ + "::vokCheckParameters(", allParameters(), ") const {\n") + body + "}\n");
   }

   std::string typeFunction() const {
      std::vector<std::string> parameters;
      for (const Attribute& item : type_.parameters) {
         parameters.push_back(parameterEntry(item));
      }
      std::string attributes;
      for (const AttributeCode& attribute : attributes_) {
         attributes += (attributes.empty() ? "" : ",\n") + attribute.descriptor;
      }
      const bool fromName = type_.parameters.size() == 1 && type_.parameters.front().type->name == "Name" &&
                            type_.parameters.front().type->kind == Model::Type::Kind::builtin;
      const std::string kind = type_.isMachine ? "Vok::Kind::machine" : "Vok::Kind::entity";
      std::string text =
          "const Vok::EntityType& " + class_ + "::vokType() {\n   static const Vok::EntityType type(\n";
      text += list("       ",
                   {literal(type_.qualifiedName()), kind, docLiteral(type_.docs),
                    type_.base ? "&" + base_ + "::vokType()" : "nullptr"},
                   ",");
      const std::size_t lineStart = text.rfind('\n') + 1;
      const std::string list = Code::list("       {", parameters, "},\n");
      const bool fits =
          list.find('\n') + 1 == list.size() && text.size() - lineStart + list.size() - 7 <= columnLimit;
      text += (fits ? " " + list.substr(7) : "\n" + list) + "       {" +
              indented(attributes, 8).substr(attributes.empty() ? 0 : 8);
      text.resize(text.size() - (attributes.empty() ? 0 : 1)); // the line break
      text += "}";
      if (fromName) {
         text += ",\n       [](const Vok::Name& name) -> Vok::Ptr<Vok::Entity> { return Vok::make<" + class_ +
                 ">(name); }";
      }
      return text + ");\n   return type;\n}\n";
   }

   std::string parameterEntry(const Attribute& item) const {
      const std::string name = literal(item.name);
      const Attribute* inherited = type_.base ? type_.base->findParameter(item.name) : nullptr;
      if (inherited) {
         return base_ + "::vokType().parameters()[" +
                std::to_string(inherited - type_.base->parameters.data()) + "]";
      }
      if (item.kind == Kind::pointer) {
         const std::string pointee = (item.isConst ? "const " : "") + item.type->qualifiedName();
         return "Vok::pointerParameter(" + name + ", " + literal("pointer<" + pointee + ">") + ")";
      }
      if (item.name == "name" && item.type->name == "Name" &&
          std::find(own_.begin(), own_.end(), &item) == own_.end()) {
         return "Vok::nameParameter<" + class_ + ">()";
      }
      return "Vok::parameter<&" + class_ + "::" + stored(item.name) + ">(" + name + ")";
   }

   void data() {
      if (own_.empty() && attributes_.empty() && reactors_.declarations.empty()) {
         return;
      }
      fragment_.definition += "\n  private:\n";
      std::string members;
      for (const Attribute* item : own_) {
         const std::string type = item->kind == Kind::pointer ? spelling_.pointer(*item->type, item->isConst)
                                                              : spelling_.type(*item->type);
         members += type + " " + stored(item->name) + ";\n";
      }
      for (std::size_t i = 0; i < attributes_.size(); ++i) {
         members += attributes_[i].storage + " " + stored(type_.attributes[i].name) +
                    spelling_.initializer(type_.attributes[i]) + ";\n";
      }
      fragment_.definition += indented(members + reactors_.declarations, 3);
   }

   void notifiee() {
      if (type_.attributes.empty()) {
         return;
      }
      const NotifieeCode code = emitNotifiee(type_, spelling_);
      fragment_.after = code.definition + (fragment_.after.empty() ? "" : "\n" + fragment_.after);
      source(code.source);
   }

   void factory() {
      if (!type_.hasFactory || type_.parent) {
         return;
      }
      std::string arguments;
      for (const Attribute& item : type_.parameters) {
         arguments += (arguments.empty() ? "" : ", ") + item.name;
      }
      const std::string name = lower(type_.name) + "Factory";
      factory(name, "Makes a new " + type_.name, "Vok::make<" + type_.name + ">(" + arguments + ")");
      if (!type_.factoryName.empty()) {
         factory(type_.factoryName, "The same", name + "(" + arguments + ")");
      }
   }

   void factory(const std::string& name, const std::string& comment, const std::string& result) {
      const std::string head = list("Vok::Ptr<" + type_.name + "> " + name + "(", allParameters(), ")");
      fragment_.after += (fragment_.after.empty() ? "" : "\n") + ("/// " + comment + ".\n") + head + ";\n";
      source(head + " {\n   return " + result + ";\n}\n");
   }

   const Model::Entity& type_;
   const SymbolTable& symbols_;
   const Spelling spelling_;
   const std::string class_;
   const ReactorCode reactors_;
   std::string base_;
   std::vector<AttributeCode> attributes_;
   std::vector<const Attribute*> own_; ///< parameters that the base does not hold
   Fragment fragment_;
};

} // namespace

Fragment emitEntity(const Model::Entity& type, const SymbolTable& symbols) {
   return EntityEmitter(type, symbols).run();
}

} // namespace vokc
