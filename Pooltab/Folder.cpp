#include "Pooltab/Folder.h"

#include "Pooltab/DirectoryFolder.h"
#include "Pooltab/Layout.h"
#include "Pooltab/PrivateFolder.h"
#include "Vok/Errors.h"

#include <cctype>
#include <cstdlib>

namespace Pooltab {

std::string poolRoot() {
   const char* root = std::getenv("POOLTAB_DIR");
   return root && *root ? root : "/dev/shm/pooltab";
}

void checkName(const std::string& name, const char* what) {
   bool good = !name.empty() && name.size() < tableNameBytes && name[0] != '.';
   for (const char c : name)
      good = good && (std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-' || c == '.');
   if (!good)
      throw Vok::Error(std::string(what) + " name '" + name + "': use 1 to " +
                       std::to_string(tableNameBytes - 1) +
                       " letters, digits, '_', '-' and '.', not starting with '.'");
}

std::shared_ptr<Folder> sharedFolder(const std::string& poolName, const std::string& root) {
   checkName(poolName, "pool");
   return std::make_shared<DirectoryFolder>(root, poolName);
}

std::shared_ptr<Folder> privateFolder(const std::string& poolName) {
   checkName(poolName, "pool");
   return std::make_shared<PrivateFolder>(poolName);
}

} // namespace Pooltab
