#include "vokc/Source/Dependencies.h"

#include <algorithm>

namespace vokc {

using Model::Type;

namespace {

class Collector {
  public:
   explicit Collector(const Model::Unit& unit) : unit_(unit) {}

   Dependencies run() {
      for (const Type* type : unit_.types) {
         if (type->kind == Type::Kind::value) {
            value(static_cast<const Model::Value&>(*type));
         } else if (type->kind == Type::Kind::entity) {
            result_.hasEntities = true;
            entity(static_cast<const Model::Entity&>(*type));
         } else if (type->kind == Type::Kind::externalValue || type->kind == Type::Kind::externalEntity) {
            result_.headers.insert(type->header);
         }
      }
      std::sort(result_.forward.begin(), result_.forward.end(),
                [](const Type* a, const Type* b) { return a->order < b->order; });
      return std::move(result_);
   }

  private:
   void use(const Type* type) {
      if (!type || type->kind == Type::Kind::builtin) {
         return;
      }
      const bool sameFile = type->span.file == unit_.types.front()->span.file;
      const bool isExternal =
          type->kind == Type::Kind::externalValue || type->kind == Type::Kind::externalEntity;
      if (isExternal || !sameFile || (type->unit != unit_.name && type->order < unit_.types.front()->order)) {
         result_.headers.insert(type->header);
      } else if (type->isEntity() && !type->parent &&
                 std::find(result_.forward.begin(), result_.forward.end(), type) == result_.forward.end()) {
         result_.forward.push_back(type);
      }
   }

   void functions(const std::vector<std::unique_ptr<Model::Function>>& functions) {
      for (const auto& function : functions) {
         use(function->result.type);
         for (const Model::Parameter& parameter : function->parameters) {
            use(parameter.type.type);
         }
      }
   }

   void constants(const std::vector<Model::Constant>& constants) {
      for (const Model::Constant& constant : constants) {
         use(constant.type);
      }
   }

   void attributes(const std::vector<Model::Attribute>& attributes) {
      for (const Model::Attribute& attribute : attributes) {
         use(attribute.type);
         use(attribute.key);
         result_.hasTables = result_.hasTables || attribute.kind == Model::Attribute::Kind::table;
      }
   }

   void value(const Model::Value& type) {
      attributes(type.fields);
      functions(type.functions);
      constants(type.constants);
      for (const Model::Invariant& invariant : type.invariants) {
         for (const Model::Expression& operand : invariant.condition->operands) {
            use(operand.owner);
         }
      }
   }

   void entity(const Model::Entity& type) {
      use(type.base);
      attributes(type.parameters);
      attributes(type.attributes);
      functions(type.functions);
      constants(type.constants);
   }

   const Model::Unit& unit_;
   Dependencies result_;
};

} // namespace

Dependencies dependenciesOf(const Model::Unit& unit) {
   return unit.types.empty() ? Dependencies() : Collector(unit).run();
}

} // namespace vokc
