#pragma once

#include "Pooltab/File.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// Where the files of a pool live: a directory of shared memory, or the private memory of this process.

namespace Pooltab {

/// Holds the right to write a pool. The right ends with the object, or with the process.
class WriterLock {
  public:
   virtual ~WriterLock() = default;
};

/// Something to sleep on until the pool's writer rings.
class Listener {
  public:
   virtual ~Listener() = default;
   /// Readable after a ring. Any event loop can wait on it.
   virtual int descriptor() const = 0;
   /// Makes the descriptor unreadable until the next ring. Drain first, then look at the tables. Returns
   /// false when somebody removed the place: what is mapped is no pool's any more, and another may come.
   virtual bool drain() = 0;
};

class Folder {
  public:
   virtual ~Folder() = default;

   /// Names the place in messages.
   virtual std::string where() const = 0;

   /// The right to write here. Makes the place if it is not there.
   /// Raises Vok::Error naming the process that holds the right already.
   virtual std::unique_ptr<WriterLock> lock() = 0;
   /// True while some process has the right to write here.
   virtual bool isLocked() const = 0;

   /// A new empty file that nobody sees until it is published. Only for whoever holds the lock.
   virtual Descriptor create(const std::string& name) = 0;
   /// Gives the file its name, in the place of any older one.
   virtual void publish(const std::string& name) = 0;
   virtual void remove(const std::string& name) = 0;
   virtual std::vector<std::string> names() const = 0;

   /// An existing file; empty when there is none. Raises MountError for a file that must not be trusted: not
   /// a plain file, of another owner, or writable by others.
   virtual Descriptor open(const std::string& name, Access access) const = 0;

   /// Wakes every listener. Costs one system call, whatever their number.
   virtual void ring() = 0;
   virtual std::unique_ptr<Listener> listen() = 0;
};

/// The directory under which this machine's pools live: the environment's POOLTAB_DIR, or /dev/shm/pooltab.
std::string poolRoot();

/// The folder of a pool in shared memory. Touches nothing before it is used.
/// Raises Vok::Error for a name that cannot be a file's.
std::shared_ptr<Folder> sharedFolder(const std::string& poolName, const std::string& root = poolRoot());

/// A folder in private memory, for tests and for hosts of one process: same code, same behaviour. It lives as
/// long as somebody holds it.
std::shared_ptr<Folder> privateFolder(const std::string& poolName);

/// Raises Vok::Error unless the name is made of letters, digits, '_', '-' and '.', and does not start with
/// '.'.
void checkName(const std::string& name, const char* what);

} // namespace Pooltab
