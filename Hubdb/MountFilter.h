#pragma once
// Hubdb::MountFilter: what of a path is mounted, and whose it is.

#include "Vok/Types.h"

namespace Hubdb {

class MountFilter {
  public:
   enum class Kind : Vok::U8 { read = 0, own = 1, names = 2, entries = 3 };

   /// The entity, read-only. The mount waits until somebody creates it.
   static constexpr MountFilter read() { return MountFilter(Kind::read); }
   /// Ours to write: created when missing, taken over with its state from an owner that is gone.
   static constexpr MountFilter own() { return MountFilter(Kind::own); }
   /// A directory: which entries there are, their entities not.
   static constexpr MountFilter names() { return MountFilter(Kind::names); }
   /// A directory and the entities in it, read-only. An entry appears when its entity is whole.
   static constexpr MountFilter entries() { return MountFilter(Kind::entries); }

   constexpr explicit MountFilter(Kind kind) : kind_(kind) {}
   constexpr Kind kind() const { return kind_; }
   constexpr bool isDirectory() const { return kind_ == Kind::names || kind_ == Kind::entries; }
   constexpr bool operator==(const MountFilter&) const = default;

  private:
   Kind kind_;
};

} // namespace Hubdb
