#include "Hubdb/Tree.h"

#include "Hubdb/Path.h"

namespace Hubdb {

Vok::Ptr<Vok::Entity> Tree::root(std::string_view path) const {
   const auto found = roots_.find(std::string(path));
   return found == roots_.end() ? nullptr : found->second;
}

Vok::Ptr<Vok::Dir> Tree::dir(std::string_view path) const {
   const auto found = dirs_.find(std::string(path));
   return found == dirs_.end() ? nullptr : found->second;
}

std::string_view Tree::pathOf(const Vok::Entity& root) const {
   const auto found = paths_.find(&root);
   return found == paths_.end() ? std::string_view() : std::string_view(found->second);
}

Vok::Ptr<Vok::Dir> Tree::dirIs(std::string_view path) {
   if (auto known = dir(path))
      return known;
   const std::string_view above = pathFolder(path);
   if (root(path) || (!above.empty() && !dirIs(above)))
      return nullptr;
   const auto made = Vok::make<Vok::Dir>(pathName(path));
   dirs_[std::string(path)] = made;
   enter(path, made);
   return made;
}

void Tree::enter(std::string_view path, const Vok::Ptr<Vok::Entity>& entity) {
   const auto folder = dir(pathFolder(path));
   if (!folder)
      return;
   if (isListed(pathFolder(path)))
      folder->entityPtrKnown(pathName(path), entity);
   else
      folder->entityPtrIs(entity);
}

bool Tree::rootIs(std::string_view path, const Vok::Ptr<Vok::Entity>& root) {
   const std::string_view above = pathFolder(path);
   if (dir(path) || (!above.empty() && !dirIs(above)))
      return false;
   roots_[std::string(path)] = root;
   paths_[root.get()] = path;
   enter(path, root);
   return true;
}

void Tree::rootDel(std::string_view path) {
   const auto found = roots_.find(std::string(path));
   if (found == roots_.end())
      return;
   const Vok::Ptr<Vok::Entity> removed = found->second;
   roots_.erase(found);
   paths_.erase(removed.get());
   const auto folder = dir(pathFolder(path));
   if (!folder)
      return;
   if (isListed(pathFolder(path)))
      folder->entityPtrKnown(pathName(path), nullptr);
   else
      folder->entityPtrDel(pathName(path));
}

void Tree::entryIs(std::string_view path) {
   const auto folder = dir(pathFolder(path));
   Vok::Ptr<Vok::Entity> entity = root(path);
   if (!entity)
      entity = dir(path);
   if (entity)
      folder->entityPtrIs(entity);
   else
      folder->entityPtrNameIs(pathName(path));
}

void Tree::entryDel(std::string_view path) {
   dir(pathFolder(path))->entityPtrDel(pathName(path));
}

} // namespace Hubdb
