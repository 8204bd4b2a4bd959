#include "vokc/Source/EmitAttribute.h"

#include "vokc/Source/EmitField.h"

namespace vokc {

using namespace Code;
using Model::Attribute;
using Kind = Model::Attribute::Kind;

bool isDeclaredBelow(const Attribute& attribute, const Model::Entity& owner) {
   return attribute.type && attribute.type->isEntity() && attribute.type->span.file == owner.span.file &&
          attribute.type->order >= owner.order;
}

std::vector<const Model::Reactor*> attributeReactors(const Attribute& attribute, const Model::Entity& owner) {
   std::vector<const Model::Reactor*> found;
   for (const Model::Reactor& reactor : owner.reactors) {
      const bool again = !found.empty() && found.back()->name == reactor.name;
      if (reactor.through && reactor.through->name == attribute.name && !again) {
         found.push_back(&reactor);
      }
   }
   return found;
}

std::string reactorStorage(const Model::Reactor& reactor) {
   return stored(lower(reactor.name));
}

namespace {

class AttributeEmitter {
  public:
   AttributeEmitter(const Attribute& attribute, const Model::Entity& owner, const Spelling& spelling)
       : attribute_(attribute), owner_(owner), spelling_(spelling), name_(attribute.name),
         member_(stored(name_)), id_(name_ + "Attr"), below_(isDeclaredBelow(attribute, owner)) {
      if (attribute.key) {
         key_ = spelling.passed(*attribute.key);
      }
      if (attribute.type && attribute.type->isEntity()) {
         pointer_ = spelling.pointer(*attribute.type, attribute.isConst);
      }
   }

   AttributeCode run() {
      code_.accessors = docs(attribute_.docs);
      switch (attribute_.kind) {
      case Kind::scalar:
         scalar();
         break;
      case Kind::pointer:
         pointer();
         break;
      case Kind::optional:
         child();
         break;
      case Kind::members:
         members();
         break;
      case Kind::references:
         references();
         break;
      case Kind::table:
         table();
         break;
      case Kind::set:
      case Kind::orderedSet:
         set();
         break;
      default:
         attribute_.ofPointers ? mapOfPointers() : map();
      }
      return std::move(code_);
   }

  private:
   /// A function that can stand in the class.
   void add(const std::string& head, const std::string& body) { code_.accessors += inlined(head, body); }

   /// A function that needs its entity complete: in the .gen.cpp when that is declared below.
   void addComplete(const std::string& result, const std::string& head, const std::string& body) {
      below_ ? addOutside(result, head, "   " + body + "\n") : add(result + " " + head, body);
   }

   void addOutside(const std::string& result, const std::string& head, const std::string& body) {
      code_.accessors += result + " " + head + ";\n";
      code_.source += (code_.source.empty() ? "" : "\n") + result + " " + className(owner_) + "::" + head +
                      " {\n" + body + "}\n";
   }

   void describe(const std::string& builder, const std::vector<std::string>& functions,
                 const std::vector<std::string>& more = {}) {
      const std::string owner = className(owner_);
      std::vector<std::string> members = {"&" + owner + "::" + member_};
      for (const std::string& function : functions) {
         members.push_back("&" + owner + "::" + name_ + function);
      }
      std::vector<std::string> arguments = {literal(name_), id_, docLiteral(attribute_.docs)};
      arguments.insert(arguments.end(), more.begin(), more.end());
      code_.descriptor = list(list(builder + "<", members, ">(", 8), arguments, "),", 8);
      code_.descriptor.pop_back(); // a comma follows all but the last one
   }

   std::string typeName(const std::string& word) const {
      return literal(word + "<" + (attribute_.isConst ? "const " : "") + attribute_.type->qualifiedName() +
                     ">");
   }

