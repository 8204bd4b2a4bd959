#include "vokc/Source/EmitReactor.h"

#include "vokc/Source/EmitAttribute.h"

#include <algorithm>

namespace vokc {

using namespace Code;
using Model::Reactor;

namespace {

/// The reactions of one class: several attributes of one watched entity.
using Group = std::vector<const Reactor*>;

std::vector<Group> groups(const Model::Entity& type) {
   std::vector<Group> found;
   for (const Reactor& reactor : type.reactors) {
      if (!reactor.through) {
         continue; // the machine's own attribute: its mutators call the handler
      }
      const auto known = std::find_if(found.begin(), found.end(), [&](const Group& group) {
         return group.front()->name == reactor.name;
      });
      if (known == found.end()) {
         found.push_back({&reactor});
      } else {
         known->push_back(&reactor);
      }
   }
   return found;
}

class ReactorEmitter {
  public:
   ReactorEmitter(const Group& group, const Model::Entity& machine, const Spelling& spelling)
       : group_(group), first_(*group.front()), machine_(machine), spelling_(spelling),
         class_(className(machine) + "::" + first_.name), watched_(spelling.type(*first_.watchedType)) {}

   std::string definition() const {
      std::vector<std::string> parameters = {machine_.name + "& sm"};
      std::vector<std::string> initializers = {"Vok::Notifiee(std::move(watched))", "sm_(sm)"};
      std::string data = "   " + machine_.name + "& sm_;\n";
      if (first_.everyMember) {
         parameters.push_back(spelling_.passed(*first_.through->key) + " member");
         initializers.emplace_back("member_(member)");
         data += "   " + spelling_.type(*first_.through->key) + " member_;\n";
      }
      parameters.push_back("Vok::Ptr<const " + watched_ + "> watched");
      std::string text = docs(first_.docs) + "class " + class_ + " : public Vok::Notifiee {\n  public:\n";
      text += indented(constructor(first_.name + "(", parameters, initializers, " {}\n", 3), 3);
      if (any(&Reactor::handler)) {
         text += "   void vokOnChange(Vok::AttrId attr, const void* key) override;\n";
      } else {
         text += "   void vokOnChange(Vok::AttrId, const void*) override {}\n";
      }
      if (any(&Reactor::handlerOfAll)) {
         text += "   void vokOnCollection(Vok::AttrId attr) override;\n";
      }
      text += "\n  private:\n" + data + "};\n";
      if (any(&Reactor::handler)) {
         text += "\nvoid " + class_ + "::vokOnChange(Vok::AttrId attr, " +
                 (usesKey() ? "const void* key" : "const void*") + ") {\n" + body(&Reactor::handler) + "}\n";
      }
      if (any(&Reactor::handlerOfAll)) {
         text += "\nvoid " + class_ + "::vokOnCollection(Vok::AttrId attr) {\n" +
                 body(&Reactor::handlerOfAll) + "}\n";
      }
      return text;
   }

  private:
   using Handler = const Model::Function* Reactor::*;

   bool any(Handler handler) const {
      return std::any_of(group_.begin(), group_.end(),
                         [&](const Reactor* reactor) { return reactor->*handler; });
   }

   bool usesKey() const {
      return std::any_of(group_.begin(), group_.end(), [](const Reactor* reactor) {
         return reactor->handler && reactor->watched->isCollection() && !reactor->handler->parameters.empty();
      });
   }

   /// Calls what belongs to the attribute. The machine stays alive until the handler returns.
   std::string body(Handler handler) const {
      std::string text = "   const Vok::Ptr<" + machine_.name + "> keepAlive(&sm_);\n";
      if (first_.everyMember) {
         text += "   const " + spelling_.type(*first_.through->key) +
                 " member = member_; // the handler may end this reactor\n";
      }
      for (const Reactor* reactor : group_) {
         if (reactor->*handler) {
            text += "   if (attr == " + watched_ + "::" + reactor->watched->name + "Attr)\n      sm_." +
                    (reactor->*handler)->name + "(" + arguments(*reactor, handler) + ");\n";
         }
      }
      return text;
   }

   std::string arguments(const Reactor& reactor, Handler handler) const {
      if ((reactor.*handler)->parameters.empty()) {
         return {};
      }
      std::string text = reactor.everyMember ? "member" : "";
      if (handler == &Reactor::handler && reactor.watched->isCollection()) {
         text += (text.empty() ? "" : ", ") + std::string("*static_cast<const ") +
                 spelling_.type(*reactor.watched->key) + "*>(key)";
      }
      return text;
   }

   const Group& group_;
   const Reactor& first_;
   const Model::Entity& machine_;
   const Spelling& spelling_;
   const std::string class_;
   const std::string watched_;
};

} // namespace

ReactorCode emitReactors(const Model::Entity& type, const Spelling& spelling) {
   ReactorCode code;
   std::string members;
   for (const Group& group : groups(type)) {
      const Reactor& reactor = *group.front();
      code.classes += (code.classes.empty() ? "" : "\n") + ReactorEmitter(group, type, spelling).definition();
      code.declarations += "class " + reactor.name + ";\n";
      const std::string member = reactorStorage(reactor);
      if (reactor.everyMember) {
         members += "Vok::HashMap<" + spelling.type(*reactor.through->key) + ", std::unique_ptr<" +
                    reactor.name + ">> " + member + ";\n";
      } else {
         members += "std::unique_ptr<" + reactor.name + "> " + member + ";\n";
      }
      if (type.findParameter(reactor.through->name) == reactor.through) {
         code.constructor.push_back(member + " = std::make_unique<" + reactor.name + ">(*this, " +
                                    stored(reactor.through->name) + ");");
      }
   }
   code.declarations += members;
   return code;
}

} // namespace vokc
