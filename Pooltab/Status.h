#pragma once

#include "Pooltab/Words.h"

#include "Vok/Errors.h"

#include <string>

/// What a reader's mount of a table is worth, and the numbers of a table.

namespace Pooltab {

enum class MountStatus : U8 {
   unmounted = 0,           ///< nothing of that name is there yet
   mounted = 1,             ///< rows can be read
   versionMismatch = 2,     ///< written by another version of this library
   fingerprintMismatch = 3, ///< written by a build that declares the row otherwise
   permissionDenied = 4,    ///< files that this user may not read, or must not trust
   corrupted = 5,           ///< not what a writer leaves behind
};

/// The enumerator's name.
const char* mountStatusName(MountStatus status);

/// Raised while mounting; readers keep status and text instead of passing it on.
class MountError : public Vok::Error {
  public:
   MountError(MountStatus status, const std::string& text) : Vok::Error(text), status_(status) {}
   MountStatus status() const { return status_; }

  private:
   MountStatus status_;
};

struct TableStatistics {
   std::string name;
   U64 rows = 0;
   U64 bytes = 0;       ///< of shared memory, rows and index
   U64 capacity = 0;    ///< rows that the index holds before it grows
   U64 changes = 0;     ///< writes so far
   U64 logPosition = 0; ///< changes of the whole pool announced so far
   U64 epoch = 0;       ///< how often a writer took the pool over
   U64 writerPid = 0;   ///< the last writer's
   bool writerAlive = false;
};

} // namespace Pooltab
