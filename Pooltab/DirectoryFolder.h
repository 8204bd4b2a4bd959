#pragma once

#include "Pooltab/Folder.h"

/// A pool in a directory of shared memory. See Folder.h for what the functions promise.

namespace Pooltab {

class DirectoryFolder : public Folder {
  public:
   DirectoryFolder(std::string root, std::string poolName);

   std::string where() const override { return path_; }
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
   void make();
   Descriptor openDirectory() const;

   std::string root_;
   std::string path_;
   Descriptor directory_; ///< the writer's
   Descriptor doorbell_;  ///< the writer's
};

} // namespace Pooltab
