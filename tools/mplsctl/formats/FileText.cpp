#include "tools/mplsctl/formats/FileText.h"

#include "tools/mplsctl/Command.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace mplsctl {

namespace {

/// The bytes of a file: mapped when it is one, read to the end when it is a pipe or a terminal.
class Content {
  public:
   explicit Content(int descriptor) {
      struct stat status;
      if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0) {
         size_ = static_cast<std::size_t>(status.st_size);
         void* const at = mmap(nullptr, size_, PROT_READ, MAP_PRIVATE | MAP_POPULATE, descriptor, 0);
         if (at != MAP_FAILED) {
            mapped_ = at;
            return;
         }
      }
      readAll(descriptor);
   }
   ~Content() {
      if (mapped_)
         munmap(mapped_, size_);
   }
   Content(const Content&) = delete;
   Content& operator=(const Content&) = delete;

   std::string_view text() const {
      return mapped_ ? std::string_view(static_cast<const char*>(mapped_), size_) : std::string_view(read_);
   }
   /// The number of the error that ended reading; 0 for none.
   int error() const { return error_; }

  private:
   void readAll(int descriptor) {
      constexpr std::size_t portion = 1 << 20;
      for (;;) {
         const std::size_t before = read_.size();
         read_.resize(before + portion);
         const ssize_t got = ::read(descriptor, read_.data() + before, portion);
         read_.resize(before + static_cast<std::size_t>(got > 0 ? got : 0));
         if (got == 0)
            return;
         if (got < 0 && errno != EINTR) {
            error_ = errno;
            return;
         }
      }
   }

   void* mapped_ = nullptr;
   std::size_t size_ = 0;
   std::string read_;
   int error_ = 0;
};

[[noreturn]] void cannotRead(const std::string& path, int error) {
   throw Failure(Outcome::usage, fmt::format("cannot read {}: {}", path, std::strerror(error)),
                 "give a file that you may read, or - for standard input");
}

} // namespace

void withFileText(const std::string& path,
                  const std::function<void(const std::string& name, std::string_view text)>& use) {
   const bool isStdin = path == "-";
   const int descriptor = isStdin ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
   const std::string name = isStdin ? "<stdin>" : path;
   if (descriptor < 0)
      cannotRead(name, errno);
   const Content content(descriptor);
   if (!isStdin)
      close(descriptor);
   if (content.error())
      cannotRead(name, content.error());
   use(name, content.text());
}

} // namespace mplsctl
