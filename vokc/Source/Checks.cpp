#include "vokc/Source/Checks.h"
namespace vokc {
void check(const Model::Schema&, Diagnostics&) {}
} // namespace vokc
