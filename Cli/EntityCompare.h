#pragma once
// What distinguishes entities of one type, entry by entry, and what became of an entity in two places. Works
// over reflection, so that it knows no type in particular.

#include "Vok/EntityType.h"

#include <optional>
#include <vector>

namespace Cli::Session {

/// The piece of an entity that is compared and copied as one: an attribute of a single value, or what stands
/// under one key of a collection; a member with everything below it.
struct Entry {
   const Vok::Attribute* attribute;
   std::optional<Vok::AnyValue> key; ///< nothing where the attribute has none

   const void* keyData() const { return key ? key->data() : nullptr; }
};

/// True when both are of one type and all that they hold is equal: values, and members with everything below
/// them. Pointers are equal that lead to one entity. Rows of shared tables are no part of an entity, and are
/// not looked at.
bool isEqual(const Vok::Entity& a, const Vok::Entity& b);
/// The same of one entry of two entities of its type. What neither has is equal.
bool isEqual(const Entry& entry, const Vok::Entity& a, const Vok::Entity& b);

/// The entries in which two entities of one type differ: attributes in declared order; of a collection those
/// that `b` lacks or has otherwise, in the order of `a`, then those that `a` lacks.
std::vector<Entry> differences(const Vok::Entity& a, const Vok::Entity& b);

/// What became of an entity elsewhere, since the time when it was like here.
struct Divergence {
   std::vector<Entry> elsewhere; ///< changed elsewhere, and here as it was
   std::vector<Entry> both;      ///< changed in both places, and not to the same

   bool empty() const { return elsewhere.empty() && both.empty(); }
};

/// Compares three states of one entity: `base`, from which both others come. What changed in both places to
/// the same is no divergence.
Divergence divergence(const Vok::Entity& base, const Vok::Entity& here, const Vok::Entity& elsewhere);

} // namespace Cli::Session
