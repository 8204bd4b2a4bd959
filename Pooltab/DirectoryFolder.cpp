#include "Pooltab/DirectoryFolder.h"

#include "Pooltab/Holder.h"
#include "Pooltab/Status.h"

#include <array>
#include <cerrno>
#include <climits>
#include <dirent.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Pooltab {

namespace {

constexpr mode_t directoryMode = 0750;
constexpr mode_t fileMode = 0640;
constexpr mode_t writableByOthers = 0022;
const char* const lockName = "lock";
const char* const doorbellName = "doorbell";
const char* const unpublished = ".new";

/// A lock of the open file description: it dies with the last process that holds the description, and nothing
/// but the kernel has a say in it.
struct flock wholeFile(short type) {
   struct flock lock {};
   lock.l_type = type;
   lock.l_whence = SEEK_SET;
   return lock;
}

class FileLock : public WriterLock {
  public:
   explicit FileLock(Descriptor file) : file_(std::move(file)) {}

  private:
   Descriptor file_;
};

/// Listens to writes on the doorbell. Needs no word to the writer, and no right to write.
class DoorbellListener : public Listener {
  public:
   DoorbellListener(const std::string& root, const std::string& path)
       : events_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
      if (!events_)
         throw Vok::Error(systemMessage(path + ": no inotify instance", errno));
      watch(root, path);
   }
   int descriptor() const override { return events_.fd(); }
   bool drain() override {
      // Events of the doorbell are equal and merge in the queue, so that one read mostly empties it; only one
      // that left no room for another event has to be followed by a second.
      constexpr ssize_t oneMore = sizeof(inotify_event) + NAME_MAX + 1;
      alignas(inotify_event) std::array<char, 4096> events;
      const bool wasOnDoorbell = bell_ >= 0;
      ssize_t size;
      do {
         size = read(events_.fd(), events.data(), events.size());
         look(events.data(), size);
      } while (size > ssize_t{events.size()} - oneMore);
      const bool isRemoved = wasOnDoorbell && bell_ < 0;
      if (bell_ < 0)
         watch(root_, path_);
      return !isRemoved;
   }

  private:
   /// Until the pool is there, its parents are watched for its coming.
   void watch(const std::string& root, const std::string& path) {
      root_ = root;
      path_ = path;
      constexpr U32 coming = IN_CREATE | IN_MOVED_TO | IN_ONLYDIR;
      for (int attempt = 0; attempt < 2 && bell_ < 0; ++attempt) {
         bell_ = inotify_add_watch(events_.fd(), (path + "/" + doorbellName).c_str(), IN_MODIFY);
         if (bell_ < 0 && inotify_add_watch(events_.fd(), path.c_str(), coming) < 0 &&
             inotify_add_watch(events_.fd(), root.c_str(), coming) < 0)
            inotify_add_watch(events_.fd(), parentOf(root).c_str(), coming);
      }
   }
   /// The system ends a watch with what it watched.
   void look(const char* events, ssize_t size) {
      for (ssize_t at = 0; at < size;) {
         const auto& event = reinterpret_cast<const inotify_event&>(events[at]);
         if (event.wd == bell_ && event.mask & IN_IGNORED)
            bell_ = -1;
         at += static_cast<ssize_t>(sizeof event + event.len);
      }
   }
   static std::string parentOf(const std::string& path) {
      const auto slash = path.find_last_of('/');
      return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
   }

   Descriptor events_;
   std::string root_;
   std::string path_;
   int bell_ = -1; ///< the doorbell's watch; none while there is no doorbell
};

void makeDirectory(const std::string& path, mode_t mode) {
   if (mkdir(path.c_str(), mode) != 0 && errno != EEXIST)
      throw Vok::Error(
          systemMessage(path + ": cannot be made (POOLTAB_DIR names the directory of pools)", errno));
   struct stat status;
   if (lstat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
      throw Vok::Error(path + ": is not a directory (remove it, or set POOLTAB_DIR to another place)");
   if (status.st_uid != geteuid() && status.st_uid != 0)
      throw Vok::Error(path + ": belongs to user " + std::to_string(status.st_uid) +
                       ", who could change it under us (set POOLTAB_DIR to a place of your own)");
   if (status.st_mode & writableByOthers && !(status.st_mode & S_ISVTX))
      throw Vok::Error(path +
                       ": others may write there (chmod go-w it, or set POOLTAB_DIR to another place)");
}

} // namespace

DirectoryFolder::DirectoryFolder(std::string root, std::string poolName)
    : root_(std::move(root)), path_(root_ + "/" + poolName) {}

