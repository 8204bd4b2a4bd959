#include "Pooltab/File.h"

#include "Vok/Errors.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Pooltab {

namespace {

constexpr U64 pageBytes = 4096;
constexpr U64 hugePageBytes = 2 << 20;
constexpr U64 hugeFromBytes = 2 * hugePageBytes;
constexpr int adviceCollapse = 25;      // MADV_COLLAPSE, younger than the C library's headers
constexpr int advicePopulateWrite = 23; // MADV_POPULATE_WRITE

U64 roundUp(U64 bytes, U64 unit) {
   return (bytes + unit - 1) / unit * unit;
}

[[noreturn]] void fullMemory(const std::string& what, U64 to, int error) {
   throw Vok::Error(systemMessage(what + ": cannot grow to " + std::to_string(to) +
                                      " bytes (free shared memory, or enlarge its file system)",
                                  error));
}

/// Gives every byte of the range memory.
void allocate(const Descriptor& file, U64 from, U64 to, const std::string& what) {
   if (from >= to)
      return;
   if (const int error = posix_fallocate(file.fd(), static_cast<off_t>(from), static_cast<off_t>(to - from)))
      fullMemory(what, to, error);
}

/// Turns whole 2 MiB units of the file into huge pages. One page of each unit is allocated first: the system
/// fills in the rest, which is cheaper than copying what was allocated page by page. One call for all of
/// them, since each call waits for every processor once.
bool collapse(const Descriptor& file, const Mapping& mapping, U64 from, U64 to, const std::string& what) {
   for (U64 at = from; at < to; at += hugePageBytes)
      allocate(file, at, at + pageBytes, what);
   return from >= to || madvise(mapping.data() + from, to - from, adviceCollapse) == 0;
}

} // namespace

Mapping::Mapping(const Descriptor& file, U64 bytes, Access access, const std::string& what) {
   const U64 length = roundUp(bytes, pageBytes);
   const U64 room = length + hugePageBytes;
   void* reserved = mmap(nullptr, room, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
   if (reserved == MAP_FAILED)
      throw Vok::Error(
          systemMessage(what + ": no address space for " + std::to_string(bytes) + " bytes", errno));
   const auto start = reinterpret_cast<U64>(reserved);
   const U64 aligned = roundUp(start, hugePageBytes);
   auto* at = reinterpret_cast<std::byte*>(aligned);
   const int protection = access == Access::write ? PROT_READ | PROT_WRITE : PROT_READ;
   if (mmap(at, length, protection, MAP_SHARED | MAP_FIXED | MAP_NORESERVE, file.fd(), 0) == MAP_FAILED) {
      const int error = errno;
      munmap(reserved, room);
      throw Vok::Error(systemMessage(what + ": cannot be mapped", error));
   }
   if (aligned > start)
      munmap(reserved, aligned - start);
   munmap(at + length, start + room - (aligned + length));
   data_ = at;
   bytes_ = length;
}

Mapping::~Mapping() {
   if (data_)
      munmap(data_, bytes_);
}

U64 Mapping::bytesOf(const Descriptor& file) const {
   return std::min(fileBytes(file), bytes_);
}

U64 fileBytes(const Descriptor& file) {
   struct stat status;
   return fstat(file.fd(), &status) == 0 ? static_cast<U64>(status.st_size) : 0;
}

void growFile(const Descriptor& file, const Mapping& mapping, U64 from, U64 to, const std::string& what) {
   const auto byPages = [&](U64 start, U64 end) {
      allocate(file, start, end, what);
      start = start / pageBytes * pageBytes;
      madvise(mapping.data() + start, end - start, advicePopulateWrite);
   };
   if (to < hugeFromBytes) {
      byPages(from, to);
      return;
   }
   // A file that has just become large has its first part collapsed as well.
   const U64 start = from < hugeFromBytes ? 0 : from / hugePageBytes * hugePageBytes;
   if (ftruncate(file.fd(), static_cast<off_t>(to)) != 0)
      fullMemory(what, to, errno);
   const U64 whole = to / hugePageBytes * hugePageBytes;
   byPages(collapse(file, mapping, start, whole, what) ? std::max(from, whole) : from, to);
}

U64 backedBytes(const Descriptor& file, U64 known) {
   const off_t hole = lseek(file.fd(), static_cast<off_t>(known), SEEK_HOLE);
   return hole < 0 ? known : static_cast<U64>(hole);
}

U64 grownBytes(U64 now, U64 needed) {
   constexpr U64 stepMin = 64 << 10, stepMax = 4 * hugePageBytes;
   const U64 wanted = std::max(needed, now + std::clamp(now / 16, stepMin, stepMax));
   return roundUp(wanted, wanted >= hugeFromBytes ? hugePageBytes : pageBytes);
}

std::string systemMessage(const std::string& text, int error) {
   return text + ": " + std::strerror(error);
}

} // namespace Pooltab
