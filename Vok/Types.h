#pragma once
// The scalar types of the model under the names that .vok files use.

#include <cstdint>
#include <string>
#include <string_view>

namespace Vok {

using Bool = bool;
using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;
using U64 = std::uint64_t;
using S32 = std::int32_t;
using S64 = std::int64_t;
using F64 = double;
using String = std::string;

} // namespace Vok
