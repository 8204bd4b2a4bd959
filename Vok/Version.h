#pragma once

namespace Vok {

/// The version of the contract between generated code and this runtime. Generated units assert it,
/// so that code made by one compiler is never built against the runtime of another.
inline constexpr int generationVersion = 2;

} // namespace Vok
