#pragma once

#include "vokc/test/SampleMachines.h"

#include <string>
#include <vector>

namespace Sample {

/// What the hand-written bodies were called for, in order. Tests clear it.
extern std::vector<std::string> diary;

} // namespace Sample
