#pragma once

#include "Pooltab/Folder.h"

#include <map>
#include <mutex>
#include <set>

/// A pool in the private memory of this process. See Folder.h for what the functions promise. Reader and
/// writer may live on different threads.

namespace Pooltab {

class PrivateFolder : public Folder, public std::enable_shared_from_this<PrivateFolder> {
  public:
   explicit PrivateFolder(std::string poolName) : poolName_(std::move(poolName)) {}

   std::string where() const override { return poolName_ + " in private memory"; }
   std::unique_ptr<WriterLock> lock() override;
   bool isLocked() const override;
   Descriptor create(const std::string& name) override;
   void publish(const std::string& name) override;
   void remove(const std::string& name) override;
   std::vector<std::string> names() const override;
   Descriptor open(const std::string& name, Access access) const override;
   void ring() override;
   std::unique_ptr<Listener> listen() override;

  private:
   class Lock;
   class Bell;

   std::string poolName_;
   mutable std::mutex mutex_;
   bool locked_ = false;
   std::map<std::string, Descriptor> unpublished_;
   std::map<std::string, Descriptor> files_;
   std::set<Bell*> bells_;
};

} // namespace Pooltab