void DirectoryFolder::make() {
   makeDirectory(root_, 0755);
   makeDirectory(path_, directoryMode);
   directory_ = openDirectory();
   if (!directory_)
      throw Vok::Error(systemMessage(path_ + ": cannot be opened", errno));
}

Descriptor DirectoryFolder::openDirectory() const {
   return Descriptor(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

std::unique_ptr<WriterLock> DirectoryFolder::lock() {
   make();
   Descriptor file(openat(directory_.fd(), lockName, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, fileMode));
   if (!file || fchmod(file.fd(), fileMode) != 0)
      throw Vok::Error(systemMessage(path_ + "/" + lockName + ": cannot be opened for writing", errno));
   auto request = wholeFile(F_WRLCK);
   if (fcntl(file.fd(), F_OFD_SETLK, &request) != 0)
      throw Vok::Error(path_ + ": is being written by " + readHolder(file) +
                       "; a pool has one writer: stop that process first");
   writeHolder(file);
   auto right = std::make_unique<FileLock>(std::move(file));
   doorbell_ = open(doorbellName, Access::write);
   if (!doorbell_) {
      doorbell_ = create(doorbellName);
      publish(doorbellName);
   }
   return right;
}

bool DirectoryFolder::isLocked() const {
   const Descriptor directory = openDirectory();
   const Descriptor file(directory ? openat(directory.fd(), lockName, O_RDONLY | O_NOFOLLOW | O_CLOEXEC)
                                   : -1);
   auto query = wholeFile(F_WRLCK);
   return file && fcntl(file.fd(), F_OFD_GETLK, &query) == 0 && query.l_type != F_UNLCK;
}

Descriptor DirectoryFolder::create(const std::string& name) {
   const std::string temporary = name + unpublished;
   unlinkat(directory_.fd(), temporary.c_str(), 0); // left by a writer that was killed
   Descriptor file(openat(directory_.fd(), temporary.c_str(),
                          O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, fileMode));
   // The mode is set here because the process's umask must not have a say.
   if (!file || fchmod(file.fd(), fileMode) != 0)
      throw Vok::Error(systemMessage(path_ + "/" + temporary + ": cannot be made", errno));
   return file;
}

void DirectoryFolder::publish(const std::string& name) {
   const std::string temporary = name + unpublished;
   if (renameat(directory_.fd(), temporary.c_str(), directory_.fd(), name.c_str()) != 0)
      throw Vok::Error(systemMessage(path_ + "/" + temporary + ": cannot be renamed", errno));
}

void DirectoryFolder::remove(const std::string& name) {
   unlinkat(directory_.fd(), name.c_str(), 0);
}

std::vector<std::string> DirectoryFolder::names() const {
   std::vector<std::string> found;
   DIR* listing = opendir(path_.c_str());
   if (!listing)
      return found;
   while (const dirent* entry = readdir(listing))
      if (entry->d_name[0] != '.')
         found.emplace_back(entry->d_name);
   closedir(listing);
   return found;
}

Descriptor DirectoryFolder::open(const std::string& name, Access access) const {
   const std::string what = path_ + "/" + name;
   const Descriptor directory = openDirectory();
   Descriptor file;
   if (directory) {
      const int mode = access == Access::write ? O_RDWR : O_RDONLY;
      file = Descriptor(openat(directory.fd(), name.c_str(), mode | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
   }
   if (!file) {
      if (errno == ENOENT)
         return {};
      throw MountError(MountStatus::permissionDenied, systemMessage(what + ": cannot be opened", errno));
   }
   struct stat whole, part;
   if (fstat(directory.fd(), &whole) != 0 || fstat(file.fd(), &part) != 0 || !S_ISREG(part.st_mode))
      throw MountError(MountStatus::permissionDenied, what + ": is not a plain file");
   if (part.st_uid != whole.st_uid)
      throw MountError(MountStatus::permissionDenied,
                       what + ": belongs to user " + std::to_string(part.st_uid) +
                           ", its directory to user " + std::to_string(whole.st_uid));
   if ((part.st_mode | whole.st_mode) & writableByOthers)
      throw MountError(MountStatus::permissionDenied,
                       what + ": others may write it (chmod go-w file and directory)");
   return file;
}

void DirectoryFolder::ring() {
   // One byte in place: the file stays one byte long, and every watch on it fires.
   if (doorbell_ && pwrite(doorbell_.fd(), "!", 1, 0) != 1)
      throw Vok::Error(systemMessage(path_ + "/" + doorbellName + ": cannot be rung", errno));
}

std::unique_ptr<Listener> DirectoryFolder::listen() {
   return std::make_unique<DoorbellListener>(root_, path_);
}

} // namespace Pooltab
