#pragma once
// Hubdb::Tree: the directories and roots of one process by path.

#include "Vok/Dir.h"

#include <string>
#include <unordered_map>
#include <unordered_set>

namespace Hubdb {

/// At one path stands a root or a directory, never both. Paths are as checkedPath() returns them.
class Tree {
  public:
   /// Null when there is none.
   Vok::Ptr<Vok::Entity> root(std::string_view path) const;
   Vok::Ptr<Vok::Dir> dir(std::string_view path) const;
   /// The path of a root; empty when it is none.
   std::string_view pathOf(const Vok::Entity& root) const;

   /// Makes the directory and those above it, or returns the one that is there. Null when a root stands in
   /// the way.
   Vok::Ptr<Vok::Dir> dirIs(std::string_view path);
   /// Puts a root in its place, which is free. Its directory tells of it, unless somebody else tells of
   /// that directory's entries. Returns false when a directory stands there or a root in the way.
   bool rootIs(std::string_view path, const Vok::Ptr<Vok::Entity>& root);
   void rootDel(std::string_view path);

   /// From now on entries of this directory come and go with entryIs() and entryDel() only.
   void listedIs(std::string_view path) { listed_.emplace(path); }
   /// The directory, which is there, gets an entry: the root or directory that stands in its place here, else
   /// its name alone.
   void entryIs(std::string_view path);
   void entryDel(std::string_view path);

  private:
   bool isListed(std::string_view path) const { return listed_.contains(std::string(path)); }
   void enter(std::string_view path, const Vok::Ptr<Vok::Entity>& entity);

   std::unordered_map<std::string, Vok::Ptr<Vok::Dir>> dirs_;
   std::unordered_map<std::string, Vok::Ptr<Vok::Entity>> roots_;
   std::unordered_map<const Vok::Entity*, std::string> paths_;
   std::unordered_set<std::string> listed_;
};

} // namespace Hubdb
