#pragma once

#include "Pooltab/Folder.h"
#include "Pooltab/Status.h"
#include "Vok/Ptr.h"

#include <memory>
#include <string>

namespace Mpls {
class LfibStatus;
}

/// Opening the published LFIB, with errors that say what to do.

namespace tools {

/// The tables of an LFIB, mounted in this process as reader or as writer for as long as the object lives.
class Lfib {
  public:
   virtual ~Lfib() = default;
   virtual const Vok::Ptr<Mpls::LfibStatus>& status() const = 0;
   /// Shows readers everything that was written since the last call, and wakes those that sleep. A reader's
   /// does nothing.
   virtual void publish() = 0;
};

/// Raises Failure: unreachable when there is no such pool or no right to it, versionMismatch, corrupt.
std::unique_ptr<Lfib> openReader(const std::string& pool);

/// As openReader, but tables that are not there yet are empty ones: to tell what a writer would do.
std::unique_ptr<Lfib> openForDryRun(const std::string& pool);

/// Makes the pool when it is not there. Raises Failure: unreachable when another process writes the pool
/// (the message names it) or the directory cannot be written, versionMismatch, corrupt.
std::unique_ptr<Lfib> openWriter(const std::string& pool);

/// The folder of a pool. Raises Failure for a name that cannot be one.
std::shared_ptr<Pooltab::Folder> folderOf(const std::string& pool);

/// Raises Failure unless the status is `mounted`; `why` is the table's own word on it.
void requireMounted(const Pooltab::Folder& folder, Pooltab::MountStatus status, const std::string& why);

} // namespace tools
