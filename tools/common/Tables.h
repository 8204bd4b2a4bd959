#pragma once

#include "Pooltab/VokPooltab.h"

#include <memory>
#include <string>

/// Mounting an entity's tables on a pool, with errors that say what to do.

namespace tools {

/// Mounts for writing, making the pool when it is not there. Raises Failure: unreachable when another process
/// writes the pool (the message names it) or the directory cannot be written, versionMismatch, corrupt.
std::unique_ptr<VokPooltab::WriterMount> mountForWriting(Vok::Ptr<Vok::Entity> entity,
                                                         const std::string& pool);

/// Mounts for reading. Raises Failure for a pool that cannot be read; one that is not there raises too, with
/// `absent` as what to do about it, unless `absent` is empty: then its tables are empty ones.
std::unique_ptr<VokPooltab::ReaderMount> mountForReading(Vok::Ptr<Vok::Entity> entity,
                                                         const std::string& pool, const std::string& absent);

} // namespace tools
