#include "Hubdb/StateFile.h"

#include "Hubdb/Path.h"
#include "Hubdb/Wire.h"

#include "Vok/Errors.h"
#include "Vok/Hash.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>

namespace Hubdb {

using Vok::U32;
using Vok::U64;
using Vok::U8;

namespace {

constexpr std::string_view magic = "hubdb 1\n";
constexpr std::size_t headSize = 13; // u32 size of the body, u32 checksum, u8 kind, u32 root
constexpr std::size_t checkedFrom = 8;
constexpr std::size_t maxBody = 2 * Wire::maxLength;

/// Over the size, and all that follows the checksum itself.
U32 checksum(U32 size, Bytes rest) {
   Vok::Hash hash;
   hash.mix(size);
   hash.mix(rest.data(), rest.size());
   return hash.result();
}

/// Reads a file through a window that holds any entry.
class Window {
  public:
   explicit Window(int fd) : fd_(fd), bytes_(4 * maxBody) {}

   /// The next `size` bytes; fewer at the end of the file. Raises std::system_error: what cannot be read is
   /// not to be taken for an end, or it would be cut off.
   Bytes peek(std::size_t size) {
      if (to_ - from_ < size) {
         std::memmove(bytes_.data(), bytes_.data() + from_, to_ - from_);
         to_ -= from_;
         from_ = 0;
         while (to_ < bytes_.size()) {
            const auto got = ::read(fd_, bytes_.data() + to_, bytes_.size() - to_);
            if (got < 0 && errno == EINTR)
               continue;
            if (got < 0)
               throw std::system_error(errno, std::generic_category());
            if (got == 0)
               break;
            to_ += static_cast<std::size_t>(got);
         }
      }
      return Bytes(bytes_).subspan(from_, std::min(size, to_ - from_));
   }
   void skip(std::size_t size) { from_ += size; }

  private:
   const int fd_;
   std::vector<U8> bytes_;
   std::size_t from_ = 0;
   std::size_t to_ = 0;
};

} // namespace

StateFile::StateFile(const Vok::String& path, bool sync, const Visit& visit)
    : path_(path), sync_(sync), file_(openLocked(path, O_RDWR | O_CREAT)) {
   struct stat status {};
   if (fstat(file_.fd(), &status) != 0 || !S_ISREG(status.st_mode))
      throw Vok::Error("state file '" + path_ + "' is not a plain file");
   try {
      size_ = load(visit);
   } catch (const std::system_error& error) {
      throw Vok::Error("state file '" + path_ + "': reading: " + error.code().message());
   }
   if (ftruncate(file_.fd(), static_cast<off_t>(size_)) != 0 || lseek(file_.fd(), 0, SEEK_END) < 0)
      throw Vok::Error(what("cutting its end off"));
   if (size_ == 0)
      start();
   sizeWhenShort_ = size_;
}

Vok::Descriptor StateFile::openLocked(const Vok::String& path, int flags) const {
   Vok::Descriptor file(open(path.c_str(), flags | O_CLOEXEC, 0640));
   if (!file)
      throw Vok::Error(what("opening"));
   if (flock(file.fd(), LOCK_EX | LOCK_NB) != 0)
      throw Vok::Error("state file '" + path + "' is another server's; give each its own");
   return file;
}

Vok::String StateFile::what(const Vok::String& failed) const {
   return "state file '" + path_ + "': " + failed + ": " + std::strerror(errno);
}

void StateFile::start() {
   writeAll(Bytes(reinterpret_cast<const U8*>(magic.data()), magic.size()));
}

/// Returns up to where the file is good.
U64 StateFile::load(const Visit& visit) {
   Window window(file_.fd());
   const Bytes first = window.peek(magic.size());
   if (std::memcmp(first.data(), magic.data(), first.size()) != 0)
      throw Vok::Error("state file '" + path_ + "' holds something else; name another file, or remove it");
   if (first.size() < magic.size())
      return 0;
   U64 at = magic.size();
   window.skip(magic.size());
   try {
      for (;;) {
         const Bytes head = window.peek(headSize);
         if (head.empty())
            return at;
         Vok::NboAttrLog::Reader reader(head.data(), head.size());
         const U32 size = reader.u32();
         const U32 sum = reader.u32();
         const auto kind = static_cast<JournalKind>(reader.u8());
         const U32 root = reader.u32();
         if (size > maxBody)
            throw Vok::LogError("an entry of " + std::to_string(size) + " bytes");
         const Bytes entry = window.peek(headSize + size);
         if (entry.size() < headSize + size)
            throw Vok::LogError("an entry is cut short");
         if (checksum(size, entry.subspan(checkedFrom)) != sum)
            throw Vok::LogError("an entry's checksum is wrong");
         visit(kind, root, entry.subspan(headSize));
         at += headSize + size;
         window.skip(headSize + size);
      }
   } catch (const Vok::Error& error) {
      struct stat status {};
      fstat(file_.fd(), &status);
      cut_ = "state file '" + path_ + "' is cut at byte " + std::to_string(at) + " of " +
             std::to_string(status.st_size) + ": " + error.what();
   }
   return at;
}

void StateFile::append(JournalKind kind, U32 root, Bytes body) {
   const auto size = static_cast<U32>(body.size());
   const std::size_t at = pending_.size();
   pending_.u32(size);
   pending_.u32(0);
   pending_.u8(static_cast<U8>(kind));
   pending_.u32(root);
   pending_.bytes(body.data(), body.size());
   pending_.u32At(at + sizeof(U32), checksum(size, Bytes(pending_.buffer()).subspan(at + checkedFrom)));
   if (rewriting_ && pending_.size() >= Wire::maxLength)
      commit();
}

void StateFile::commit() {
   if (pending_.size() == 0)
      return;
   writeAll(pending_.buffer());
   pending_.clear();
   if (sync_ && !rewriting_ && fdatasync(file_.fd()) != 0)
      throw Vok::Error(what("syncing"));
}

void StateFile::writeAll(Bytes bytes) {
   while (!bytes.empty()) {
      const auto written = ::write(file_.fd(), bytes.data(), bytes.size());
      if (written < 0) {
         if (errno == EINTR)
            continue;
         throw Vok::Error(what("writing"));
      }
      size_ += static_cast<U64>(written);
      bytes = bytes.subspan(static_cast<std::size_t>(written));
   }
}

bool StateFile::isLong() const {
   constexpr U64 worthwhile = 64 << 20;
   return size_ > worthwhile && size_ / 3 > sizeWhenShort_;
}

void StateFile::rewrite(const std::function<void()>& write) {
   const Vok::String newPath = path_ + ".new";
   Vok::Descriptor before = std::exchange(file_, openLocked(newPath, O_RDWR | O_CREAT | O_TRUNC));
   size_ = 0;
   rewriting_ = true;
   start();
   write();
   commit();
   rewriting_ = false;
   if (sync_ && fdatasync(file_.fd()) != 0)
      throw Vok::Error(what("syncing the new contents"));
   if (std::rename(newPath.c_str(), path_.c_str()) != 0)
      throw Vok::Error(what("putting the new contents in place"));
   if (sync_) { // or the old name might come back
      const Vok::String folder(pathFolder(path_));
      const Vok::Descriptor directory(
          open(path_.find('/') == Vok::String::npos ? "." : (folder + "/").c_str(),
               O_RDONLY | O_DIRECTORY | O_CLOEXEC));
      if (!directory || fsync(directory.fd()) != 0)
         throw Vok::Error(what("syncing its directory"));
   }
   sizeWhenShort_ = size_;
}

} // namespace Hubdb
