#pragma once

#include "vokc/Source/Code.h"

namespace vokc {

/// A value or a row: its class, what reflection needs to know of it, and its checks.
Code::Fragment emitValue(const Model::Value& type, const Code::Spelling& spelling);

} // namespace vokc