   void scalar() {
      const std::string passed = spelling_.passed(*attribute_.type);
      code_.storage = spelling_.type(*attribute_.type);
      add(passed + " " + name_ + "() const", "return " + member_ + ";");
      if (const Model::Function* handler = ownHandler()) {
         addOutside("void", name_ + "Is(" + passed + " value)",
                    "   if (" + member_ + " == value)\n      return;\n   vokSet(" + member_ + ", value, " +
                        id_ + ");\n   " + handler->name + "();\n");
      } else {
         add("void " + name_ + "Is(" + passed + " value)", "vokSet(" + member_ + ", value, " + id_ + ");");
      }
      if (attribute_.isCounter) {
         const std::string sum = "static_cast<" + code_.storage + ">(" + member_ + " + by)";
         code_.accessors += "/// Adds, modulo the size of the counter, and returns the new value.\n" +
                            code_.storage + " " + name_ + "Inc(" + code_.storage + " by = 1) {\n   vokSet(" +
                            member_ + ", " + sum + ", " + id_ + ");\n   return " + member_ + ";\n}\n";
      }
      const std::string initial = spelling_.initializer(attribute_);
      describe("Vok::scalarAttribute", {"Is"}, {initial.starts_with(" = ") ? initial.substr(3) : "{}"});
   }

   void pointer() {
      code_.storage = pointer_;
      add("const " + pointer_ + "& " + name_ + "() const", "return " + member_ + ";");
      const std::string head = name_ + "Is(const " + pointer_ + "& value)";
      const std::string store = "vokSet(" + member_ + ", value, " + id_ + ");";
      const std::vector<const Model::Reactor*> reactors = attributeReactors(attribute_, owner_);
      if (reactors.empty()) {
         addComplete("void", head, store);
      } else {
         std::string body = "   if (" + member_ + " == value)\n      return;\n";
         for (const Model::Reactor* reactor : reactors) {
            body += "   " + reactorStorage(*reactor) + " = std::make_unique<" + reactor->name +
                    ">(*this, value);\n";
         }
         addOutside("void", head, body + "   " + store + "\n");
      }
      describe("Vok::pointerAttribute", {"Is"}, {typeName("pointer")});
   }

   /// Parameters of a child's constructor from the `first` on, and the same as arguments.
   std::vector<std::string> childParameters(std::size_t first, std::string& arguments) const {
      std::vector<std::string> parameters;
      const auto& child = static_cast<const Model::Entity&>(*attribute_.type);
      for (std::size_t i = first; i < child.parameters.size(); ++i) {
         const Attribute& parameter = child.parameters[i];
         const std::string type = parameter.kind == Kind::pointer
                                      ? "const " + spelling_.pointer(*parameter.type, parameter.isConst) + "&"
                                      : spelling_.passed(*parameter.type);
         parameters.push_back(type + " " + parameter.name);
         arguments += ", " + parameter.name;
      }
      return parameters;
   }

   void child() {
      std::string arguments;
      const std::vector<std::string> parameters = childParameters(0, arguments);
      code_.storage = pointer_;
      code_.accessors += "/// Null when there is none.\n";
      add("const " + pointer_ + "& " + name_ + "() const", "return " + member_ + ";");
      code_.accessors += "/// Creates it, or returns the one that is there.\n";
      addComplete(pointer_, list(name_ + "Is(", parameters, ")"),
                  "return vokChildIs(" + member_ + ", " + id_ + arguments + ");");
      addComplete("void", name_ + "Del()", "vokChildDel(" + member_ + ", " + id_ + ");");
      describe("Vok::childAttribute", {"Is", "Del"}, {typeName("optional")});
   }

   void readers() { code_.accessors += collectionReaders(name_, key_); }

   void tail(const std::string& del = "vokDel") {
      const std::vector<const Model::Reactor*> reactors = attributeReactors(attribute_, owner_);
      if (reactors.empty()) {
         addComplete("void", name_ + "Del(" + key_ + " key)", del + "(" + member_ + ", " + id_ + ", key);");
         addComplete("void", name_ + "DelAll()", del + "All(" + member_ + ", " + id_ + ");");
      } else {
         reactorRemoval(reactors, del);
      }
      add("void " + name_ + "Notify(" + key_ + " key) const", "vokNotify(" + id_ + ", &key);");
      add("auto " + name_ + "Each() const", "return Vok::Each(this, " + member_ + ");");
   }

