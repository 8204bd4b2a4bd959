#pragma once

#include "tools/common/Json.h"

#include "Vok/Flags.h"

#include <string_view>
#include <vector>

/// Values shown through reflection, so that no tool lists a type's fields a second time.

namespace tools {

/// The text form of a value, without the quotes around a text.
std::string plainText(const Vok::Type& type, const void* value);

/// The fields of a value that has several; null for those that are one word, or written by hand.
const Vok::ValueType* fieldsOf(const Vok::Type& type);

/// A value as JSON: numbers and booleans as such, values as objects of their fields, flags as an array of the
/// names of those that are set, all else as its text.
void writeValue(Json& json, const Vok::Type& type, const void* value);

/// The names of the flags that are set.
std::vector<std::string_view> flagNames(const Vok::FlagsType& type, const void* value);

/// Appends a line "name  text" for every field but `key`, indented by so many blanks.
void printFields(Output& out, const Vok::ValueType& type, const void* value, std::size_t indent);

/// Writes "name": value for every field but `key` into the open object.
void writeFields(Json& json, const Vok::ValueType& type, const void* value);

} // namespace tools
