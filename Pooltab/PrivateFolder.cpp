#include "Pooltab/PrivateFolder.h"

#include "Vok/Errors.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <unistd.h>

namespace Pooltab {

class PrivateFolder::Lock : public WriterLock {
  public:
   explicit Lock(std::shared_ptr<PrivateFolder> folder) : folder_(std::move(folder)) {}
   ~Lock() override {
      const std::lock_guard guard(folder_->mutex_);
      folder_->locked_ = false;
   }

  private:
   std::shared_ptr<PrivateFolder> folder_;
};

class PrivateFolder::Bell : public Listener {
  public:
   explicit Bell(std::shared_ptr<PrivateFolder> folder)
       : folder_(std::move(folder)), event_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
      if (!event_)
         throw Vok::Error(systemMessage(folder_->where() + ": no event descriptor", errno));
      const std::lock_guard guard(folder_->mutex_);
      folder_->bells_.insert(this);
   }
   ~Bell() override {
      const std::lock_guard guard(folder_->mutex_);
      folder_->bells_.erase(this);
   }
   int descriptor() const override { return event_.fd(); }
   bool drain() override {
      eventfd_t count;
      eventfd_read(event_.fd(), &count);
      return true;
   }

  private:
   std::shared_ptr<PrivateFolder> folder_;
   Descriptor event_;
};

std::unique_ptr<WriterLock> PrivateFolder::lock() {
   const std::lock_guard guard(mutex_);
   if (locked_)
      throw Vok::Error(where() + ": is being written by process " + std::to_string(getpid()) +
                       " (this one); a pool has one writer: close it first");
   locked_ = true;
   return std::make_unique<Lock>(shared_from_this());
}

bool PrivateFolder::isLocked() const {
   const std::lock_guard guard(mutex_);
   return locked_;
}

Descriptor PrivateFolder::create(const std::string& name) {
   Descriptor file(memfd_create(name.c_str(), MFD_CLOEXEC));
   Descriptor kept(file ? fcntl(file.fd(), F_DUPFD_CLOEXEC, 0) : -1);
   if (!kept)
      throw Vok::Error(systemMessage(where() + ": " + name + " cannot be made", errno));
   const std::lock_guard guard(mutex_);
   unpublished_[name] = std::move(kept);
   return file;
}

void PrivateFolder::publish(const std::string& name) {
   const std::lock_guard guard(mutex_);
   files_[name] = std::move(unpublished_[name]);
   unpublished_.erase(name);
}

void PrivateFolder::remove(const std::string& name) {
   const std::lock_guard guard(mutex_);
   files_.erase(name);
}

std::vector<std::string> PrivateFolder::names() const {
   const std::lock_guard guard(mutex_);
   std::vector<std::string> found;
   for (const auto& [name, file] : files_)
      found.push_back(name);
   return found;
}

Descriptor PrivateFolder::open(const std::string& name, Access) const {
   const std::lock_guard guard(mutex_);
   const auto file = files_.find(name);
   return file == files_.end() ? Descriptor() : Descriptor(fcntl(file->second.fd(), F_DUPFD_CLOEXEC, 0));
}

void PrivateFolder::ring() {
   const std::lock_guard guard(mutex_);
   for (Bell* bell : bells_)
      eventfd_write(bell->descriptor(), 1);
}

std::unique_ptr<Listener> PrivateFolder::listen() {
   return std::make_unique<Bell>(shared_from_this());
}

} // namespace Pooltab
