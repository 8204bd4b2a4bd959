#pragma once

#include "tools/mplsctl/formats/JsonEntries.h"

#include "Vok/Type.h"

#include <string>

/// Values of the model as JSON, through reflection: the form that tools::writeValue writes.

namespace mplsctl {

/// Reads a value: numbers and booleans as such, values as objects of their fields, flags as an array of the
/// names of those that are set, all else as its text. Fields
/// that the object does not have keep what they hold. Raises BadWord naming the field, and may then have
/// changed some fields.
void readValue(const JsonNode& node, const Vok::Type& type, void* value);

} // namespace mplsctl
