#include "vokc/Source/EmitEntity.h"
namespace vokc {
Code::Fragment emitEntity(const Model::Entity&, const SymbolTable&) { return {}; }
} // namespace vokc