   void reactorRemoval(const std::vector<const Model::Reactor*>& reactors, const std::string& del) {
      const std::string type = spelling_.type(*attribute_.key);
      std::string body = "   const " + type + " removed = key;\n";
      for (const Model::Reactor* reactor : reactors) {
         body += "   " + reactorStorage(*reactor) + ".del(removed);\n";
      }
      addOutside("void", name_ + "Del(" + key_ + " key)",
                 body + "   " + del + "(" + member_ + ", " + id_ + ", removed);\n");
      addOutside("void", name_ + "DelAll()",
                 "   for (const auto& entry : Vok::Each(this, " + member_ + "))\n      " + name_ +
                     "Del(entry.key);\n");
   }

   void map() {
      const std::string value = spelling_.type(*attribute_.type);
      const bool ordered = attribute_.kind == Kind::orderedMap;
      const bool keyed = attribute_.kind == Kind::values;
      code_.storage = "Vok::" + std::string(ordered ? "OrderedMap<" : "HashMap<") +
                      spelling_.type(*attribute_.key) + ", " + value + ">";
      code_.accessors += "/// The default value when there is none.\n";
      add(value + " " + name_ + "(" + key_ + " key) const", "return vokGet(" + member_ + ", key);");
      readers();
      const std::string passed = spelling_.passed(*attribute_.type);
      if (keyed) {
         add("void " + name_ + "Is(" + passed + " value)",
             "vokMapIs(" + member_ + ", " + id_ + ", value." + attribute_.keyName + "(), value);");
      } else {
         add("void " + name_ + "Is(" + key_ + " key, " + passed + " value)",
             "vokMapIs(" + member_ + ", " + id_ + ", key, value);");
      }
      if (attribute_.kind == Kind::counters) {
         code_.accessors += "/// Adds, modulo the size of the counter, and returns the new value.\n";
         add(value + " " + name_ + "Inc(" + key_ + " key, " + value + " by = 1)",
             "return vokInc(" + member_ + ", " + id_ + ", key, by);");
      }
      tail();
      describe(attribute_.kind == Kind::counters ? "Vok::counterAttribute"
               : keyed                           ? "Vok::valuesAttribute"
                                                 : "Vok::mapAttribute",
               {"Is", "Del"});
   }

   void mapOfPointers() {
      const bool ordered = attribute_.kind == Kind::orderedMap;
      const std::string word = ordered ? "ordered map<" : "map<";
      code_.storage = "Vok::" + std::string(ordered ? "OrderedMap<" : "HashMap<") +
                      spelling_.type(*attribute_.key) + ", " + pointer_ + ">";
      code_.accessors += "/// Null when there is none.\n";
      addComplete(pointer_, name_ + "(" + key_ + " key) const", "return vokGet(" + member_ + ", key);");
      readers();
      addComplete("void", name_ + "Is(" + key_ + " key, const " + pointer_ + "& value)",
                  "vokMapIs(" + member_ + ", " + id_ + ", key, value);");
      tail();
      const std::string pointee =
          std::string(attribute_.isConst ? "const " : "") + attribute_.type->qualifiedName();
      describe("Vok::referencesAttribute", {"Is", "Del"},
               {literal(word + attribute_.key->qualifiedName() + ", pointer<" + pointee + ">>")});
   }

   void set() {
      code_.storage =
          "Vok::" + std::string(attribute_.kind == Kind::orderedSet ? "OrderedSet<" : "HashSet<") +
          spelling_.type(*attribute_.key) + ">";
      add("bool " + name_ + "(" + key_ + " key) const", "return " + member_ + ".has(key);");
      readers();
      code_.accessors += "/// Adds the key, or removes it when it is not to be present.\n";
      if (const Model::Function* handler = ownHandler()) {
         watchedSet(*handler);
         return;
      }
      code_.accessors += "void " + name_ + "Is(" + key_ +
                         " key, bool present = true) {\n   present ? vokSetIs(" + member_ + ", " + id_ +
                         ", key) : vokDel(" + member_ + ", " + id_ + ", key);\n}\n";
      tail();
      describe("Vok::setAttribute", {"Is", "Del"});
   }

