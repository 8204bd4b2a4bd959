#pragma once

#include "Pooltab/File.h"
#include "Pooltab/Folder.h"
#include "Pooltab/Layout.h"

#include <string>

/// The first 64 bytes of every file: written once, checked by everybody.

namespace Pooltab {

Preamble makePreamble(FileKind kind, U32 headerBytes, U64 seed);

/// Maps a file after checking its preamble: kind, byte order, version, size. `bytes` is the length of the
/// mapping, 0 for the length of the file. Raises MountError with the status that a reader reports.
Mapping mapChecked(const Descriptor& file, FileKind kind, Access access, U64 bytes, const std::string& what);

/// Marks the file of that name, if it is one of ours of whatever version, as replaced: for readers that have
/// it mapped. For a writer that is about to publish another in its place.
void retireFile(const Folder& folder, const std::string& name);

/// Raises MountError (fingerprintMismatch) unless the rows are those that the caller's declaration describes.
void checkFingerprint(const Preamble& preamble, U64 fingerprint, const std::string& what);

} // namespace Pooltab
