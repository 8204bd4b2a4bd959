#pragma once
// Hubdb::MountStatus: how a mount ended.

#include "Vok/Types.h"

#include <string_view>

namespace Hubdb {

enum class MountStatus : Vok::U8 {
   success = 0,
   unreachable = 1,      ///< there is no server to ask, and the manager does not wait for one
   notFound = 2,         ///< what was mounted has been deleted
   wrongType = 3,        ///< something else than what was asked for stands at the path
   wrongDeclaration = 4, ///< the other side was built from another declaration of the type
   owned = 5,            ///< another process owns the path, and lives
   forbidden = 6,        ///< the configuration does not let this peer read or own the path
};

/// The status of a mount whose entities are there.
constexpr MountStatus mountSuccess() {
   return MountStatus::success;
}

/// The enumerator's name, as traces show it; "unknown" for anything else.
std::string_view stringValue(MountStatus status);

} // namespace Hubdb
