#pragma once

#include "Pooltab/Words.h"

#include "Vok/Descriptor.h"

#include <cstddef>
#include <string>
#include <utility>

/// Descriptors and mappings: the operating system's side of a table.

namespace Pooltab {

using Vok::Descriptor;

enum class Access { read, write };

/// A shared mapping of a file from its first byte, aligned to 2 MiB so that huge pages fit. It may be longer
/// than the file: whoever uses it keeps to the bytes that the file has, and so the file can grow under it.
class Mapping {
  public:
   Mapping() = default;
   /// Raises Vok::Error when the address space has no room. `what` names the file in the message.
   Mapping(const Descriptor& file, U64 bytes, Access access, const std::string& what);
   Mapping(Mapping&& other) noexcept
       : data_(std::exchange(other.data_, nullptr)), bytes_(std::exchange(other.bytes_, 0)) {}
   Mapping& operator=(Mapping&& other) noexcept {
      std::swap(data_, other.data_);
      std::swap(bytes_, other.bytes_);
      return *this;
   }
   ~Mapping();

   explicit operator bool() const { return data_; }
   std::byte* data() const { return data_; }
   U64 bytes() const { return bytes_; }
   /// How many of them the file has now: it may have grown since it was mapped, and end inside a page.
   U64 bytesOf(const Descriptor& file) const;

   template <class T>
   T& at(U64 offset = 0) const {
      return *reinterpret_cast<T*>(data_ + offset);
   }

  private:
   std::byte* data_ = nullptr;
   U64 bytes_ = 0;
};

/// The size of the file as the system knows it now.
U64 fileBytes(const Descriptor& file);

/// Lengthens a file to `to` bytes and makes sure that the memory is there, so that a full memory is this
/// error and not a signal at some later store. Large files get 2 MiB pages where the system gives them.
/// Raises Vok::Error; the file may then be longer, with nothing in it.
void growFile(const Descriptor& file, const Mapping& mapping, U64 from, U64 to, const std::string& what);

/// How many bytes of the file have memory behind them, given that the first `known` do: a growth that was cut
/// off, or ran out of memory, leaves a longer file with holes, and a store into one may end the process.
U64 backedBytes(const Descriptor& file, U64 known);

/// The next size for a file of `now` bytes that needs `needed`: a sixteenth more, but at least 64 KiB and at
/// most 8 MiB, in whole huge pages once it is large.
U64 grownBytes(U64 now, U64 needed);

/// "text: reason of the system".
std::string systemMessage(const std::string& text, int error);

} // namespace Pooltab