   /// The function that the machine wants called when this attribute of its own changes.
   const Model::Function* ownHandler() const {
      for (const Model::Reactor& reactor : owner_.reactors) {
         if (!reactor.through && reactor.watched->name == name_) {
            return reactor.handler;
         }
      }
      return nullptr;
   }

   void watchedSet(const Model::Function& handler) {
      const std::string call = handler.name + (handler.parameters.empty() ? "()" : "(changed)");
      code_.accessors += "void " + name_ + "Is(" + key_ + " key, bool present = true);\n";
      code_.source =
          "void " + className(owner_) + "::" + name_ + "Is(" + key_ + " key, bool present) {\n   if (" +
          member_ + ".has(key) == present)\n      return;\n   const " + spelling_.type(*attribute_.key) +
          " changed = key; // which may stand in the set\n   present ? vokSetIs(" + member_ + ", " + id_ +
          ", changed) : vokDel(" + member_ + ", " + id_ + ", changed);\n   " + call + ";\n}\n";
      add("void " + name_ + "Del(" + key_ + " key)", name_ + "Is(key, false);");
      addOutside("void", name_ + "DelAll()",
                 "   for (const auto& key : Vok::Each(this, " + member_ + "))\n      " + name_ +
                     "Del(key);\n");
      add("void " + name_ + "Notify(" + key_ + " key) const", "vokNotify(" + id_ + ", &key);");
      add("auto " + name_ + "Each() const", "return Vok::Each(this, " + member_ + ");");
      describe("Vok::setAttribute", {"Is", "Del"});
   }

   void members() {
      std::string arguments;
      std::vector<std::string> parameters = childParameters(1, arguments);
      parameters.insert(parameters.begin(), key_ + " key");
      code_.storage = "Vok::HashMap<" + spelling_.type(*attribute_.key) + ", " + pointer_ + ">";
      code_.accessors += "/// Null when there is none.\n";
      addComplete(pointer_, name_ + "(" + key_ + " key) const", "return vokGet(" + member_ + ", key);");
      readers();
      code_.accessors += "/// Creates the member, or returns the one that is there.\n";
      const std::string made = "vokMemberIs<" + spelling_.type(*attribute_.type) + ">(" + member_ + ", " +
                               id_ + ", key" + arguments + ")";
      const std::vector<const Model::Reactor*> reactors = attributeReactors(attribute_, owner_);
      const std::string head = list(name_ + "Is(", parameters, ")");
      if (reactors.empty()) {
         addComplete(pointer_, head, "return " + made + ";");
      } else {
         addOutside(pointer_, head,
                    "   const bool added = !" + member_ + ".has(key);\n   const " + pointer_ +
                        " member = " + made + ";\n   if (added) {\n" +
                        indented(reactorCreation(reactors, "key", "member"), 3) +
                        "   }\n   return member;\n");
      }
      tail("vokMemberDel");
      describe("Vok::membersAttribute", {"Is", "Del"}, {typeName("members")});
   }

   void references() {
      code_.storage = "Vok::HashMap<" + spelling_.type(*attribute_.key) + ", " + pointer_ + ">";
      code_.accessors += "/// Null when there is none.\n";
      addComplete(pointer_, name_ + "(" + key_ + " key) const", "return vokGet(" + member_ + ", key);");
      readers();
      code_.accessors +=
          "/// Stores the pointer under the key of its entity. Raises Vok::RangeError for null.\n";
      const std::string message = "null _" + name_ + " parameter to mutator for " + owner_.qualifiedName() +
                                  "::" + name_ + " not allowed\"";
      std::string body = "   if (!" + name_ + ")\n";
      const std::string one = "      throw Vok::RangeError(" + literal(message) + ");\n";
      body += one.size() - 1 <= columnLimit
                  ? one
                  : "      throw Vok::RangeError(\n          " + literal(message) + ");\n";
      const std::vector<const Model::Reactor*> reactors = attributeReactors(attribute_, owner_);
      const std::string key = name_ + "->" + attribute_.keyName + "()";
      if (!reactors.empty()) {
         body += "   const bool known = this->" + name_ + "(" + key + ") == " + name_ + ";\n";
      }
      body += "   vokMapIs(" + member_ + ", " + id_ + ", " + key + ", " + name_ + ");\n";
      if (!reactors.empty()) {
         body += "   if (!known) {\n" + indented(reactorCreation(reactors, key, name_), 3) + "   }\n";
      }
      addOutside("void", name_ + "Is(const " + pointer_ + "& " + name_ + ")", body);
      tail();
      describe("Vok::referencesAttribute", {"Is", "Del"}, {typeName("references")});
   }

