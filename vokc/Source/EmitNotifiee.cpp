#include "vokc/Source/EmitNotifiee.h"

#include <algorithm>

namespace vokc {

using namespace Code;
using Model::Attribute;

namespace {

class NotifieeEmitter {
  public:
   NotifieeEmitter(const Model::Entity& type, const Spelling& spelling)
       : type_(type), spelling_(spelling), class_(className(type)) {
      // A base without attributes, or of which none are declared, has no notifiee of its own.
      const Model::Entity* base = type.base;
      while (base && base->attributes.empty()) {
         base = base->base;
      }
      base_ = base ? spelling.type(*base) + "::Notifiee" : "Vok::Notifiee";
      hasBase_ = base != nullptr;
      hasTables_ = std::any_of(type.attributes.begin(), type.attributes.end(),
                               [](const Attribute& item) { return item.kind == Attribute::Kind::table; });
   }

   NotifieeCode run() {
      NotifieeCode code;
      std::string& out = code.definition;
      out = "/// Told of changes of a watched " + type_.name + "; override what matters.\n";
      out += "class " + class_ + "::Notifiee : public " + base_ + " {\n  public:\n";
      const std::string init = hasBase_ ? base_ : "Vok::Notifiee";
      out += indented(constructor("explicit Notifiee(", {"Vok::Ptr<const " + class_ + "> watched"},
                                  {init + "(watched)"}, " {}\n", 3),
                      3);
      for (const Attribute& attribute : type_.attributes) {
         out += "   virtual void on" + upper(attribute.name) + "(" +
                (attribute.isCollection() ? spelling_.passed(*attribute.key) : "") + ") {}\n";
         if (attribute.kind == Attribute::Kind::table) {
            out += "   virtual void on" + upper(attribute.name) + "Collection() {}\n";
            out += "   virtual void on" + upper(attribute.name) + "MountStatus() {}\n";
         }
      }
      out += "\n   void vokOnChange(Vok::AttrId attr, const void* key) override;\n" + dispatch();
      if (hasTables_) {
         out += "   void vokOnCollection(Vok::AttrId attr) override;\n";
         out += "   void vokOnMountStatus(Vok::AttrId attr) override;\n";
      }
      out += "};\n";
      code.source = changes();
      if (hasTables_) {
         code.source += tables("vokOnCollection", "Collection") + tables("vokOnMountStatus", "MountStatus");
      }
      return code;
   }

  private:
   std::string otherwise(const std::string& function, const std::string& arguments) const {
      return std::string("   default:\n      return") +
             (hasBase_ ? " " + base_ + "::" + function + arguments : "") + ";\n   }\n";
   }

   /// The one place that knows which attribute has which handler.
   std::string dispatch() const {
      const bool usesKey = hasBase_ || std::any_of(type_.attributes.begin(), type_.attributes.end(),
                                                   [](const Attribute& item) { return item.isCollection(); });
      std::string text = "/// Calls the handler that `self` has for the attribute.\ntemplate <class Self>\n"
                         "static void vokDispatch(Self& self, Vok::AttrId attr, const void*" +
                         std::string(usesKey ? " key" : "") + ") {\n   switch (attr) {\n";
      for (const Attribute& attribute : type_.attributes) {
         const std::string argument = attribute.isCollection()
                                          ? "*static_cast<const " + spelling_.type(*attribute.key) + "*>(key)"
                                          : "";
         text += "   case " + attribute.name + "Attr:\n      return self.on" + upper(attribute.name) + "(" +
                 argument + ");\n";
      }
      return indented(text + otherwise("vokDispatch", "(self, attr, key)") + "}\n", 3);
   }

   std::string changes() const {
      return "void " + class_ + "::Notifiee::vokOnChange(Vok::AttrId attr, const void* key) {\n" +
             "   vokDispatch(*this, attr, key);\n}\n";
   }

   std::string tables(const std::string& function, const std::string& suffix) const {
      std::string text =
          "\nvoid " + class_ + "::Notifiee::" + function + "(Vok::AttrId attr) {\n   switch (attr) {\n";
      for (const Attribute& attribute : type_.attributes) {
         if (attribute.kind == Attribute::Kind::table) {
            text += "   case " + attribute.name + "Attr:\n      return on" + upper(attribute.name) + suffix +
                    "();\n";
         }
      }
      return text + otherwise(function, "(attr)") + "}\n";
   }

   const Model::Entity& type_;
   const Spelling& spelling_;
   const std::string class_;
   std::string base_;
   bool hasBase_ = false;
   bool hasTables_ = false;
};

} // namespace

NotifieeCode emitNotifiee(const Model::Entity& type, const Spelling& spelling) {
   return NotifieeEmitter(type, spelling).run();
}

} // namespace vokc
