#include "Pooltab/Preamble.h"

#include "Pooltab/Status.h"

#include <cstdio>
#include <sys/mman.h>

namespace Pooltab {

namespace {

std::string hex(U64 number) {
   char text[24];
   std::snprintf(text, sizeof text, "0x%016llx", static_cast<unsigned long long>(number));
   return text;
}

U32 headerBytesOf(FileKind kind) {
   switch (kind) {
   case FileKind::control:
      return controlHeaderBytes;
   case FileKind::rows:
      return rowsHeaderBytes;
   case FileKind::index:
      return indexHeaderBytes;
   }
   return 0;
}

} // namespace

Preamble makePreamble(FileKind kind, U32 headerBytes, U64 seed) {
   Preamble preamble{};
   preamble.magic = fileMagic;
   preamble.format = formatVersion;
   preamble.endian = endianTag;
   preamble.headerBytes = headerBytes;
   preamble.kind = static_cast<U32>(kind);
   preamble.seed = seed;
   return preamble;
}

Mapping mapChecked(const Descriptor& file, FileKind kind, Access access, U64 bytes, const std::string& what) {
   const U64 size = fileBytes(file);
   if (size < sizeof(Preamble))
      throw MountError(MountStatus::corrupted, what + ": " + std::to_string(size) + " bytes are no table");
   Mapping mapping(file, bytes ? std::max(bytes, size) : size, access, what);
   const Preamble preamble = mapping.at<Preamble>();
   if (preamble.magic != fileMagic)
      throw MountError(MountStatus::corrupted, what + ": does not start as a table does");
   if (preamble.endian != endianTag)
      throw MountError(MountStatus::versionMismatch, what + ": written in another byte order");
   if (preamble.format != formatVersion)
      throw MountError(MountStatus::versionMismatch,
                       what + ": has format " + std::to_string(preamble.format) +
                           ", this library reads format " + std::to_string(formatVersion));
   if (preamble.kind != static_cast<U32>(kind) || preamble.headerBytes != headerBytesOf(kind) ||
       size < headerBytesOf(kind))
      throw MountError(MountStatus::corrupted, what + ": its header is not that of its kind");
   return mapping;
}

void retireFile(const Folder& folder, const std::string& name) {
   const Descriptor file = folder.open(name, Access::write);
   if (!file || fileBytes(file) < sizeof(Preamble))
      return;
   const Mapping mapping(file, sizeof(Preamble), Access::write, folder.where() + "/" + name);
   auto& preamble = mapping.at<Preamble>();
   if (preamble.magic == fileMagic && preamble.endian == endianTag)
      storeRelease(preamble.retired, 1);
}

void checkFingerprint(const Preamble& preamble, U64 fingerprint, const std::string& what) {
   if (preamble.fingerprint != fingerprint)
      throw MountError(MountStatus::fingerprintMismatch,
                       what + ": its rows are declared otherwise (" + hex(preamble.fingerprint) + " there, " +
                           hex(fingerprint) + " here): use writer and reader of one build");
}

} // namespace Pooltab