   /// The reactor of a new member, and its start handler.
   static std::string reactorCreation(const std::vector<const Model::Reactor*>& reactors,
                                      const std::string& key, const std::string& member) {
      std::string text;
      for (const Model::Reactor* reactor : reactors) {
         text += "   " + reactorStorage(*reactor) + ".is(" + key + ", std::make_unique<" + reactor->name +
                 ">(*this, " + key + ", " + member + "));\n";
         if (reactor->start) {
            text +=
                "   " + reactor->start->name + "(" + (reactor->start->parameters.empty() ? "" : key) + ");\n";
         }
      }
      return text;
   }

   void table() {
      const std::string row = spelling_.type(*attribute_.type);
      const std::string& check = attribute_.check;
      const std::string afterRow =
          check.empty() ? "" : check + "(" + (attribute_.checkBy == "row" ? "row" : "row.rowKey()") + ");";
      // A check that takes rows has nothing to look at once the row is gone.
      const std::string afterKey = check.empty() || attribute_.checkBy == "row" ? "" : check + "(key);";
      const auto change = [&](const std::string& head, const std::string& call, const std::string& after) {
         code_.accessors +=
             after.empty() ? inlined(head, call) : head + " {\n   " + call + "\n   " + after + "\n}\n";
      };
      code_.storage = "Pooltab::Collection<" + row + ">";
      code_.accessors += "/// The default row when there is none.\n";
      add(row + " " + name_ + "(" + key_ + " key) const", "return " + member_ + ".get(key);");
      readers();
      change("void " + name_ + "Is(const " + row + "& row)", member_ + ".is(row);", afterRow);
      code_.accessors += "/// Writes only a row that differs; returns whether it did.\n";
      const std::string commit = member_ + ".commit(row);";
      if (check.empty()) {
         add("bool " + name_ + "Commit(const " + row + "& row)", "return " + commit);
      } else {
         code_.accessors += "bool " + name_ + "Commit(const " + row +
                            "& row) {\n   const bool written = " + commit + "\n   " + afterRow +
                            "\n   return written;\n}\n";
      }
      change("void " + name_ + "Del(" + key_ + " key)", member_ + ".del(key);", afterKey);
      add("void " + name_ + "DelAll()", member_ + ".delAll();");
      add("auto " + name_ + "Each() const", "return " + member_ + ".each();");
      add("void " + name_ + "Notify(" + key_ + " key) const", "vokNotify(" + id_ + ", &key);");
      add("void " + name_ + "NotifyCollection() const", "vokNotifyCollection(" + id_ + ");");
      add("void " + name_ + "NotifyMountStatus() const", "vokNotifyMountStatus(" + id_ + ");");
      add("Pooltab::CollectionControl& " + name_ + "Control()", "return " + member_ + ".control();");
      add("Pooltab::Collection<" + row + ">& " + name_ + "Table()", "return " + member_ + ";");
      add("const Pooltab::Collection<" + row + ">& " + name_ + "Table() const", "return " + member_ + ";");
      describe("Pooltab::tableAttribute", {"Is", "Del"});
   }

   const Attribute& attribute_;
   const Model::Entity& owner_;
   const Spelling& spelling_;
   const std::string name_, member_, id_;
   const bool below_;
   std::string key_, pointer_;
   AttributeCode code_;
};

} // namespace

AttributeCode emitAttribute(const Attribute& attribute, const Model::Entity& owner,
                            const Spelling& spelling) {
   return AttributeEmitter(attribute, owner, spelling).run();
}

} // namespace vokc
