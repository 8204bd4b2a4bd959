#pragma once
// Reflection of entities and state machines: their constructor parameters and attributes, in declared
// order, each readable and writable by name through text or through plain pointers.

#include "Vok/Entity.h"
#include "Vok/Type.h"

#include <functional>

namespace Vok {

enum class AttributeKind : U8 {
   scalar,     ///< a value
   pointer,    ///< a pointer to an entity owned elsewhere
   child,      ///< one optional entity, owned
   set,        ///< a set of values
   map,        ///< values under keys, counters included
   values,     ///< values under a key that is part of them
   members,    ///< entities, created here from their key
   references, ///< pointers to entities owned elsewhere, under keys
   table       ///< rows of a shared-memory table
};

std::string_view stringValue(AttributeKind kind);

/// How an attribute is reached. A function that makes no sense for its kind is null. Mutators act as
/// the generated ones do: they check, store and notify, and raise the same errors.
struct AttributeAccess {
   /// scalar: the stored value.
   const void* (*get)(const Entity&) = nullptr;
   void (*set)(Entity&, const void* value) = nullptr;
   /// Collections: number of entries; the value under a key (sets and entities: the key itself), or null.
   std::size_t (*size)(const Entity&) = nullptr;
   const void* (*find)(const Entity&, const void* key) = nullptr;
   /// Hashed collections of values: bring near what find() and put() will look at; first the place where the
   /// search for a key begins and, with the hint that this returns, a little later the entry.
   U32 (*fetch)(const Entity&, const void* key) = nullptr;
   void (*fetchEntry)(const Entity&, U32 hint) = nullptr;
   /// Adds or replaces an entry; for values and tables `key` is not used, for sets `value` is not.
   void (*put)(Entity&, const void* key, const void* value) = nullptr;
   void (*erase)(Entity&, const void* key) = nullptr;
   /// Visits every entry; survives any change made meanwhile. `value` is null for members.
   void (*walk)(const Entity&,
                const std::function<void(const void* key, const void* value)>& visit) = nullptr;
   /// pointer, child (key unused), members, references: the entity, or null.
   Entity* (*entity)(const Entity&, const void* key) = nullptr;
   /// pointer, references: points to `target`, which must be of the attribute's entity type; null clears a
   /// pointer and a map's entry. `key` is used by maps alone, references take it from the target.
   void (*refer)(Entity&, const void* key, Entity* target) = nullptr;
   /// members, child: creates it from its constructor parameters in declared order, or returns the one that
   /// is there. Null where one of the parameters is a pointer.
   Entity* (*create)(Entity&, std::span<const void* const> parameters) = nullptr;
};

struct Attribute {
   std::string_view name;
   AttrId id = 0;
   AttributeKind kind = AttributeKind::scalar;
   std::string_view doc;
   const Type* keyType = nullptr;   ///< null for scalar, pointer and child
   const Type* valueType = nullptr; ///< null where the values are entities
   const EntityType* (*entityType)() = nullptr;
   String typeName = {};    ///< as declared: "Bool", "map<Name, Mpls::LabelRange>", "members<Mpls::Route>"
   String defaultText = {}; ///< text form of a scalar's default; empty otherwise
   AttributeAccess access = {};
};

/// A constructor parameter: fixed for the entity's life. The first one is its key.
struct Parameter {
   std::string_view name;
   const Type* type; ///< null when it is a pointer to an entity
   String typeName;
   const void* (*get)(const Entity&);
};

/// The description of one entity or machine type. Lives for the whole run.
class EntityType {
  public:
   EntityType(std::string_view name, Kind kind, std::string_view doc, const EntityType* base,
              std::vector<Parameter> parameters, std::vector<Attribute> attributes,
              Ptr<Entity> (*make)(const Name& name) = nullptr);
   EntityType(const EntityType&) = delete;
   EntityType& operator=(const EntityType&) = delete;

   std::string_view name() const { return name_; }
   Kind kind() const { return kind_; }
   std::string_view doc() const { return doc_; }
   const EntityType* base() const { return base_; }
   std::span<const Parameter> parameters() const { return parameters_; }
   /// The base's attributes first, then its own, each in declared order. Index is the AttrId.
   std::span<const Attribute> attributes() const { return attributes_; }
   /// Null when there is none.
   const Attribute* attribute(AttrId id) const {
      return id < attributes_.size() ? &attributes_[id] : nullptr;
   }
   const Attribute* attribute(std::string_view name) const;
   /// True for this type and everything derived from `other`.
   bool isA(const EntityType& other) const;
   /// Makes a named entity; null when the type is not made from a name alone.
   Ptr<Entity> make(const Name& name) const { return make_ ? make_(name) : nullptr; }
   bool isMadeFromName() const { return make_ != nullptr; }
   /// The text of an entity's first parameter; names stand plainly, all else in its text form.
   String keyText(const Entity& entity) const;
   /// Changes with the declaration; see Type::fingerprint().
   U64 fingerprint() const;

  private:
   String name_;
   Kind kind_;
   String doc_;
   const EntityType* base_;
   std::vector<Parameter> parameters_;
   std::vector<Attribute> attributes_;
   Ptr<Entity> (*make_)(const Name&);
};

} // namespace Vok
