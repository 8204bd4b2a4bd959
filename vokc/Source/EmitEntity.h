#pragma once

#include "vokc/Source/Code.h"

namespace vokc {

/// An entity or machine: its class with nested types and reactors, its notifiee, its factory.
Code::Fragment emitEntity(const Model::Entity& type, const SymbolTable& symbols);

} // namespace vokc
