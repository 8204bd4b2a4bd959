#pragma once

#include "tools/common/Json.h"

#include "Vok/EntityType.h"

#include <span>

/// Entities shown and changed through reflection: one form for all types.

namespace tools {

/// A line "name  value" for every attribute, a line an entry of its collections, members below their owner.
void printEntity(Output& out, const Vok::Entity& entity, std::size_t indent = 0);
/// An object of all attributes; collections are objects by the text of their keys, sets are arrays.
void writeEntity(Json& json, const Vok::Entity& entity);

/// Sets an attribute from words: a value attribute from its value, a map from a key and a value, a set from
/// what it is to contain. A value of several fields takes a word a field, in declared order; truth is
/// true/false or on/off. Raises Failure( usage ) that says what is expected; the entity stays as it was.
void setAttribute(Vok::Entity& entity, std::string_view attribute, std::span<const std::string> words);
/// Removes an entry of a collection. Returns false when there was none.
bool eraseEntry(Vok::Entity& entity, std::string_view attribute, std::span<const std::string> words);

} // namespace tools
